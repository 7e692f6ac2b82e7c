#include "tests/support/FullDisk.h"
#include "tests/support/Media.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Output to a full disk: a limit on the size of files simulates the disk, /dev/full a full standard output.

namespace {

struct ToolEnd
{
    int exitCode = -1; // -1: crashed, or did not end
    QString errors;
};

// `line` is a shell command; "$1" is our program, "$2" and further are `arguments`.
ToolEnd RunInShell(QString const& line, QStringList const& arguments)
{
    QProcess process;
    process.start("/bin/sh", QStringList{"-c", line, "sh", QStringLiteral(TAVOLIN_COMMAND)} + arguments);
    ToolEnd run;
    if (process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit)
        run.exitCode = process.exitCode();
    run.errors = QString::fromUtf8(process.readAllStandardError());
    return run;
}

QString Movie()
{
    return MakeMedia("disk.mkv",
                     Picture("320x240", 25, 1) + Tone(48000, 2, 1) + QStringList{"-c:v", "mpeg4", "-c:a", "pcm_s16le"});
}

class FullDiskTest : public testing::Test
{
protected:
    // Checks that a failed write of `name` reports the error and leaves no file, and that it keeps a former one.
    void ExpectNothingHalfWritten(QString const& name, QString const& command)
    {
        SCOPED_TRACE(name.toStdString());
        QString const path = folder.filePath(name);
        QString const line = OnFullDisk(1) + "exec \"$1\" " + command;
        ToolEnd const fresh = RunInShell(line, {Movie(), path});
        EXPECT_EQ(fresh.exitCode, 5);
        EXPECT_TRUE(fresh.errors.startsWith("tavolin: ")) << fresh.errors.toStdString();
        EXPECT_TRUE(fresh.errors.contains(path)) << fresh.errors.toStdString();
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList());

        QFile former(path);
        ASSERT_TRUE(former.open(QIODevice::WriteOnly));
        former.write("kept");
        former.close();
        EXPECT_EQ(RunInShell(line, {Movie(), path}).exitCode, 5);
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList(name));
        EXPECT_EQ(ReadMedia(path), QByteArray("kept"));
        QFile::remove(path);
    }

    QTemporaryDir const folder;
};

} // namespace

TEST_F(FullDiskTest, APictureThatDoesNotFitIsNotWrittenAtAll)
{
    for (char const* name : {"picture.png", "picture.jpg", "picture.ppm"})
        ExpectNothingHalfWritten(name, "frame \"$2\" --at 0 -o \"$3\"");
}

TEST_F(FullDiskTest, SoundThatDoesNotFitIsNotWrittenAtAll)
{
    ExpectNothingHalfWritten("sound.wav", "audio \"$2\" -o \"$3\"");
}

TEST_F(FullDiskTest, StandardOutputThatIsFullIsSaid)
{
    for (char const* command :
         {"info \"$2\"", "info --json \"$2\"", "decode --md5 \"$2\"", "decode \"$2\"", "--help"}) {
        SCOPED_TRACE(command);
        ToolEnd const run = RunInShell(QStringLiteral("exec \"$1\" ") + command + " >/dev/full", {Movie()});
        EXPECT_EQ(run.exitCode, 5);
        EXPECT_TRUE(run.errors.contains("tavolin: ")) << run.errors.toStdString();
    }
}
