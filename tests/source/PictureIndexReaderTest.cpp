#include "source/PictureIndexReader.h"

#include "decode/DecodedVideoFrame.h"
#include "source/Source.h"
#include "tests/support/Clips.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"

#include <QDir>
#include <QTemporaryDir>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <gtest/gtest.h>

namespace {

using Index = std::shared_ptr<PictureIndex const>;

struct Span
{
    long long start;
    long long end;

    bool operator==(Span const& other) const { return start == other.start && end == other.end; }
    friend std::ostream& operator<<(std::ostream& out, Span const& span)
    {
        return out << span.start << '-' << span.end;
    }
};

Source Open(QString const& path)
{
    Source source = Source::Open(path);
    source.SetColours({});
    return source;
}

Index IndexOf(QString const& path)
{
    LogCapture const log;
    return ReadPictureIndex(Open(path));
}

std::vector<Span> SpansOf(PictureIndex const& index)
{
    std::vector<Span> spans;
    for (long long number = 0; number < index.GetCount(); ++number)
        spans.push_back({index.TimeOf(number), index.EndOf(number)});
    return spans;
}

// What decoding the whole of a source gives.
std::vector<Span> DecodedSpans(Source const& source)
{
    std::vector<Span> spans;
    auto const pictures = source.OpenPictures();
    for (PictureStream::Picture picture; pictures->Read(picture) == ReadResult::Got;)
        spans.push_back({picture->startTime, picture->endTime});
    return spans;
}

long long CountOf(QString const& path)
{
    Index const index = IndexOf(path);
    return index ? index->GetCount() : -1;
}

QString Made(QString const& name, QString const& arguments)
{
    return MakeMedia(name, arguments.split(' ', Qt::SkipEmptyParts) + QStringList{"-threads", "1"});
}

QString const moving = QStringLiteral("-f lavfi -i testsrc2=size=96x64:rate=30000/1001:duration=4 ");

// ---- Every kind of movie

class PictureIndexReaderClipTest : public testing::TestWithParam<std::string>
{
public:
    static std::vector<std::string> Names()
    {
        std::vector<std::string> names = Clips::MovieNames();
        names.erase(std::remove_if(names.begin(), names.end(), Clips::IsDamaged), names.end());
        return names;
    }

    static std::string TestName(testing::TestParamInfo<std::string> const& info) { return Clips::TestName(info.param); }
};

TEST_P(PictureIndexReaderClipTest, HasThePicturesThatDecodingGives)
{
    QString const name = QString::fromStdString(GetParam());
    bool const isReal = name.startsWith("real/");
    if (isReal && !Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    LogCapture const log;
    Source const source = Open(isReal ? Clips::Real(name.mid(5)) : Clips::Made(name));
    Index const index = ReadPictureIndex(source);
    ASSERT_TRUE(index);
    EXPECT_EQ(SpansOf(*index), DecodedSpans(source));
    std::vector<long long> const starts = Reference::PictureTimes(source.GetPath());
    ASSERT_EQ(index->GetCount(), static_cast<long long>(starts.size()));
    for (size_t i = 0; i < starts.size(); ++i)
        EXPECT_EQ(index->TimeOf(static_cast<long long>(i)), starts[i]) << i;
}

INSTANTIATE_TEST_SUITE_P(Clips, PictureIndexReaderClipTest, testing::ValuesIn(PictureIndexReaderClipTest::Names()),
                         PictureIndexReaderClipTest::TestName);

// How the packets of the same pictures lie in other containers, and what is cut off them.
struct Packing
{
    char const* name;
    char const* source; // of `name`'s arguments in place of {}, or null
    char const* arguments;
};

class PictureIndexReaderPackingTest : public testing::TestWithParam<Packing>
{
public:
    static std::string TestName(testing::TestParamInfo<Packing> const& info)
    {
        return Clips::TestName(info.param.name);
    }
};

QString const reordered = moving + "-c:v libx264 -preset ultrafast -bf 3 -b_strategy 0 -g 30";
QString const openGroups =
    moving + "-c:v libx264 -preset ultrafast -bf 3 -b_strategy 0 -g 30 -sc_threshold 0 -x264-params open-gop=1";
QString const openHevc =
    moving + "-c:v libx265 -preset ultrafast -x265-params log-level=0:bframes=4:keyint=30:open-gop=1";
QString const uneven = moving + "-vf select='not(mod(n,7))+gt(n,60)' -vsync vfr -c:v libx264 -preset ultrafast -bf 3";

Packing const packings[] = {
    {"b.mkv", "reordered.mp4", "-c copy"},
    {"b.ts", "reordered.mp4", "-c copy"},
    {"b.flv", "reordered.mp4", "-c copy"},
    {"b.avi", "reordered.mp4", "-c copy"},
    {"b.nut", "reordered.mp4", "-c copy"},
    {"b.h264", "reordered.mp4", "-c copy -bsf:v h264_mp4toannexb"},
    {"fragments.mp4", "reordered.mp4", "-c copy -movflags frag_keyframe+empty_moov"},
    {"fragments-behind-a-head.mp4", "reordered.mp4", "-c copy -movflags frag_keyframe"},
    {"edited.mp4", nullptr, "-ss 1.3 -i {reordered.mp4} -c copy"},
    {"shortened.mp4", "reordered.mp4", "-c copy -ss 1.3"},
    {"late.mp4", nullptr, "-itsoffset 0.5 -i {reordered.mp4} -f lavfi -i sine -c:v copy -c:a aac -t 4"},
    {"uneven.mkv", "uneven.mp4", "-c copy"},
    {"uneven.avi", "uneven.mp4", "-c copy"},
    {"uneven.flv", "uneven.mp4", "-c copy"},
    {"uneven.ts", "uneven.mp4", "-c copy"},
    {"open-cut.mp4", nullptr, "-ss 2.5 -i {open.mp4} -c copy"},
    {"open-cut-hevc.mp4", nullptr, "-ss 2.5 -i {open-hevc.mp4} -c copy"},
    {"open-cut-hevc.ts", nullptr, "-ss 2.5 -i {open-hevc.mp4} -c copy"},
    {"hidden.webm", nullptr, "{} -c:v libvpx -auto-alt-ref 1 -lag-in-frames 16 -b:v 200k -g 60"},
    {"hidden-vp9.webm", nullptr, "{} -c:v libvpx-vp9 -auto-alt-ref 1 -lag-in-frames 16 -b:v 200k -cpu-used 8"},
    {"xvid-b.avi", nullptr, "{} -c:v mpeg4 -bf 2 -g 30"},
    {"xvid-b.m4v", nullptr, "{} -c:v mpeg4 -bf 2 -g 30 -f m4v"},
    {"mpeg2.m2v", nullptr, "{} -c:v mpeg2video -bf 2 -g 15 -f mpeg2video"},
    {"mpeg2.mpg", nullptr, "{} -c:v mpeg2video -bf 2 -g 15"},
    {"mpeg2.mkv", nullptr, "{} -c:v mpeg2video -bf 2 -g 15"},
    {"intra.mov", nullptr, "{} -c:v prores_ks"},
    {"intra.avi", nullptr, "{} -c:v mjpeg"},
    {"intra-edited.mov", nullptr, "-ss 1.3 -i {intra.mov} -c copy"},
    {"plain.mp4", nullptr, "{} -c:v libx264 -preset ultrafast -bf 0 -g 30"},
    {"plain-edited.mp4", nullptr, "-ss 1.3 -i {plain.mp4} -c copy"},
    {"moving.gif", nullptr, "{}"},
    {"moving.apng", nullptr, "{} -f apng"},
};

QString MadeOf(Packing const& packing)
{
    std::map<QString, QString> const sources = {
        {"reordered.mp4", reordered},
        {"open.mp4", openGroups},
        {"open-hevc.mp4", openHevc},
        {"uneven.mp4", uneven},
        {"intra.mov", moving + "-c:v prores_ks"},
        {"plain.mp4", moving + "-c:v libx264 -preset ultrafast -bf 0 -g 30"},
    };
    QString arguments = packing.arguments;
    if (packing.source)
        arguments.prepend("-i " + Made(packing.source, sources.at(packing.source)) + ' ');
    arguments.replace("{}", moving);
    for (auto const& [name, recipe] : sources) {
        if (arguments.contains('{' + name + '}'))
            arguments.replace('{' + name + '}', Made(name, recipe));
    }
    return Made(packing.name, arguments);
}

TEST_P(PictureIndexReaderPackingTest, HasThePicturesThatDecodingGives)
{
    LogCapture const log;
    Source const source = Open(MadeOf(GetParam()));
    Index const index = ReadPictureIndex(source);
    ASSERT_TRUE(index);
    EXPECT_EQ(SpansOf(*index), DecodedSpans(source));
}

INSTANTIATE_TEST_SUITE_P(Packings, PictureIndexReaderPackingTest, testing::ValuesIn(packings),
                         PictureIndexReaderPackingTest::TestName);

// ---- Counts, as `ffprobe -count_frames` has them

TEST(PictureIndexReaderTest, CountsPicturesWhoseRateTellsNothing)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    EXPECT_EQ(CountOf(Clips::Real("flv-h264-avg-rate-1000.flv")), 30);
    EXPECT_EQ(CountOf(Clips::Real("asf-msmpeg4-avg-rate-0.wmv")), 153);
    EXPECT_EQ(CountOf(Clips::Real("phone-vfr10fps-rot180-h264.mp4")), 25);
    EXPECT_EQ(CountOf(Clips::Real("phone-h263-amr-vfr.3gp")), 222);
    EXPECT_EQ(CountOf(Clips::Real("webm-vp9-opus-no-duration.webm")), 74);
}

TEST(PictureIndexReaderTest, CountsTwoFieldsInPacketsOfTheirOwnAsOnePicture)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    EXPECT_EQ(CountOf(Clips::Real("camera-avchd-1080i-ac3-pgs.mts")), 13); // of 26 packets
}

TEST(PictureIndexReaderTest, NumbersPicturesOfUnevenLength)
{
    Index const index = IndexOf(Clips::Made("vfr.mp4")); // of 300 pictures those with n % 7 = 0, n % 11 = 0, 100 to 110
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetCount(), 76); // 43 + 28 - 4, and 9 more of 100 to 110
    EXPECT_EQ(index->TimeOf(0), 0);
    EXPECT_EQ(index->TimeOf(1), 7 * 40000);
    EXPECT_EQ(index->TimeOf(2), 11 * 40000);
    EXPECT_EQ(index->NumberAt(10 * 40000), 1);
    EXPECT_EQ(index->NumberAt(11 * 40000), 2);
}

TEST(PictureIndexReaderTest, KnowsTheKeyPictures)
{
    Index const index = IndexOf(Clips::Made("xvid.avi")); // groups of 12
    ASSERT_TRUE(index);
    for (long long number = 0; number < index->GetCount(); ++number)
        EXPECT_EQ(index->IsKey(number), number % 12 == 0) << number;
}

// ---- Sequences, single pictures, sound

TEST(PictureIndexReaderTest, NumbersTheFilesOfASequenceHolesIncluded)
{
    QTemporaryDir const folder;
    Clips::WriteNumberedPictures(folder.path(), "a.%03d.ppm", {10, 11, 14});
    Index const index = IndexOf(folder.filePath("a.%03d.ppm"));
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetCount(), 5);
    EXPECT_EQ(index->TimeOf(4), 166666); // at 24 a second
}

TEST(PictureIndexReaderTest, AStillImageAndACoverHaveOnePicture)
{
    QTemporaryDir const folder;
    Clips::WriteNumberedPictures(folder.path(), "a%d.ppm", {1});
    EXPECT_EQ(CountOf(folder.filePath("a1.ppm")), 1);
    EXPECT_EQ(CountOf(Clips::Made("cover.mp3")), 1);
}

TEST(PictureIndexReaderTest, SoundHasNoIndex)
{
    EXPECT_FALSE(IndexOf(Clips::Made("tone.wav")));
}

// ---- What cannot be told

TEST(PictureIndexReaderTest, StopsWhenAsked)
{
    LogCapture const log;
    Source const source = Open(Clips::Made("gop250.mp4"));
    EXPECT_FALSE(ReadPictureIndex(source, [] { return true; }));
    int asked = 0;
    EXPECT_FALSE(ReadPictureIndex(source, [&asked] { return ++asked > 50; }));
    EXPECT_LE(asked, 51 + 3); // the loops ask once more on the way out
}

// Decoding drops what comes at times that were there before.
TEST(PictureIndexReaderTest, TimesThatBeginAnewHaveNoIndex)
{
    QByteArray const once = ReadMedia(Clips::Made("stream.ts"));
    EXPECT_FALSE(IndexOf(WriteMedia("twice.ts", once + once)));
}

// The first pictures, which refer to others that are cut off, have no times there, and most decoders leave them out.
TEST(PictureIndexReaderTest, PacketsWithoutTimesAmongOthersHaveNoIndex)
{
    QString const whole = Made("open-hevc.mp4", openHevc);
    EXPECT_FALSE(IndexOf(Made("open-cut-hevc.mkv", "-ss 2.5 -i " + whole + " -c copy")));
}

// FFmpeg 4.3 marks none of them: there decoding has to find out.
bool HasMarkedPackets(QString const& path)
{
    ReferenceInput input(path, AVMEDIA_TYPE_VIDEO);
    for (auto packet = input.NextPacket(); packet && packet->size > 0; packet = input.NextPacket()) {
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
            return true;
    }
    return false;
}

TEST(PictureIndexReaderTest, PacketsMarkedAsDamagedHaveNoIndex)
{
    QByteArray bytes = ReadMedia(Clips::Made("stream.ts"));
    constexpr int packet = 188;
    bytes.remove(bytes.size() / packet / 2 * packet, 40 * packet); // FFmpeg sees the gap in the packets' counters
    QString const path = WriteMedia("gap.ts", bytes);
    if (!HasMarkedPackets(path))
        GTEST_SKIP() << "this FFmpeg does not mark them";
    EXPECT_FALSE(IndexOf(path));
}

TEST(PictureIndexReaderTest, AFileThatIsGoneHasNoIndex)
{
    QTemporaryDir const folder;
    QString const path = folder.filePath("gone.mp4");
    ASSERT_TRUE(QFile::copy(Clips::Made("gop12.mp4"), path));
    LogCapture const log;
    Source const source = Open(path);
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_FALSE(ReadPictureIndex(source));
}

} // namespace
