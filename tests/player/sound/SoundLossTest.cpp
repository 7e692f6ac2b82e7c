#include "tests/player/sound/SoundTest.h"

// What happens to play when the sound device stalls, goes and comes back.

namespace Sound {

class SoundLossTest : public PlayerSoundTest
{
protected:
    static void TearDownTestSuite() { Server::Kill(); }

    void Start()
    {
        options.loop = true;
        PlayerSoundTest::Start(20);
        ASSERT_TRUE(Eventually([&] { return ShownNumber() > 10; }));
    }

    void ExpectPicturesGoOn()
    {
        long long const shown = Status().picturesShown;
        EXPECT_TRUE(Eventually([&] { return Status().picturesShown > shown + 10; }));
    }

    void ExpectSoundInSync()
    {
        EXPECT_TRUE(Eventually([&] { return Note().isEmpty(); })) << qPrintable(Note());
        std::vector<long long> const lags = MeasureLags(5);
        ASSERT_GE(lags.size(), 2U) << "no sound";
        std::printf("picture after sound by %lld us (median of %zu)\n", Median(lags), lags.size());
        constexpr long long picture = second / DemoMovie::rate;
        EXPECT_LT(std::llabs(Median(lags)), picture);
        auto const offset = Status().soundOffset;
        ASSERT_TRUE(offset);
        EXPECT_LT(std::llabs(*offset), picture);
    }
};

// Shorter than what counts as stalled: nobody is told.
TEST_F(SoundLossTest, TheWindowFindsSyncAgainAfterTwoSecondsOfSuspension)
{
    Start();
    ASSERT_TRUE(Server::Suspend(true));
    QTest::qWait(2000);
    ExpectPicturesGoOn();
    ASSERT_TRUE(Server::Suspend(false));
    ExpectSoundInSync();
}

TEST_F(SoundLossTest, TheWindowSaysThatTheDeviceStallsAndFindsSyncAgain)
{
    Start();
    ASSERT_TRUE(Server::Suspend(true));
    EXPECT_TRUE(Eventually([&] { return Note() == "The sound device does not respond."; }));
    QTest::qWait(2500); // longer than until a lost device is opened again
    ExpectPicturesGoOn();
    EXPECT_EQ(Note(), "The sound device does not respond.");
    ASSERT_TRUE(Server::Suspend(false));
    ExpectSoundInSync();
}

TEST_F(SoundLossTest, TheWindowPlaysOnInSilenceAndTakesTheServerThatIsStartedAgain)
{
    Start();
    EXPECT_EQ(Note(), "");
    Server::Kill();
    EXPECT_TRUE(Eventually([&] { return Note() == "The sound device has gone; playing without sound."; }))
        << qPrintable(Note());
    ExpectPicturesGoOn();
    EXPECT_TRUE(Eventually([&] { return Note() == "There is no sound device; playing without sound."; }))
        << qPrintable(Note());
    ASSERT_TRUE(Server::Start());
    ExpectSoundInSync();
}

TEST_F(SoundLossTest, TheWindowPlaysWithoutADeviceAndTakesOneThatComesLater)
{
    Server::Kill();
    Start();
    EXPECT_TRUE(Eventually([&] { return Note().endsWith("playing without sound."); }));
    EXPECT_EQ(Status().state, PlaybackState::Playing);
    ASSERT_TRUE(Server::Start());
    ExpectSoundInSync();
}

// They look for dozens of devices that are not there.
TEST_F(SoundLossTest, ThePlayerKeepsTheSoundLibrariesMessagesFromTheTerminal)
{
    Server::Kill();
    QProcess player;
    player.start(TAVOLIN_PLAYER, {"--once", "--opengl=no", DemoMovie::Make(2 * DemoMovie::rate)});
    ASSERT_TRUE(player.waitForFinished(patience));
    EXPECT_EQ(player.exitCode(), 0);
    EXPECT_TRUE(player.readAllStandardOutput().contains("pictures shown"));
    EXPECT_EQ(QString(player.readAllStandardError()), "");
}

} // namespace Sound
