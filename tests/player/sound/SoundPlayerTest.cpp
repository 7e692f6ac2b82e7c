#include "player/sound/SoundPlayer.h"
#include "playback/PlaybackEngine.h"
#include "tests/player/Eventually.h"

#include <QElapsedTimer>
#include <QtTest>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

constexpr int retryInterval = 2000; // milliseconds until the player tries a lost device again by itself

// What a test tells the device, and what the device tells it.
struct Script
{
    std::atomic<bool> isThere{true};
    std::atomic<bool> isStalled{false};
    std::atomic<int> startDelay{0}; // milliseconds that a start takes
    std::atomic<int> starts{0};
    std::atomic<int> stops{0};
};

class ScriptedDevice : public AudioDevice
{
public:
    explicit ScriptedDevice(std::shared_ptr<Script> newScript) : script(std::move(newScript)) {}

    bool Start(int /*sampleRate*/, int /*channels*/, Fill /*fill*/) override
    {
        QTest::qSleep(std::max(1, script->startDelay.load()));
        ++script->starts;
        isOpen = script->isThere;
        return isOpen;
    }

    void Stop() override
    {
        isOpen = false;
        ++script->stops;
    }

    State GetState() override
    {
        isOpen = isOpen && script->isThere;
        if (!isOpen)
            return State::Lost;
        return script->isStalled ? State::Stalled : State::Running;
    }

    QString GetNote() const override
    {
        if (!script->isThere)
            return "absent";
        return script->isStalled ? "stalled" : "";
    }

private:
    std::shared_ptr<Script> const script;
    bool isOpen = false;
};

class SoundPlayerTest : public ::testing::Test
{
protected:
    SoundPlayerTest()
    {
        QObject::connect(&player, &SoundPlayer::NoteChanged, [this](QString const& changed) { notes << changed; });
    }

    std::shared_ptr<Script> const script = std::make_shared<Script>();
    PlaybackEngine engine;
    SoundPlayer player{engine, std::make_unique<ScriptedDevice>(script)};
    QStringList notes;
};

TEST_F(SoundPlayerTest, LeavesAStalledDeviceOpenAndSaysSoUntilItGoesOn)
{
    player.Start(48000, 2);
    ASSERT_TRUE(Eventually([&] { return script->starts == 1; }));
    script->isStalled = true;
    EXPECT_TRUE(Eventually([&] { return notes == QStringList{"stalled"}; }));
    QTest::qWait(retryInterval + 1000);
    script->isStalled = false;
    EXPECT_TRUE(Eventually([&] { return notes == (QStringList{"stalled", ""}); }));
    EXPECT_EQ(script->starts, 1);
    EXPECT_EQ(script->stops, 0);
}

TEST_F(SoundPlayerTest, OpensALostDeviceAgainByItself)
{
    player.Start(48000, 2);
    ASSERT_TRUE(Eventually([&] { return script->starts == 1; }));
    script->isThere = false;
    EXPECT_TRUE(Eventually([&] { return notes == QStringList{"absent"} && script->stops == 1; }));
    ASSERT_TRUE(Eventually([&] { return script->starts == 2; }));
    script->isThere = true;
    EXPECT_TRUE(Eventually([&] { return script->starts == 3; }));
    EXPECT_TRUE(Eventually([&] { return notes == (QStringList{"absent", ""}); }));
}

TEST_F(SoundPlayerTest, TriesAnAbsentDeviceAtOnceWhenAsked)
{
    script->isThere = false;
    player.Start(48000, 2);
    ASSERT_TRUE(Eventually([&] { return script->starts == 1; }));
    script->isThere = true;
    QElapsedTimer timer;
    timer.start();
    player.Reopen();
    EXPECT_TRUE(Eventually([&] { return script->starts == 2; }));
    EXPECT_LT(timer.elapsed(), retryInterval);
    player.Reopen(); // there is nothing to open
    QTest::qWait(100);
    EXPECT_EQ(script->starts, 2);
}

TEST_F(SoundPlayerTest, DoesNotOpenTheDeviceAnyMoreOnceStopped)
{
    script->isThere = false;
    player.Start(48000, 2);
    ASSERT_TRUE(Eventually([&] { return script->starts == 1; }));
    player.Stop();
    player.Reopen();
    QTest::qWait(retryInterval + 500);
    EXPECT_EQ(script->starts, 1);
}

TEST_F(SoundPlayerTest, DoesNotWaitForASlowDevice)
{
    script->startDelay = 1000;
    QElapsedTimer timer;
    timer.start();
    player.Start(48000, 2);
    player.Reopen();
    EXPECT_LT(timer.elapsed(), script->startDelay);
    EXPECT_EQ(script->starts, 0);
    EXPECT_TRUE(Eventually([&] { return script->starts == 1; }));
}

} // namespace
