#pragma once

#include "tests/playback/VirtualTime.h"
#include "tests/support/Patience.h"

#include "decode/DecodedVideoFrame.h"
#include "playback/PlaybackEngine.h"

#include <QString>

#include <vector>

// Plays both ways, steps and seeks. False when the engine does not become ready.
inline bool PlayAround(PlaybackEngine& engine, VirtualTime& time, QString const& path)
{
    std::vector<short> block(4096);
    engine.Open(path);
    for (double const speed : {1.0, -1.0, 0.0}) {
        engine.Seek(300000);
        engine.SetSpeed(speed);
        for (int i = 0; i < 4; ++i) {
            if (!engine.WaitUntilReady(patience))
                return false;
            engine.GetPicture();
            engine.FillAudio(block.data(), 1000);
            time.Advance(40000);
        }
    }
    engine.Step(-3);
    return engine.WaitUntilReady(patience);
}

// The start of the picture shown after reopening the file and seeking; -1 when there is none.
inline long long StartShownAt(PlaybackEngine& engine, QString const& path, long long position)
{
    engine.Open(path);
    engine.Seek(position);
    if (!engine.WaitUntilReady(patience))
        return -1;
    auto const picture = engine.GetPicture();
    return picture ? picture->startTime : -1;
}
