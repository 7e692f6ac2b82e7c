#include "common/Timecode.h"

extern "C" {
#include <libavutil/log.h>
#include <libavutil/timecode.h>
}

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

std::string TextAfter(char const* start, double rate, long long frames)
{
    auto const timecode = Timecode::Parse(QString::fromLatin1(start), rate);
    return timecode ? timecode->Plus(frames).ToText().toStdString() : "none";
}

bool IsTimecode(char const* text, double rate)
{
    return Timecode::Parse(QString::fromLatin1(text), rate).has_value();
}

// The numbers of 24 hours as FFmpeg writes them: all of the first twenty minutes, in which the pattern of dropped
// numbers comes twice, and every 97th of the others. Those of the first second of each minute, and some others, are
// read back, too.
void ExpectADayAsFfmpegHasIt(AVRational rate, bool dropFrame)
{
    AVTimecode model;
    ASSERT_EQ(av_timecode_init(&model, rate, dropFrame ? AV_TIMECODE_FLAG_DROPFRAME : 0, 0, nullptr), 0);
    double const perSecond = av_q2d(rate);
    auto const start = Timecode::Parse(QString::fromLatin1(dropFrame ? "00:00:00;00" : "00:00:00:00"), perSecond);
    ASSERT_TRUE(start);
    long long const day = std::llround(perSecond) * 86400 - (dropFrame ? std::llround(perSecond) / 30 * 2 * 1296 : 0);
    long long const twoPatterns = day / 72;
    char expected[AV_TIMECODE_STR_SIZE];
    for (long long frame = 0; frame < day; frame += frame < twoPatterns ? 1 : 97) {
        av_timecode_make_string(&model, expected, static_cast<int>(frame));
        QString const text = start->Plus(frame).ToText();
        ASSERT_EQ(text, QLatin1String(expected)) << frame;
        if (text.mid(6, 2) != "00" && frame % 997 != 0)
            continue;
        auto const read = Timecode::Parse(text, perSecond);
        ASSERT_TRUE(read) << expected;
        ASSERT_EQ(read->GetFrames(), frame) << expected;
    }
    EXPECT_EQ(start->Plus(day).ToText(), start->ToText());
}

} // namespace

TEST(TimecodeTest, LeavesOutNumbersAtTheStartOfMinutes)
{
    EXPECT_EQ(TextAfter("00:00:59;29", 30000.0 / 1001, 1), "00:01:00;02");
    EXPECT_EQ(TextAfter("00:09:59;29", 30000.0 / 1001, 1), "00:10:00;00");
    EXPECT_EQ(TextAfter("00:00:59;59", 60000.0 / 1001, 1), "00:01:00;04");
    EXPECT_EQ(TextAfter("00:59:59;59", 60000.0 / 1001, 1), "01:00:00;00");
    EXPECT_EQ(TextAfter("00:00:59;119", 120000.0 / 1001, 1), "00:01:00;008");
    EXPECT_EQ(TextAfter("01:00:10;02", 30000.0 / 1001, 107892), "02:00:10;02"); // an hour
}

TEST(TimecodeTest, CountsEveryNumberWithoutDropFrame)
{
    EXPECT_EQ(TextAfter("00:00:59:29", 30000.0 / 1001, 1), "00:01:00:00");
    EXPECT_EQ(TextAfter("10:00:00:00", 24000.0 / 1001, 24 * 3600 + 23), "11:00:00:23");
    EXPECT_EQ(TextAfter("00:00:00:00", 25, 137), "00:00:05:12");
    EXPECT_EQ(TextAfter("00:00:00:00", 120, 119), "00:00:00:119");
    EXPECT_EQ(TextAfter("00:00:00:00", 100, 99), "00:00:00:99");
    EXPECT_EQ(TextAfter("00:00:00:00", 1, 61), "00:01:01:00");
}

TEST(TimecodeTest, BeginsAnewAfterADay)
{
    EXPECT_EQ(TextAfter("23:59:59:24", 25, 1), "00:00:00:00");
    EXPECT_EQ(TextAfter("00:00:00:00", 25, -1), "23:59:59:24");
    EXPECT_EQ(TextAfter("23:59:59;29", 29.97, 1), "00:00:00;00");
    EXPECT_EQ(TextAfter("00:00:00:00", 25, std::numeric_limits<long long>::max()), "00:37:12:07");
    EXPECT_EQ(TextAfter("23:59:59:24", 25, std::numeric_limits<long long>::min()), "23:22:47:16");
    auto const evening = Timecode::Parse("23:59:59:00", 25);
    auto const morning = Timecode::Parse("00:00:01:10", 25);
    EXPECT_EQ(morning->FramesSince(*evening), 60);
    EXPECT_EQ(evening->FramesSince(*morning), 2159940);
}

TEST(TimecodeTest, ReadsOnlyNumbersThatExist)
{
    EXPECT_TRUE(IsTimecode("01:00:10;02", 29.97));
    EXPECT_TRUE(IsTimecode("1:0:9:2", 29.97));
    EXPECT_FALSE(IsTimecode("00:01:00;01", 29.97)); // dropped
    EXPECT_TRUE(IsTimecode("00:01:00;02", 29.97));
    EXPECT_TRUE(IsTimecode("00:10:00;00", 29.97));
    EXPECT_FALSE(IsTimecode("00:01:00;03", 59.94)); // dropped
    EXPECT_FALSE(IsTimecode("01:00:10;02", 25));
    for (char const* text : {"24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00:25", "00:00:00", "00:00:00.00", "",
                             "-0:00:00:00", "00:00:00:00 ", "00:00:00:0000", "00;00;00;00", "0x:00:00:00"})
        EXPECT_FALSE(IsTimecode(text, 25)) << text;
    for (double const rate : {0.0, 0.4, 120.6, -25.0, std::nan(""), std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(IsTimecode("00:00:00:00", rate) || Timecode::Zero(rate)) << rate;
}

TEST(TimecodeTest, ReadsColonsForDropFrameWhenItIsTyped)
{
    auto const start = Timecode::Parse("01:00:10;02", 29.97);
    EXPECT_EQ(start->ParseAlike("01:00:11:02")->ToText().toStdString(), "01:00:11;02");
    EXPECT_EQ(start->ParseAlike("01:00:11;02")->FramesSince(*start), 30);
    EXPECT_FALSE(Timecode::Zero(29.97)->ParseAlike("01:00:11;02"));
}

TEST(TimecodeTest, IsSharedByPicturesOfHigherRates)
{
    EXPECT_EQ(Timecode::PicturesPerFrame(50, 25), 2);
    EXPECT_EQ(Timecode::PicturesPerFrame(59.94, 30000.0 / 1001), 2);
    EXPECT_EQ(Timecode::PicturesPerFrame(25, 25), 1);
    EXPECT_EQ(Timecode::PicturesPerFrame(10, 25), 1);
    EXPECT_EQ(Timecode::PicturesPerFrame(25, 0), 1);
    EXPECT_EQ(Timecode::PicturesPerFrame(std::nan(""), 25), 1);
}

TEST(TimecodeTest, CountsADropFrameDayAsFfmpegDoes)
{
    ExpectADayAsFfmpegHasIt({30000, 1001}, /*dropFrame=*/true);
    ExpectADayAsFfmpegHasIt({60000, 1001}, /*dropFrame=*/true);
}

TEST(TimecodeTest, CountsANonDropDayAsFfmpegDoes)
{
    ExpectADayAsFfmpegHasIt({25, 1}, /*dropFrame=*/false);
}

TEST(TimecodeTest, IsMeantByThreeColonsOrASemicolon)
{
    for (char const* text : {"01:00:10:02", "01:00:10;02", "1:2:3:4", "0;1"})
        EXPECT_TRUE(Timecode::IsMeantBy(text)) << text;
    for (char const* text : {"", "12.5", "1:02.5", "00:00:12.500", "1:2:3:4:5", "12500000us"})
        EXPECT_FALSE(Timecode::IsMeantBy(text)) << text;
}
