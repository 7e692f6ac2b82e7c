#include "bench/cache/PairedTimes.h"
#include "bench/cache/PlainFill.h"
#include "cache/DecodedAudio.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

// Fills blocks of 512 frames from frames of 1024 at 48 kHz, compared with a plain fill and with a bare copy of the
// block.
namespace {

constexpr int framesPerBlock = 512;
constexpr int framesPerFrame = 1024;
constexpr int frameCount = 60;
constexpr int blocksPerRound = 20; // at the highest speed a round reads 4 times as many frames; the cache has enough
constexpr int sampleRate = 48000;

std::shared_ptr<DecodedAudioFrame> MakeFrame(int number, int channels)
{
    auto frame = std::make_shared<DecodedAudioFrame>();
    int const values = framesPerFrame * channels;
    frame->samples = new short[static_cast<size_t>(values)];
    for (int i = 0; i < values; ++i)
        frame->samples[i] = static_cast<short>((number * values + i) * 7919);
    frame->sampleCount = frame->sampleCapacity = values;
    frame->sampleRate = sampleRate;
    frame->frameCount = framesPerFrame;
    frame->startTime = number * (framesPerFrame * 1000000LL / sampleRate);
    frame->endTime = frame->startTime + framesPerFrame * 1000000LL / sampleRate - 1;
    return frame;
}

struct Scene
{
    explicit Scene(int channels) : channels(channels), plain(MakeFrames(channels))
    {
        cache.SetMaxFrameCount(frameCount + 2);
        for (auto const& frame : MakeFrames(channels))
            cache.AppendFrame(frame);
        block.resize(static_cast<size_t>(framesPerBlock * channels));
        source.resize(block.size() * blocksPerRound, 5);
    }

    static std::vector<std::shared_ptr<DecodedAudioFrame>> MakeFrames(int channels)
    {
        std::vector<std::shared_ptr<DecodedAudioFrame>> frames;
        for (int i = 0; i < frameCount; ++i)
            frames.push_back(MakeFrame(i, channels));
        return frames;
    }

    void Fill(double volume, double speed)
    {
        for (int i = 0; i < blocksPerRound; ++i) {
            long long const time = static_cast<long long>(i * speed * framesPerBlock * 1000000.0 / sampleRate);
            cache.PaFillBuffer(block.data(), framesPerBlock, channels, sampleRate, time, volume, i == 0, speed);
        }
    }

    void FillPlainly(double volume, double speed)
    {
        for (int i = 0; i < blocksPerRound; ++i)
            plain.Fill(block.data(), framesPerBlock, channels, volume, i == 0, speed);
    }

    void Copy()
    {
        for (size_t i = 0; i < blocksPerRound; ++i) {
            std::memcpy(block.data(), source.data() + i * block.size(), block.size() * sizeof(short));
            asm volatile("" : : "r"(block.data()) : "memory"); // keeps the compiler from removing a copy
        }
    }

    int channels;
    DecodedAudio cache;
    PlainFill plain;
    std::vector<short> block;
    std::vector<short> source;
};

void Compare(Scene& scene, double volume, double speed, int rounds)
{
    auto const fill = [&] { scene.Fill(volume, speed); };
    auto const plain = TimeInTurns([&] { scene.FillPlainly(volume, speed); }, fill, rounds);
    auto const copy = TimeInTurns(
        fill, [&] { scene.Copy(); }, rounds);
    std::printf("%8d %6.2f %6.2f %12.3f %12.3f %10.1f x %12.1f x\n", scene.channels, speed, volume,
                plain.second / (blocksPerRound * framesPerBlock), plain.first / (blocksPerRound * framesPerBlock),
                plain.ratio, copy.ratio);
}

} // namespace

int main(int argc, char** argv)
{
    int const rounds = argc > 1 ? std::atoi(argv[1]) : 1000;
    std::printf("channels  speed volume  ns a frame   plain loop  plain/fill    fill/memcpy\n");
    for (int const channels : {2, 1, 6}) {
        Scene scene(channels);
        for (double const speed : {1.0, 0.5, 2.0, 0.75, 1.3})
            for (double const volume : {1.0, 0.7})
                Compare(scene, volume, speed, rounds);
    }
}
