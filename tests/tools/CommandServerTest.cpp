#include "tests/tools/CommandServer.h"
#include "tests/support/Clips.h"
#include "tests/tools/FolderTest.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

class CommandServerTest : public FolderTest
{
protected:
    void ExpectAsStarted(QStringList const& arguments, int exitCode)
    {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        ToolRun const served = CommandServer::Run(arguments);
        ToolRun const started = StartTavolin(arguments);
        EXPECT_EQ(started.exitCode, exitCode);
        EXPECT_EQ(served.exitCode, exitCode);
        EXPECT_EQ(served.output.toStdString(), started.output.toStdString());
        EXPECT_EQ(served.errors.toStdString(), started.errors.toStdString());
    }
};

} // namespace

// With each exit code but 3, and each kind of output.
TEST_F(CommandServerTest, RunsTheCommandAsItIsStarted)
{
    QString const damaged = WithDamagedPictures(1);
    ExpectAsStarted({"--help"}, 0);
    ExpectAsStarted({"--version"}, 0);
    ExpectAsStarted({}, 2);
    ExpectAsStarted({"frame", Clips::Made("gop12.mp4"), "--at", "1", "-o", "-"}, 0);
    ExpectAsStarted({"info", "--json", QStringLiteral("/nowhere/\u00e9t\u00e9.mp4"), Clips::Made("tone.wav")}, 1);
    ExpectAsStarted({"check", damaged}, 4);
    ExpectAsStarted({"audio", Clips::Made("tone.wav"), "-o", PathOf("none/a.wav")}, 5);
}

TEST_F(CommandServerTest, RunsInTheCallersFolder)
{
    ASSERT_TRUE(QFile::copy(Clips::Made("tone.wav"), PathOf("here.wav")));
    QString const before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path()));
    ToolRun const run = CommandServer::Run({"check", "here.wav"});
    QDir::setCurrent(before);
    EXPECT_TRUE(run.output.startsWith("here.wav: ok: ")) << run.errors.toStdString();
}

// Here FFmpeg looks for the colours of its messages.
TEST_F(CommandServerTest, RunsInTheCallersEnvironment)
{
    QStringList const command{"decode", "--verbose", WithDamagedPictures(1)};
    EXPECT_FALSE(CommandServer::Run(command).errors.contains('\x1b'));
    qputenv("AV_LOG_FORCE_COLOR", "1");
    ToolRun const coloured = CommandServer::Run(command);
    qunsetenv("AV_LOG_FORCE_COLOR");
    EXPECT_TRUE(coloured.errors.contains('\x1b')) << coloured.errors.toStdString();
}
