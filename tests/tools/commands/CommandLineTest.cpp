#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QString Movie()
{
    return MovingPicture("plain.mp4", {"-c:v", "libx264"});
}

// Run once for all tests of this process.
ToolRun const& HelpWith(QString const& command)
{
    static QMap<QString, ToolRun> runs;
    if (!runs.contains(command))
        runs[command] = RunTavolin({"help", command});
    return runs[command];
}

} // namespace

TEST(CommandLineTest, HelpsOnStandardOutput)
{
    for (QStringList const& arguments : {QStringList{"--help"}, QStringList{"-h"}, QStringList{"help"}}) {
        ToolRun const run = RunTavolin(arguments);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.errors, "");
        for (char const* command : {"info", "decode", "frame", "audio", "check", "sheet", "wave"})
            EXPECT_TRUE(run.Output().contains(QStringLiteral("\n  %1 ").arg(command))) << command;
    }
}

TEST(CommandLineTest, HelpsWithEachCommandInBothWays)
{
    for (QString const& command : QStringList{"info", "decode", "frame", "audio", "check", "sheet", "wave"}) {
        ToolRun const& run = HelpWith(command);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_TRUE(run.output.startsWith("Usage: tavolin " + command.toUtf8() + " FILE"));
        EXPECT_EQ(RunTavolin({command, "--help"}).output, run.output);
    }
}

TEST(CommandLineTest, KeepsHelpWithin80Columns)
{
    QStringList lines = RunTavolin({"help"}).Lines();
    for (char const* command : {"info", "decode", "frame", "audio", "check", "sheet", "wave", "play", "completion"}) {
        EXPECT_FALSE(HelpWith(command).output.isEmpty()) << command;
        lines += HelpWith(command).Lines();
    }
    for (QString const& line : lines)
        EXPECT_LE(line.size(), 80) << line.toStdString();
}

TEST(CommandLineTest, TellsItsVersion)
{
    ToolRun const run = RunTavolin({"--version"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Lines().first(), "tavolin " TAVOLIN_VERSION);
}

TEST(CommandLineTest, AnswersWrongUsageWithTwo)
{
    QList<QStringList> const wrong = {{},
                                      {"nothing"},
                                      {"help", "nothing"},
                                      {"info"},
                                      {"decode"},
                                      {"info", "--what", "a.mp4"},
                                      {"decode", "--from", "x", "a.mp4"},
                                      {"decode", "--from", "2", "--to", "1", "a.mp4"},
                                      {"decode", "--from"},
                                      {"frame", "a.mp4"},
                                      {"frame", "a.mp4", "--at", "1"},
                                      {"frame", "a.mp4", "-o", "a.png"},
                                      {"frame", "a.mp4", "--at", "-1", "-o", "a.png"},
                                      {"frame", "a.mp4", "--at", "1", "-o", "a.gif"},
                                      {"frame", "a.mp4", "b.mp4", "--at", "1", "-o", "a.png"},
                                      {"check"},
                                      {"check", "--what", "a.mp4"},
                                      {"sheet", "a.mp4"},
                                      {"sheet", "-o", "a.png"},
                                      {"sheet", "a.mp4", "-o", "a.gif"},
                                      {"sheet", "a.mp4", "-o", "a.png", "--columns", "0"},
                                      {"sheet", "a.mp4", "-o", "a.png", "--width", "x"},
                                      {"sheet", "a.mp4", "-o", "a.png", "--rows", "2", "--count", "3"},
                                      {"wave", "a.mp4"},
                                      {"wave", "-o", "a.png"},
                                      {"wave", "a.mp4", "-o", "a.wav"},
                                      {"wave", "a.mp4", "-o", "a.png", "--width", "159"},
                                      {"wave", "a.mp4", "-o", "a.png", "--height", "0"},
                                      {"audio", "-o", "a.wav"},
                                      {"audio", "a.mp4"},
                                      {"audio", "a.mp4", "-o", "a.mp3"},
                                      {"audio", "a.mp4", "-o", "a.wav", "--speed", "0"},
                                      {"audio", "a.mp4", "-o", "a.wav", "--speed", "17"},
                                      {"audio", "a.mp4", "-o", "a.wav", "--speed", "x"},
                                      {"audio", "a.mp4", "-o", "a.wav", "--volume", "-1"},
                                      {"audio", "a.mp4", "-o", "a.wav", "--from", "2", "--to", "1"}};
    for (QStringList const& arguments : wrong) {
        ToolRun const run = RunTavolin(arguments);
        EXPECT_EQ(run.exitCode, 2) << arguments.join(' ').toStdString();
        EXPECT_EQ(run.output, "");
        EXPECT_TRUE(run.errors.contains("try \"tavolin ")) << run.errors.toStdString();
    }
}

TEST(CommandLineTest, AnswersUnreadableFilesWithThree)
{
    QString const damaged = WriteMedia("damaged.mp4", "nothing of the kind");
    QString const empty = WriteMedia("empty.mov", "");
    for (QString const& path : {QStringLiteral("/nowhere/a.mp4"), QStringLiteral("/"), QString(), damaged, empty}) {
        for (QStringList const& command :
             {QStringList{"info"}, QStringList{"decode"}, QStringList{"frame", "--at", "0", "-o", "/nowhere/a.png"}}) {
            ToolRun const run = RunTavolin(command + QStringList{path});
            EXPECT_EQ(run.exitCode, 3) << path.toStdString();
            EXPECT_EQ(run.output, "");
            EXPECT_EQ(run.errors.count('\n'), 1) << run.errors.toStdString();
        }
    }
}

TEST(CommandLineTest, AnswersASingleFailureAmongSeveralFilesWithOne)
{
    ToolRun const run = RunTavolin({"info", Movie(), "/nowhere/a.mp4", Movie()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output.count("movie without sound"), 2);
    EXPECT_EQ(run.errors, "tavolin: File not found: /nowhere/a.mp4\n");
}

TEST(CommandLineTest, AnswersAFullOutputWithFive)
{
    ToolRun const run = RunInShell("exec \"$1\" info \"$2\" >/dev/full", {Movie()});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.errors, "tavolin: the standard output could not be written\n");
}

TEST(CommandLineTest, ShowsNoProgressBesideATerminal)
{
    ToolRun const run = RunTavolin({"decode", Movie()});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.errors, "");
}

TEST(CommandLineTest, TakesNamesOfAllKindsInEveryLocale)
{
    QTemporaryDir const folder;
    for (QString const& name : {QStringLiteral("-x.mp4"), QStringLiteral("\u00e9t\u00e9 \u65e5\u672c.mp4"),
                                QStringLiteral("a b:c%03d[1].mp4"), QStringLiteral("--help")}) {
        ASSERT_TRUE(QFile::copy(Movie(), folder.filePath(name)));
        ToolRun const run = RunInShell("cd \"$2\" && LC_ALL=C exec \"$1\" info -- \"$3\"", {folder.path(), name});
        EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
        EXPECT_EQ(run.Lines().first(), name);
    }
}

TEST(CommandLineTest, SaysHowToNameAFileThatLooksLikeAnOption)
{
    QTemporaryDir const folder;
    ASSERT_TRUE(QFile::copy(Movie(), folder.filePath("-x.mp4")));
    ToolRun const run = RunInShell("cd \"$2\" && exec \"$1\" info -x.mp4", {folder.path()});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.errors.contains("write \"./-x.mp4\"")) << run.errors.toStdString();
}

TEST(CommandLineTest, SaysThatANameIsNotUtf8)
{
    QTemporaryDir const folder;
    ToolRun const run = RunInShell("name=$(printf 'caf\\351.mp4'); cp \"$2\" \"$3/$name\" && { \"$1\" info "
                                   "\"$3/$name\"; answer=$?; rm \"$3/$name\"; exit $answer; }",
                                   {Movie(), folder.path()});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_TRUE(run.errors.contains("name is not UTF-8")) << run.errors.toStdString();
}

TEST(CommandLineTest, ShowsFfmpegsOwnMessagesOnlyWhenAsked)
{
    QString const damaged = WithDamagedPictures(1);
    EXPECT_FALSE(RunTavolin({"decode", damaged}).errors.contains("png @"));
    EXPECT_TRUE(RunTavolin({"decode", "--verbose", damaged}).errors.contains("png @"));
}

// In natural order, and nothing that is no media file.
TEST(CommandLineTest, TakesAFolderForTheMediaFilesInIt)
{
    QTemporaryDir const folder;
    for (char const* name : {"take10.wav", "take2.wav"})
        ASSERT_TRUE(QFile::copy(Clips::Made("tone.wav"), folder.filePath(name)));
    Clips::WriteNumberedPictures(folder.path(), "shot.%03d.ppm", {1, 2});
    QFile notes(folder.filePath("notes.txt"));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly));
    ToolRun const run = RunTavolin({"check", folder.path()});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    QStringList names;
    for (QString const& line : run.Lines())
        names << QFileInfo(line.section(':', 0, 0)).fileName();
    EXPECT_EQ(names, QStringList({"shot.%03d.ppm", "take2.wav", "take10.wav"}));
}

TEST(CommandLineTest, TakesAPatternForItsSequence)
{
    QTemporaryDir const folder;
    Clips::WriteNumberedPictures(folder.path(), "shot.%03d.ppm", {8, 9, 10});
    Clips::WriteNumberedPictures(folder.path(), "other.%03d.ppm", {1});
    QString const pattern = folder.filePath("shot.%03d.ppm");
    EXPECT_EQ(RunTavolin({"check", pattern}).Output(), pattern + ": ok: 3 pictures\n");
    EXPECT_EQ(RunTavolin({"check", folder.filePath("none.%03d.ppm")}).exitCode, 3);
}
