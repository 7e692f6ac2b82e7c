#include "tests/playback/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Sessions.h"

#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "playback/PlaybackEngine.h"

#include <QtEndian>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cstring>

// Files with false sizes, streams, durations and rates: they may be believed, but must not cost memory.

namespace {

// What a small file may cost. The most measured is 157 MiB, for FFmpeg's decoders of 1000 streams; the rest is for
// sanitizers. A picture of 65535 x 65535 pixels would take 12 GiB.
constexpr long mostKibibytes = 512 * 1024;

long LargestResidentKibibytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Probes, opens, decodes up to 100 packets and seeks. Returns the number of pictures.
int Play(QString const& path, bool isImage = false)
{
    OutputChannels const channels(2);
    long const before = LargestResidentKibibytes();
    auto const info = Probed(path, isImage);
    MediaInstance instance;
    int pictures = 0;
    if (info->IsInitialized() && instance.Initialize(info, 0)) {
        for (int calls = 0; calls < 100 && instance.HasPacket(); ++calls) {
            Sounds sounds;
            Pictures records;
            instance.DecodeOnePacket(sounds, records, -1);
            for (auto const& record : records)
                pictures += IsPicture(*record) ? 1 : 0;
        }
        instance.Seek(info->GetDuration() > 0 ? info->GetDuration() : 1000000);
        instance.HasPacket();
    }
    EXPECT_LT(LargestResidentKibibytes() - before, mostKibibytes);
    return pictures;
}

QString WritePpm(QString const& width, QString const& height, int bytes)
{
    return WriteMedia("lying.ppm", ("P6\n" + width + " " + height + "\n255\n").toLatin1() + QByteArray(bytes, '\x55'));
}

QByteArray LittleEndian(qint64 value, int bytes)
{
    QByteArray text;
    for (int i = 0; i < bytes; ++i)
        text.append(static_cast<char>(value >> (8 * i) & 0xff));
    return text;
}

QString WriteBmp(qint32 width, qint32 height)
{
    QByteArray const file = "BM" + LittleEndian(54 + 100, 4) + LittleEndian(0, 4) + LittleEndian(54, 4);
    QByteArray const picture = LittleEndian(40, 4) + LittleEndian(width, 4) + LittleEndian(height, 4) +
                               LittleEndian(1, 2) + LittleEndian(24, 2) + QByteArray(24, '\0');
    return WriteMedia("lying.bmp", file + picture + QByteArray(100, '\x55'));
}

void Put32(QByteArray& bytes, qsizetype at, quint32 value)
{
    qToBigEndian(value, bytes.data() + at);
}

quint32 Get32(QByteArray const& bytes, qsizetype at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

// A movie with `count` copies of its one track.
QString WithTracks(int count)
{
    QString const small =
        MakeMedia("one-track.mp4", Picture("64x48", 25, 0.4) + QStringList{"-c:v", "libx264", "-preset", "ultrafast"});
    QByteArray bytes = ReadMedia(small);
    auto const movie = bytes.indexOf("moov") - 4;
    auto const track = bytes.indexOf("trak") - 4;
    QByteArray const box = bytes.mid(track, static_cast<int>(Get32(bytes, track)));
    QByteArray const further = box.repeated(count - 1);
    Put32(bytes, movie, Get32(bytes, movie) + static_cast<quint32>(further.size()));
    bytes.insert(track + box.size(), further);
    return WriteMedia("tracks-" + QString::number(count) + ".mp4", bytes);
}

} // namespace

TEST(HostileFilesTest, OddPicturesAreFine)
{
    EXPECT_EQ(Play(WritePpm("161", "121", 161 * 121 * 3), true), 1);
    EXPECT_EQ(Play(WritePpm("1", "1", 3), true), 1);
    EXPECT_EQ(Play(MakeMedia("odd.mkv", Picture("161x121", 25, 0.2) + QStringList{"-c:v", "mpeg4"})), 5);
}

TEST(HostileFilesTest, PicturesThatCannotBeCostNothing)
{
    LogCapture const log;
    for (bool const isImage : {false, true}) {
        for (char const* side : {"2147483648", "2147483647", "1073741824", "65535", "99999999999999999999", "0", "-5"})
            EXPECT_EQ(Play(WritePpm(side, side, 1000), isImage), 0) << side;
        EXPECT_EQ(Play(WritePpm("2147483647", "1", 1000), isImage), 0);
        EXPECT_EQ(Play(WritePpm("1", "2147483647", 1000), isImage), 0);
        for (qint32 const side : {INT32_MAX, INT32_MIN, 1 << 30, 1 << 16, 0, -1})
            EXPECT_EQ(Play(WriteBmp(side, side), isImage), 0) << side;
    }
}

// FFmpeg accepts at most a thousand streams in a file. It keeps a decoder of each while it probes them; the library has
// one at a time.
TEST(HostileFilesTest, ThousandsOfStreamsAreBounded)
{
    LogCapture const log;
    long const before = LargestResidentKibibytes();
    EXPECT_FALSE(Probed(WithTracks(5000))->IsInitialized());
    auto const info = Probed(WithTracks(100));
    EXPECT_TRUE(info->IsInitialized());
    EXPECT_EQ(info->GetNumVideoStreams(), 100);
    for (VideoStream const& stream : info->GetVideoStreams())
        EXPECT_EQ(stream.startTime, 0);
    EXPECT_LT(LargestResidentKibibytes() - before, mostKibibytes);
}

TEST(HostileFilesTest, ADurationThatLiesIsBelievedAndNotPaidFor)
{
    constexpr long long duration = 143165LL * 1000000;
    QString const small =
        MakeMedia("lying.mkv", Picture("160x120", 25, 2) + Tone(22050, 2, 2) +
                                   QStringList{"-c:v", "mpeg4", "-g", "10", "-threads", "1", "-c:a", "pcm_s16le"});
    QString const path = WithMatroskaDuration("long-lying.mkv", small, 143165000.0);
    OutputChannels const channels(2);
    auto const info = Probed(path);
    EXPECT_EQ(info->GetDuration(), duration);
    EXPECT_EQ(info->GetNumFrames(), 143165 * 25);
    EXPECT_GT(Play(path), 20);

    long const before = LargestResidentKibibytes();
    auto const time = std::make_shared<VirtualTime>();
    PlaybackEngine engine(PlaybackOptions(), time);
    engine.Open(path);
    for (long long const position : {duration - 1, duration / 2, 0LL, duration}) {
        engine.Seek(position);
        ASSERT_TRUE(engine.WaitUntilReady(patience));
        ASSERT_TRUE(engine.GetPicture());
        EXPECT_EQ(engine.GetPicture()->startTime, position == 0 ? 0 : 1960000) << position;
    }
    EXPECT_LT(LargestResidentKibibytes() - before, mostKibibytes);
}

TEST(HostileFilesTest, RatesThatLieAreNotPaidFor)
{
    LogCapture const log;
    QByteArray const data(100000, '\x10');
    for (int const rate : {INT32_MAX, 1, 0, -1}) {
        for (int const soundChannels : {1, 2, 64, 255, 65535, 0}) {
            for (int const bits : {8, 16, 32}) {
                SCOPED_TRACE(std::to_string(rate) + " Hz, " + std::to_string(soundChannels) + " channels");
                QString const path = WriteMedia("lying.wav", WavBytes(1, soundChannels, rate, bits, data));
                EXPECT_EQ(Play(path), 0);
            }
        }
    }
}
