#include "player/PlayerSettings.h"
#include "tests/player/DemoMovie.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

// The program as it is started, with settings of its own.

namespace {

class PlayerProgramTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        environment.insert("XDG_CONFIG_HOME", home.filePath("config"));
        environment.insert("XDG_DATA_HOME", home.filePath("data"));
    }

    void Start(QStringList const& arguments)
    {
        player.setProcessEnvironment(environment);
        player.start(TAVOLIN_PLAYER, arguments);
        ASSERT_TRUE(player.waitForStarted(patience));
    }

    int Finish()
    {
        EXPECT_TRUE(player.waitForFinished(patience));
        return player.exitStatus() == QProcess::NormalExit ? player.exitCode() : -1;
    }

    // Once it is there, the window has been made.
    bool HasKeyFile()
    {
        QElapsedTimer timer;
        for (timer.start(); timer.elapsed() < patience; player.waitForReadyRead(20)) {
            if (QFileInfo::exists(home.filePath("config/tavolin/keys.conf")))
                return true;
        }
        return false;
    }

    QString Settings() const
    {
        QFile file(home.filePath("config/tavolin/player.ini"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QString WriteBroken() const
    {
        QFile file(home.filePath("broken.mp4"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(5000, 'x'));
        return file.fileName();
    }

    // How many pictures of the last file were shown or dropped, as it prints them.
    int PicturesPassed()
    {
        int shown = -1;
        int dropped = 0;
        std::sscanf(player.readAllStandardOutput().data(), "%d pictures shown, %d dropped", &shown, &dropped);
        return shown + dropped;
    }

    QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QProcess player;
};

} // namespace

TEST_F(PlayerProgramTest, PrintsHelpAndVersionWithoutADisplay)
{
    environment.remove("DISPLAY");
    environment.remove("WAYLAND_DISPLAY");
    Start({"--help"});
    EXPECT_EQ(Finish(), 0);
    EXPECT_TRUE(player.readAllStandardOutput().contains("--still-seconds <SECONDS>"));
    Start({"--version"});
    EXPECT_EQ(Finish(), 0);
    EXPECT_TRUE(player.readAllStandardOutput().startsWith("tavolin-player "));
}

TEST_F(PlayerProgramTest, RemembersSettingsWhenASignalEndsIt)
{
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) {
        QDir(home.filePath("config")).removeRecursively();
        Start({"--audio=null", "--volume=37"});
        ASSERT_TRUE(HasKeyFile());
        // The handlers stand before the window is made.
        ::kill(static_cast<pid_t>(player.processId()), signal);
        EXPECT_EQ(Finish(), 128 + signal);
        EXPECT_TRUE(Settings().contains("volume=0.37")) << signal << qPrintable(Settings());
    }
}

TEST_F(PlayerProgramTest, TellsByItsExitCodeWhatFailedOnce)
{
    QString const movie = DemoMovie::Make(50);
    QString const broken = WriteBroken();
    Start({"--audio=null", "--once", "--speed=8", movie});
    EXPECT_EQ(Finish(), 0) << player.readAllStandardError().toStdString();
    Start({"--audio=null", "--once", broken});
    EXPECT_EQ(Finish(), 3);
    EXPECT_TRUE(player.readAllStandardError().contains("is not a media file that can be read."));
    Start({"--audio=null", "--once", "--speed=8", broken, movie});
    EXPECT_EQ(Finish(), 1);
    EXPECT_TRUE(player.readAllStandardOutput().contains("pictures shown"));
}

TEST_F(PlayerProgramTest, PlaysEachFileOnceBackwardsToo)
{
    Start({"--audio=null", "--once", "--speed=-4", DemoMovie::Make(50), DemoMovie::Make(75)});
    EXPECT_EQ(Finish(), 0);
    EXPECT_GT(PicturesPassed(), 50); // of the second file; those before the first on show do not count
}

// A live recording: 200 pictures, and nothing that tells how many.
TEST_F(PlayerProgramTest, PlaysAFileWithoutALengthBackwardsFromItsLastPicture)
{
    QString const movie =
        MakeMedia("live.webm", Picture("64x48", 25, 8.0) + QStringList{"-f", "lavfi", "-i", "sine=duration=8", "-c:v",
                                                                       "libvpx", "-c:a", "libopus", "-live", "1"});
    Start({"--audio=null", "--once", "--speed=-8", movie});
    EXPECT_EQ(Finish(), 0);
    EXPECT_GT(PicturesPassed(), 150); // on a slow machine not all, as those before the first on show do not count
}

TEST_F(PlayerProgramTest, PrintsEveryFaultOfTheKeyFile)
{
    QDir().mkpath(home.filePath("config/tavolin"));
    QFile file(home.filePath("config/tavolin/keys.conf"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("mute = J\nfly = F\nquit = J\n");
    file.close();
    Start({"--audio=null", "--once", WriteBroken()});
    Finish();
    QByteArray const output = player.readAllStandardError();
    EXPECT_TRUE(output.contains("tavolin-player: keys.conf, line 2: there is no action \"fly\".")) << output.data();
    EXPECT_TRUE(output.contains("tavolin-player: keys.conf, line 3: the key \"J\" is bound in line 1 already."))
        << output.data();
}
