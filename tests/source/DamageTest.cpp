#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/Source.h"
#include "tests/support/Clips.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>
#include <random>

// Where a stream says that it is damaged.

namespace {

constexpr int pictureCount = 100; // of 40 milliseconds each
constexpr long long farAhead = 1000000000000LL;

// Of 4 seconds, groups of 25 pictures, with bytes of some pictures in the second and third group exchanged.
QString DamagedMovie()
{
    QString const whole = MakeMedia("damage-whole.mp4",
                                    Picture("320x240", 25, pictureCount / 25.0) +
                                        QStringList{"-c:v", "libx264", "-bf", "0", "-g", "25", "-pix_fmt", "yuv420p"});
    QByteArray bytes = ReadMedia(whole);
    auto const head = bytes.indexOf("mdat");
    auto const length = bytes.size() - head;
    for (auto at = head + length * 2 / 5; at < head + length / 2; ++at)
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
    return WriteMedia("damage-damaged.mp4", bytes);
}

// By FFmpeg called directly: times of the pictures that it does not give, or gives with a sign of damage.
std::vector<long long> DamagePlainly(QString const& path)
{
    std::vector<bool> good(pictureCount, false);
    ReferenceInput input(path, AVMEDIA_TYPE_VIDEO);
    input.DecodeAll([&](AVFrame const& frame) {
        auto const number = static_cast<size_t>(static_cast<double>(frame.pts) * input.TickUs() / 40000.0 + 0.5);
        good.at(number) = frame.decode_error_flags == 0 && (frame.flags & AV_FRAME_FLAG_CORRUPT) == 0;
    });
    std::vector<long long> times;
    for (size_t i = 0; i < good.size(); ++i) {
        if (!good[i])
            times.push_back(static_cast<long long>(i) * 40000);
    }
    return times;
}

void ReadToEnd(PictureStream& stream)
{
    PictureStream::Picture picture;
    auto result = stream.ReadAt(0, picture);
    while (result == ReadResult::Got)
        result = stream.Read(picture);
    EXPECT_EQ(result, ReadResult::End);
}

std::vector<long long> DamageOf(PictureStream const& stream)
{
    QVector<long long> const damage = stream.GetDamage();
    return {damage.begin(), damage.end()};
}

// Damage does not depend on colours, and the plain ones are quicker.
std::unique_ptr<PictureStream> PlainPicturesOf(QString const& path)
{
    Source source = Source::OpenFile(path);
    source.SetColours({});
    return source.OpenPictures();
}

// Enters the stream, whose end is known, where decoders have reason to complain.
void ReadPairsAtRandom(PictureStream& stream, int count)
{
    std::mt19937 random(3);
    for (int i = 0; i < count; ++i) {
        PictureStream::Picture picture;
        stream.ReadAt(static_cast<long long>(random() % static_cast<unsigned long>(stream.GetEnd() + 1)), picture);
        stream.Read(picture);
    }
}

} // namespace

TEST(PictureStreamDamageTest, TellsThePicturesThatAreLostOrPatchedUp)
{
    LogCapture const log;
    QString const path = DamagedMovie();
    auto const expected = DamagePlainly(path);
    ASSERT_GT(expected.size(), 2u);
    auto const stream = Source::OpenFile(path).OpenPictures();
    ASSERT_TRUE(stream);
    ReadToEnd(*stream);
    EXPECT_EQ(DamageOf(*stream), expected);
}

TEST(PictureStreamDamageTest, CountsAPlaceOnceHoweverOftenItIsRead)
{
    LogCapture const log;
    auto const stream = Source::OpenFile(DamagedMovie()).OpenPictures();
    ReadToEnd(*stream);
    auto const damage = DamageOf(*stream);
    ASSERT_FALSE(damage.empty());
    ReadToEnd(*stream);
    EXPECT_EQ(DamageOf(*stream), damage);
}

TEST(PictureStreamDamageTest, TellsNoneInWholeFiles)
{
    for (auto const& names : {Clips::MadeNames(), Clips::DifficultNames()}) {
        for (std::string const& name : names) {
            if (!Clips::IsWhole(name))
                continue;
            SCOPED_TRACE(name);
            LogCapture const log;
            auto const stream = PlainPicturesOf(Clips::Made(QString::fromStdString(name)));
            ASSERT_TRUE(stream);
            ReadToEnd(*stream);
            ReadPairsAtRandom(*stream, 12);
            EXPECT_EQ(DamageOf(*stream), std::vector<long long>());
        }
    }
}

// They are large: only entered here. PictureProofTest reads them to their ends.
TEST(PictureStreamDamageTest, TellsNoneInRealFilesThatAreWhole)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there are no real clips";
    for (std::string const& name : Clips::RealMovieNames()) {
        if (!Clips::IsWhole(name))
            continue;
        SCOPED_TRACE(name);
        LogCapture const log;
        auto const stream = PlainPicturesOf(Clips::Real(QString::fromStdString(name)));
        ASSERT_TRUE(stream);
        PictureStream::Picture last;
        stream->ReadAt(farAhead, last);
        ASSERT_GT(stream->GetEnd(), 0);
        ReadPairsAtRandom(*stream, 4);
        EXPECT_EQ(DamageOf(*stream), std::vector<long long>());
    }
}

// Made to have faults: the ffmpeg command calls five of its pictures corrupt.
TEST(PictureStreamDamageTest, CountsAsTheFfmpegCommandDoes)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there are no real clips";
    LogCapture const log;
    auto const stream = Source::OpenFile(Clips::Real("h264-raw-size-change-352x288-640x480.264")).OpenPictures();
    ReadToEnd(*stream);
    EXPECT_EQ(DamageOf(*stream).size(), 5u);
}

TEST(PictureStreamDamageTest, TellsTheFilesOfASequenceThatCannotBeRead)
{
    LogCapture const log;
    QTemporaryDir const folder;
    Clips::WriteNumberedPictures(folder.path(), "a.%03d.ppm", {1, 2, 3, 4, 5});
    QFile file(folder.filePath("a.003.ppm"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("P6\n16 8\n255\n, and no more");
    file.close();
    SourceOptions options;
    options.sequenceRate = 25.0;
    auto const stream = Source::OpenSequence(folder.path(), options).OpenPictures();
    ASSERT_TRUE(stream);
    ReadToEnd(*stream);
    EXPECT_EQ(DamageOf(*stream), std::vector<long long>({80000}));
}

TEST(DamageTimesTest, KeepsOrderAndBounds)
{
    DamageTimes times;
    for (long long const time : {30, 10, 20, 10, 30})
        times.Add(time);
    EXPECT_EQ(times.Get(), QVector<long long>({10, 20, 30}));
    for (long long time = 100; time < 5000; ++time)
        times.Add(time);
    EXPECT_EQ(times.Get().size(), 1000);
    EXPECT_EQ(times.Get().last(), 1096);
}
