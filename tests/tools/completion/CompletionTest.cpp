#include "player/PlayerOptionTable.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

// In a folder with the files "clip.mov" and "two words.mov".
class CompletionTest : public FolderTest
{
protected:
    CompletionTest()
    {
        for (char const* name : {"clip.mov", "two words.mov"})
            EXPECT_TRUE(QFile(PathOf(name)).open(QIODevice::WriteOnly));
    }

    // What bash offers for the last of these words, which readline has split: at "=", too.
    QStringList InBash(QStringList const& words) const
    {
        static QString const completion = RunTavolin({"completion", "bash"}).Output();
        QString const script = R"sh(
            cd "$1"
            eval "$2"
            COMP_WORDS=("${@:3}")
            COMP_CWORD=$(($# - 3))
            _tavolin_complete "$3"
            for reply in "${COMPREPLY[@]}"; do echo "$reply"; done
        )sh";
        return RunProgram("bash", QStringList{"-c", script, "bash", folder.path(), completion} + words).Lines();
    }

    // Each line after a press of Tab behind it, in an interactive zsh.
    QStringList InZsh(QStringList const& lines) const
    {
        QByteArray const script = R"sh(
            zmodload zsh/zpty
            zpty shell zsh -f -i
            zpty -w shell "PS1= ; cd ${(q)2}; autoload -Uz compinit; compinit -D -u; source <(${(q)1} completion zsh)
                show() { print -r -- '<'\$BUFFER'>'; BUFFER= }; zle -N show; bindkey '^X' show; print rea''dy"
            zpty -r shell text '*ready*'
            for line in "${@:3}"; do
                zpty -w -n shell "$line"$'\t\x18'
                zpty -r shell text '*<tavolin*>*'
                print -r -- "${${text##*<}%%>*}"
            done
        )sh";
        return RunInShell("tavolin=$1 script=$2; shift 2; exec zsh -fc \"$script\" zsh \"$tavolin\" \"$@\"",
                          QStringList{QString::fromUtf8(script), folder.path()} + lines)
            .Lines();
    }
};

QStringList Sorted(QStringList list)
{
    list.sort();
    return list;
}

// By the lines of the help that begin with options.
QStringList OptionsInHelp(QString const& command)
{
    QStringList options;
    static QRegularExpression const option("^  (?:-\\w, )?(--[a-z0-9-]+)");
    for (QString const& line : RunTavolin({"help", command}).Lines()) {
        auto const match = option.match(line);
        if (match.hasMatch())
            options.append(match.captured(1));
    }
    return options;
}

QStringList WithoutEqualsSigns(QStringList words)
{
    for (QString& word : words)
        word.remove('=');
    words.removeDuplicates();
    return words;
}

QStringList const commands = {"info", "decode", "frame", "audio", "check", "sheet", "wave", "play", "completion"};

} // namespace

TEST_F(CompletionTest, OffersCommandsInBash)
{
    EXPECT_EQ(InBash({"tavolin", ""}), commands + QStringList({"help", "--help", "--version"}));
    EXPECT_EQ(InBash({"tavolin", "wa"}), QStringList("wave"));
    EXPECT_EQ(InBash({"tavolin", "help", ""}), commands);
    EXPECT_EQ(InBash({"tavolin", "completion", "z"}), QStringList("zsh"));
}

TEST_F(CompletionTest, OffersTheOptionsOfEachCommandInBash)
{
    for (QString const& command : commands) {
        QStringList const options = OptionsInHelp(command);
        EXPECT_GE(options.size(), 2); // --verbose and --help, which all commands have
        EXPECT_EQ(WithoutEqualsSigns(InBash({"tavolin", command, "--"})), options) << command.toStdString();
    }
}

TEST_F(CompletionTest, OffersTheOptionsOfThePlayerInBash)
{
    QStringList options;
    for (Option const& option : playerOptions)
        options.append(QString("--") + option.name);
    EXPECT_EQ(WithoutEqualsSigns(InBash({"tavolin-player", "--"})), options + QStringList({"--help", "--version"}));
    EXPECT_EQ(InBash({"tavolin-player", "--mute", "=", "n"}), QStringList("no"));
}

TEST_F(CompletionTest, OffersFixedValuesInBash)
{
    EXPECT_EQ(InBash({"tavolin", "frame", "--colours", "=", ""}), QStringList({"stream", "plain"}));
    EXPECT_EQ(InBash({"tavolin", "frame", "--colours", "="}), QStringList({"stream", "plain"}));
    EXPECT_EQ(InBash({"tavolin", "frame", "--colours", "p"}), QStringList("plain"));
    EXPECT_EQ(InBash({"tavolin", "frame", "--colours=p"}), QStringList("--colours=plain"));
    EXPECT_EQ(InBash({"tavolin", "frame", "--format", "=", ""}), QStringList({"png", "jpg", "ppm"}));
    EXPECT_EQ(InBash({"tavolin", "play", "--audio", "=", ""}), QStringList({"portaudio", "null", "wav:"}));
    EXPECT_EQ(InBash({"tavolin", "play", "--loop", "=", ""}), QStringList({"yes", "no"}));
}

TEST_F(CompletionTest, OffersFilesInBash)
{
    QStringList const files{"clip.mov", "two words.mov"};
    EXPECT_EQ(Sorted(InBash({"tavolin", "frame", ""})), files);
    EXPECT_EQ(InBash({"tavolin", "frame", "cl"}), QStringList("clip.mov"));
    EXPECT_EQ(InBash({"tavolin", "frame", "-o", "tw"}), QStringList("two words.mov"));
    EXPECT_EQ(InBash({"tavolin", "frame", "--output", "=", "cl"}), QStringList("clip.mov"));
    EXPECT_EQ(InBash({"tavolin", "audio", "--output", "=", "cl"}), QStringList("clip.mov"));
    EXPECT_EQ(Sorted(InBash({"tavolin", "play", "--loop", ""})), files); // takes no word of its own
    EXPECT_EQ(InBash({"tavolin-player", "--paused", "cl"}), QStringList("clip.mov"));
    EXPECT_EQ(InBash({"tavolin", "frame", "--", "--"}), QStringList());
    EXPECT_EQ(InBash({"tavolin", "frame", "--at", ""}), QStringList()); // a time
}

TEST_F(CompletionTest, KeepsTheScriptsOfTwoProgramsApart)
{
    ToolRun const run = RunInShell("exec bash -c 'eval \"$(\"$1\" completion bash tavolin)\"\n"
                                   "eval \"$(\"$1\" completion bash tavolin-player)\"\n"
                                   "COMP_WORDS=(tavolin wa); COMP_CWORD=1; _tavolin_complete tavolin\n"
                                   "echo \"$COMPREPLY\"; complete -p tavolin tavolin-player' bash \"$1\"",
                                   {});
    EXPECT_EQ(run.Lines(), QStringList({"wave", "complete -o default -F _tavolin_complete tavolin",
                                        "complete -o default -F _tavolin_player_complete tavolin-player"}));
}

TEST_F(CompletionTest, CompletesInZsh)
{
    if (QStandardPaths::findExecutable("zsh").isEmpty())
        GTEST_SKIP() << "zsh is not installed";
    QStringList const lines = {
        "tavolin wa",       "tavolin help fr",     "tavolin frame --as",      "tavolin frame --colours=p",
        "tavolin frame cl", "tavolin frame -o tw", "tavolin-player --mute=n", "tavolin-player --geo"};
    QStringList const completed = {"tavolin wave ",
                                   "tavolin help frame ",
                                   "tavolin frame --as-stored ",
                                   "tavolin frame --colours=plain ",
                                   "tavolin frame clip.mov ",
                                   "tavolin frame -o two\\ words.mov ",
                                   "tavolin-player --mute=no ",
                                   "tavolin-player --geometry="};
    EXPECT_EQ(InZsh(lines), completed);
}

TEST_F(CompletionTest, RefusesOtherShellsAndPrograms)
{
    EXPECT_EQ(RunTavolin({"completion"}).exitCode, 2);
    EXPECT_EQ(RunTavolin({"completion", "fish"}).exitCode, 2);
    EXPECT_EQ(RunTavolin({"completion", "bash", "ls"}).exitCode, 2);
}
