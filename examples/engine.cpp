// The shortest host: the engine opens, plays and reverses; the display and the sound output only fetch from it. Here
// showing a picture prints its time, and the sound is discarded.

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

void Show(DecodedVideoFrame const& picture)
{
    std::printf("%lld us: %d x %d\n", picture.startTime, picture.width, picture.height);
}

// A sound device asks for a block whenever it has room for one. This substitute waits as long as each block plays.
void OutputSound(PlaybackEngine& engine, std::atomic<bool> const& done)
{
    // [sound]
    PlaybackStatus const status = engine.GetStatus(); // open the device with these
    std::vector<short> block(static_cast<size_t>(512 * status.channels));
    while (!done && engine.FillAudio(block.data(), 512) > 0)
        std::this_thread::sleep_for(std::chrono::microseconds(512 * 1000000LL / status.sampleRate));
    // [sound]
}

bool Play(QString const& path)
{
    // [engine]
    AvGlobals::maxAudioOutputChannels = 2; // once, before the first Open
    PlaybackEngine engine;
    engine.Open(path); // returns at once
    if (!engine.WaitUntilReady(5000) || engine.GetStatus().state == PlaybackState::Closed) {
        std::fprintf(stderr, "%s\n", qPrintable(engine.GetStatus().error));
        return false;
    }
    std::atomic<bool> done = false;
    std::thread output([&] { OutputSound(engine, done); });
    engine.SetSpeed(1.0);
    for (int tick = 0; tick < 120; ++tick) { // one per display refresh
        if (tick == 60)
            engine.SetSpeed(-1.0); // play backwards from the current picture
        if (auto const picture = engine.GetPicture())
            Show(*picture);
        std::this_thread::sleep_for(std::chrono::milliseconds(16));
    }
    done = true;
    output.join();
    // [engine]
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: engine MEDIA\n");
        return 2;
    }
    return Play(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
