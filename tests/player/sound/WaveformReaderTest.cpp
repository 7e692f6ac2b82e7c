#include "player/sound/WaveformReader.h"

#include "playback/PlaybackStatus.h"
#include "source/Source.h"
#include "tests/support/Media.h"
#include "tests/support/OpenedInputs.h"
#include "tests/support/Sessions.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

// What a reader tells last of the sound of a file; media time begins at `origin`.
QVector<quint8> PeaksOf(QString const& path, long long origin, long long start, long long duration)
{
    OutputChannels const channels(2);
    PlaybackStatus status;
    status.soundInfo = Source::OpenFile(path).GetInfo();
    status.origin = origin;
    status.start = start;
    status.duration = duration;
    QVector<quint8> last;
    int const before = OpenedInputs::Count();
    WaveformReader reader(status);
    QObject::connect(&reader, &WaveformReader::PeaksRead, &reader, [&](QVector<quint8> const& peaks) { last = peaks; });
    reader.start();
    EXPECT_TRUE(reader.wait(60000));
    QCoreApplication::processEvents();
    EXPECT_EQ(OpenedInputs::Count() - before, 1);
    return last;
}

// Silent for a second, then as loud as can be, for a second.
QStringList SilenceAndNoise()
{
    return {"-f", "lavfi", "-i", "aevalsrc=gt(t\\,1)*(2*gt(sin(2*PI*500*t)\\,0)-1):s=8000:d=2"};
}

quint8 Loudest(QVector<quint8> const& peaks, int from, int to)
{
    return *std::max_element(peaks.begin() + from, peaks.begin() + to);
}

} // namespace

TEST(WaveformReaderTest, TellsWhereTheSoundIsLoud)
{
    auto const peaks = PeaksOf(MakeMedia("loud.wav", SilenceAndNoise()), 0, 0, 2000000);
    ASSERT_EQ(peaks.size(), 2048);
    EXPECT_EQ(Loudest(peaks, 0, 1024), 0);
    EXPECT_EQ(*std::min_element(peaks.begin() + 1024, peaks.end()), 255);
}

TEST(WaveformReaderTest, KeepsToMediaTime)
{
    // Media time 0 is at 0.5 s of the container, and the media begins half a second before it.
    auto const peaks = PeaksOf(MakeMedia("loud.wav", SilenceAndNoise()), 500000, -500000, 4000000);
    EXPECT_EQ(Loudest(peaks, 0, 512), 0);
    EXPECT_EQ(*std::min_element(peaks.begin() + 512, peaks.begin() + 1024), 255);
    EXPECT_EQ(Loudest(peaks, 1024, 2048), 0); // beyond the end of the sound
}

TEST(WaveformReaderTest, ReadsTheSoundOfAMovie)
{
    QString const movie = MakeMedia("loud.mov", Picture("64x48", 25, 2.0) + SilenceAndNoise() +
                                                    QStringList{"-c:v", "libx264", "-c:a", "pcm_s16le"});
    auto const peaks = PeaksOf(movie, 0, 0, 2000000);
    EXPECT_EQ(Loudest(peaks, 0, 1024), 0);
    EXPECT_EQ(*std::min_element(peaks.begin() + 1024, peaks.end()), 255);
}
