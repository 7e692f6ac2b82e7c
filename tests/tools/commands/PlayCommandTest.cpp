#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

// A copy of the command in a folder of its own, where no player is beside it, and programs are looked for in `path`.
class PlayCommandTest : public FolderTest
{
protected:
    PlayCommandTest()
    {
        QDir().mkpath(PathOf("bin"));
        QDir().mkpath(PathOf("path"));
        EXPECT_TRUE(QFile::copy(QStringLiteral(TAVOLIN_COMMAND), PathOf("bin/tavolin")));
    }

    // A program that tells its name and arguments, one a line, and answers with `code`.
    void PutPlayer(QString const& place, int code = 0) const
    {
        QFile file(PathOf(place + "/tavolin-player"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\nprintf '%s\\n' \"$0\" \"$@\"\nexit " + QByteArray::number(code) + "\n");
        file.close();
        EXPECT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    }

    ToolRun Play(QStringList const& arguments) const
    {
        return RunProgram("/bin/sh", QStringList{"-c", "PATH=$0; command=$1; shift; exec \"$command\" play \"$@\"",
                                                 PathOf("path"), PathOf("bin/tavolin")} +
                                         arguments);
    }
};

} // namespace

TEST_F(PlayCommandTest, SaysThatThereIsNoPlayer)
{
    ToolRun const run = Play({"a.mp4"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "tavolin: tavolin-player is not installed\n");
}

TEST_F(PlayCommandTest, HandsFilesAndOptionsThrough)
{
    PutPlayer("path");
    ToolRun const run = Play({"--speed=-1", "a b.mp4", "--paused", "--start", "2.5", "--", "-x.mp4"});
    EXPECT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(run.Lines(), (QStringList{PathOf("path/tavolin-player"), "--speed=-1", "--start=2.5", "--paused", "--",
                                        "a b.mp4", "-x.mp4"}));
}

TEST_F(PlayCommandTest, TakesLoopAndMuteWithAndWithoutAValue)
{
    PutPlayer("path");
    EXPECT_EQ(Play({"--loop", "--mute=no", "--", "--loop"}).Lines().mid(1),
              (QStringList{"--loop=yes", "--mute=no", "--", "--loop"}));
}

TEST_F(PlayCommandTest, PrefersThePlayerBesideItself)
{
    PutPlayer("path");
    PutPlayer("bin");
    EXPECT_EQ(QFileInfo(Play({}).Lines().value(0)).canonicalFilePath(),
              QFileInfo(PathOf("bin/tavolin-player")).canonicalFilePath());
}

TEST_F(PlayCommandTest, TellsWhatThePlayerAnswered)
{
    PutPlayer("path", 2);
    ToolRun const wrong = Play({"--speed", "0"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_TRUE(wrong.errors.contains("try \"tavolin help play\""));
    PutPlayer("bin", 1);
    EXPECT_EQ(Play({"a.mp4"}).exitCode, 3);
}

TEST_F(PlayCommandTest, KnowsNoOtherOptions)
{
    PutPlayer("path");
    ToolRun const run = Play({"--what"});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.output, "");
}
