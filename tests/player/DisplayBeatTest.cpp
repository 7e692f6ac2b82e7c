#include "player/DisplayBeat.h"
#include "playback/PlaybackStatus.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QThread>

#include <gtest/gtest.h>

namespace {

PlaybackStatus StatusOf(PlaybackState state, long long position = 0)
{
    PlaybackStatus status;
    status.state = state;
    status.position = position;
    return status;
}

void PassMoreThanASecond()
{
    QThread::msleep(1100);
}

} // namespace

TEST(DisplayBeatTest, LooksOftenOnlyWhileSomethingMoves)
{
    DisplayBeat beat;
    beat.Start();
    beat.Follow(StatusOf(PlaybackState::Playing), false);
    EXPECT_EQ(beat.GetInterval(), 8);
    beat.Follow(StatusOf(PlaybackState::Opening), false);
    EXPECT_EQ(beat.GetInterval(), 8);
    beat.Follow(StatusOf(PlaybackState::Paused), false);
    EXPECT_EQ(beat.GetInterval(), 30);
    PlaybackStatus waiting = StatusOf(PlaybackState::Paused);
    waiting.waiting = true;
    beat.Follow(waiting, false);
    EXPECT_EQ(beat.GetInterval(), 8);
}

TEST(DisplayBeatTest, RestsAfterASecondWithoutAChange)
{
    DisplayBeat beat;
    beat.Start();
    beat.Follow(StatusOf(PlaybackState::Paused), false);
    PassMoreThanASecond();
    beat.Follow(StatusOf(PlaybackState::Paused), false);
    EXPECT_EQ(beat.GetInterval(), 250);
    beat.Follow(StatusOf(PlaybackState::Paused, 40000), false); // a step
    EXPECT_EQ(beat.GetInterval(), 30);
    PassMoreThanASecond();
    beat.Follow(StatusOf(PlaybackState::Paused, 40000), /*isBusy=*/true);
    EXPECT_EQ(beat.GetInterval(), 30);
}

TEST(DisplayBeatTest, WakesOnInput)
{
    DisplayBeat beat;
    beat.Start();
    beat.Follow(StatusOf(PlaybackState::Paused), false);
    PassMoreThanASecond();
    beat.Follow(StatusOf(PlaybackState::Paused), false);
    ASSERT_EQ(beat.GetInterval(), 250);
    QObject receiver;
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
    QCoreApplication::sendEvent(&receiver, &key);
    EXPECT_EQ(beat.GetInterval(), 30);
}
