#include "player/sound/AudioDevice.h"
#include "player/sound/RateConverter.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

namespace {

constexpr int blockFrames = 256; // in which RateConverter asks for sound
constexpr int filterFrames = 32; // of libswresample's filter
constexpr double pi = 3.14159265358979323846;

// A tone on the first channel, silence on the others.
class ToneSource
{
public:
    ToneSource(int rate, int channels, double frequency) : rate(rate), channels(channels), frequency(frequency) {}

    void Fill(short* buffer, int frames, long long delay)
    {
        lastDelay = delay;
        for (int i = 0; i < frames; ++i, ++position)
            for (int channel = 0; channel < channels; ++channel)
                buffer[i * channels + channel] =
                    channel == 0 ? static_cast<short>(10000.0 * std::sin(2.0 * pi * frequency * position / rate)) : 0;
    }

    AudioDevice::Fill AsFill()
    {
        return [this](short* buffer, int frames, long long delay) { Fill(buffer, frames, delay); };
    }

    std::atomic<long long> position{0};
    long long lastDelay = -1;

private:
    int rate;
    int channels;
    double frequency;
};

int RisingCrossings(std::vector<short> const& samples, size_t channels, size_t from)
{
    int crossings = 0;
    for (size_t i = from; i + channels < samples.size(); i += channels)
        crossings += samples[i] < 0 && samples[i + channels] >= 0 ? 1 : 0;
    return crossings;
}

} // namespace

TEST(AudioDeviceTest, IsMadeByItsName)
{
    EXPECT_NE(AudioDevice::Make("portaudio"), nullptr);
    EXPECT_NE(AudioDevice::Make("null"), nullptr);
    EXPECT_NE(AudioDevice::Make("wav:x.wav"), nullptr);
    EXPECT_EQ(AudioDevice::Make("wav:"), nullptr);
    EXPECT_EQ(AudioDevice::Make("loud"), nullptr);
}

TEST(RateConverterTest, KeepsThePitchAtAnotherRate)
{
    ToneSource source(44100, 2, 1000.0);
    auto const converter = RateConverter::Make(source.AsFill(), {44100, 2}, {48000, 2});
    ASSERT_NE(converter, nullptr);
    std::vector<short> second(2 * 48000);
    for (int block = 0; block < 100; ++block)
        converter->Fill(second.data() + 2 * 480 * block, 480, 0);
    EXPECT_NEAR(RisingCrossings(second, 2, 0), 1000, 1); // the first or the last one may be cut off
    EXPECT_GE(source.position, 44100);
    EXPECT_LE(source.position, 44100 + blockFrames + filterFrames);
}

TEST(RateConverterTest, ContinuesFromBlockToBlockWhateverTheirSize)
{
    ToneSource one(44100, 2, 440.0);
    ToneSource other(44100, 2, 440.0);
    auto const wholeConverter = RateConverter::Make(one.AsFill(), {44100, 2}, {48000, 2});
    auto const pieceConverter = RateConverter::Make(other.AsFill(), {44100, 2}, {48000, 2});
    std::vector<short> whole(2 * 6000);
    std::vector<short> pieces(2 * 6000);
    wholeConverter->Fill(whole.data(), 6000, 0);
    int const sizes[] = {1, 7, 480, 1000, 512, 4000};
    int done = 0;
    for (int const size : sizes) {
        pieceConverter->Fill(pieces.data() + 2 * done, size, 0);
        done += size;
    }
    ASSERT_EQ(done, 6000);
    EXPECT_EQ(whole, pieces);
}

TEST(RateConverterTest, MixesStereoDownForADeviceWithOneChannel)
{
    ToneSource source(48000, 2, 1000.0);
    auto const converter = RateConverter::Make(source.AsFill(), {48000, 2}, {48000, 1});
    ASSERT_NE(converter, nullptr);
    std::vector<short> mono(4800);
    converter->Fill(mono.data(), 4800, 0);
    EXPECT_NEAR(RisingCrossings(mono, 1, 0), 100, 1); // the first or the last one may be cut off
}

TEST(RateConverterTest, TellsTheSourceWhenItsSoundIsHeard)
{
    ToneSource source(48000, 1, 100.0);
    auto const converter = RateConverter::Make(source.AsFill(), {48000, 1}, {24000, 1});
    std::vector<short> block(2400); // a tenth of a second
    converter->Fill(block.data(), 2400, 20000);
    // The last block begins before the end of that tenth, but not by more than itself and the filter, which is twice as
    // long at half the rate.
    EXPECT_LE(source.lastDelay, 20000 + 100000);
    EXPECT_GE(source.lastDelay, 20000 + 100000 - (blockFrames + 2 * filterFrames) * 1000000LL / 48000);
}

TEST(WavAudioDeviceTest, WritesWhatItIsFilledWithAtThePaceOfADevice)
{
    QTemporaryDir const folder;
    QString const path = folder.filePath("out.wav");
    ToneSource source(48000, 2, 1000.0);
    auto const device = AudioDevice::Make("wav:" + path);
    auto const start = std::chrono::steady_clock::now();
    ASSERT_TRUE(device->Start(48000, 2, source.AsFill()));
    EXPECT_EQ(device->GetState(), AudioDevice::State::Running);
    while (source.position < 30 * 480) // blocks of 10 ms
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    device->Stop();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290)); // the first one comes at once
    EXPECT_EQ(device->GetState(), AudioDevice::State::Lost);

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QByteArray const bytes = file.readAll();
    long long const frames = source.position;
    ASSERT_EQ(bytes.size(), 44 + 4 * frames);
    EXPECT_EQ(bytes.mid(0, 4), "RIFF");
    EXPECT_EQ(bytes.mid(8, 8), "WAVEfmt ");
    EXPECT_EQ(qFromLittleEndian<quint32>(bytes.constData() + 4), 36 + 4 * frames);
    EXPECT_EQ(qFromLittleEndian<quint32>(bytes.constData() + 24), 48000u);
    EXPECT_EQ(qFromLittleEndian<quint32>(bytes.constData() + 40), 4 * frames);
    ToneSource again(48000, 2, 1000.0);
    std::vector<short> expected(static_cast<size_t>(2 * frames));
    again.Fill(expected.data(), static_cast<int>(frames), 0);
    EXPECT_EQ(std::memcmp(bytes.constData() + 44, expected.data(), static_cast<size_t>(4 * frames)), 0);
}

TEST(WavAudioDeviceTest, TellsWhenItCannotWrite)
{
    ToneSource source(48000, 2, 1000.0);
    auto const device = AudioDevice::Make("wav:/no/such/folder/out.wav");
    EXPECT_FALSE(device->Start(48000, 2, source.AsFill()));
    EXPECT_TRUE(device->GetNote().startsWith("The sound cannot be written to /no/such/folder/out.wav"));
    EXPECT_EQ(source.position, 0);
}

TEST(NullAudioDeviceTest, NeverAsksForSound)
{
    ToneSource source(48000, 2, 1000.0);
    auto const device = AudioDevice::Make("null");
    EXPECT_TRUE(device->Start(48000, 2, source.AsFill()));
    EXPECT_EQ(device->GetState(), AudioDevice::State::Running);
    EXPECT_EQ(device->GetNote(), "");
    device->Stop();
    EXPECT_EQ(source.position, 0);
}
