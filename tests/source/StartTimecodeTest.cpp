#include "media/MediaInfo.h"
#include "source/Source.h"
#include "tests/support/Media.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

StartTimecode TimecodeOf(QString const& path)
{
    return Source::Open(path).GetStartTimecode();
}

QString Movie(QString const& name, QString const& rate, QStringList const& output)
{
    return MakeMedia(name, QStringList{"-f", "lavfi", "-i", "testsrc=size=64x64:duration=0.4:rate=" + rate} + output);
}

// A DPX file whose header reaches over the television part, with this in its timecode.
QByteArray DpxBytes(QByteArray const& timecode, bool isBigEndian)
{
    QByteArray bytes(2048 + 4 * 4 * 3, '\0');
    bytes.replace(0, 4, isBigEndian ? "SDPX" : "XPDS");
    bytes.replace(4, 4, isBigEndian ? QByteArray("\0\0\x08\0", 4) : QByteArray("\0\x08\0\0", 4));
    bytes.replace(1920, 4, timecode);
    return bytes;
}

} // namespace

TEST(StartTimecodeTest, ComesFromATimecodeTrack)
{
    auto const drop = TimecodeOf(Movie("drop.mov", "30000/1001", {"-c:v", "mpeg4", "-timecode", "01:00:10;02"}));
    EXPECT_EQ(drop.text.toStdString(), "01:00:10;02");
    EXPECT_DOUBLE_EQ(drop.rate, 30000.0 / 1001);
    auto const plain = TimecodeOf(Movie("plain.mp4", "25", {"-c:v", "mpeg4", "-timecode", "10:11:12:13"}));
    EXPECT_EQ(plain.text.toStdString(), "10:11:12:13");
    EXPECT_EQ(plain.rate, 25.0);
}

// As recorders write it for 50 pictures a second: numbers of 25. The track holds the count, 180000.
TEST(StartTimecodeTest, HasTheRateOfItsTrack)
{
    QString const halved =
        MakeMedia("halved.mov", {"-f", "lavfi", "-i", "testsrc=size=64x64:duration=0.4:rate=50", "-c:v", "mpeg4",
                                 "-timecode", "01:00:00:00", "-video_track_timescale", "50"});
    QByteArray bytes = ReadMedia(halved);
    // In the track's sample description: 'tmcd', 4 + 2 + 2 + 4 + 4 bytes, time scale, duration of a frame, frames.
    int const entry = bytes.lastIndexOf("tmcd");
    ASSERT_GT(entry, 0);
    ASSERT_EQ(bytes.at(entry + 4 + 24), 50); // frames a second
    bytes[entry + 4 + 24] = 25;
    bytes.replace(entry + 4 + 20, 4, QByteArray("\0\0\0\2", 4)); // of a time scale of 50
    auto const timecode = TimecodeOf(WriteMedia("halved-rate.mov", bytes));
    EXPECT_EQ(timecode.text.toStdString(), "02:00:00:00");
    EXPECT_EQ(timecode.rate, 25.0);
}

TEST(StartTimecodeTest, ComesFromTagsOfAContainer)
{
    QStringList const mpeg2 = {"-c:v", "mpeg2video", "-timecode", "01:02:03:04"};
    for (QString const& path :
         {Movie("tag.mxf", "25", mpeg2), Movie("tag.avi", "25", {"-c:v", "mpeg4", "-timecode", "01:02:03:04"}),
          Movie("tag.mkv", "25", {"-c:v", "mpeg4", "-metadata", "timecode=01:02:03:04"}),
          Movie("tag.dv", "25", {"-s", "720x576", "-pix_fmt", "yuv420p", "-timecode", "01:02:03:04"})}) {
        EXPECT_EQ(TimecodeOf(path).text.toStdString(), "01:02:03:04") << qPrintable(path);
        EXPECT_EQ(TimecodeOf(path).rate, 25.0) << qPrintable(path);
    }
}

TEST(StartTimecodeTest, ComesFromTheFirstGroupOfMpegVideo)
{
    QStringList const mpeg2 = {"-c:v", "mpeg2video", "-timecode", "01:02:03:04"};
    for (char const* name : {"group.m2v", "group.mpg", "group.ts"})
        EXPECT_EQ(TimecodeOf(Movie(name, "25", mpeg2)).text.toStdString(), "01:02:03:04") << name;
    QStringList const drop = {"-c:v", "mpeg2video", "-timecode", "01:00:10;02"};
    EXPECT_EQ(TimecodeOf(Movie("drop-group.m2v", "30000/1001", drop)).text.toStdString(), "01:00:10;02");
}

TEST(StartTimecodeTest, IsNotKnownWhenTheFirstGroupOfMpegVideoIsNotClosed)
{
    QByteArray bytes = ReadMedia(Movie("open-group.m2v", "25", {"-c:v", "mpeg2video", "-timecode", "01:02:03:04"}));
    int const group = bytes.indexOf(QByteArray("\x00\x00\x01\xB8", 4));
    bytes[group + 7] = static_cast<char>(bytes[group + 7] & ~0x40);
    EXPECT_EQ(TimecodeOf(WriteMedia("open-group-flag.m2v", bytes)).text.toStdString(), "");
}

TEST(StartTimecodeTest, ComesFromTheHeadOfDpxAndOpenExr)
{
    auto const inFile = [](char const* name, QByteArray const& bytes) {
        auto const timecode = StartTimecode::OfImage(WriteMedia(name, bytes), 24.0);
        EXPECT_EQ(timecode.rate, 24.0);
        return timecode.text.toStdString();
    };
    EXPECT_EQ(inFile("big.dpx", DpxBytes("\x12\x34\x56\x23", true)), "12:34:56:23");
    EXPECT_EQ(inFile("little.dpx", DpxBytes("\x42\x56\x34\x12", false)), "12:34:56;02");
    EXPECT_EQ(inFile("none.dpx", DpxBytes("\xff\xff\xff\xff", true)), "");
    EXPECT_EQ(inFile("short.dpx", DpxBytes("\x12\x34\x56\x23", true).left(1922)), "");
    QByteArray const attribute("timeCode\0timecode\0\x08\0\0\0", 22);
    QByteArray const exr = QByteArray("\x76\x2f\x31\x01\x02\0\0\0", 8) + attribute;
    EXPECT_EQ(inFile("tagged.exr", exr + QByteArray("\x12\x59\x01\x23\0\0\0\0\0", 9)), "23:01:59:12");
    EXPECT_EQ(inFile("cut.exr", exr + QByteArray("\x12\x59", 2)), "");
    EXPECT_EQ(inFile("other.exr", QByteArray(100, 'x') + attribute + QByteArray(9, '\0')), "");
    EXPECT_EQ(StartTimecode::OfImage("/no/such.dpx", 24.0).text.toStdString(), "");
}

TEST(StartTimecodeTest, OfASequenceIsThatOfItsFirstFile)
{
    QTemporaryDir const folder;
    for (int number = 0; number < 3; ++number) {
        QFile file(folder.filePath(QString("coded.%1.dpx").arg(number + 7)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(DpxBytes(QByteArray("\x02\x03\x04").append(static_cast<char>(5 + number)), true));
    }
    auto const timecode = TimecodeOf(folder.filePath("coded.%d.dpx"));
    EXPECT_EQ(timecode.text.toStdString(), "02:03:04:05");
    EXPECT_EQ(timecode.rate, 24.0);
}

TEST(StartTimecodeTest, IsAbsentWithoutOne)
{
    EXPECT_EQ(TimecodeOf(Movie("none.mp4", "25", {"-c:v", "mpeg4"})).text.toStdString(), "");
    EXPECT_EQ(TimecodeOf("/no/such/file.mov").text.toStdString(), "");
}
