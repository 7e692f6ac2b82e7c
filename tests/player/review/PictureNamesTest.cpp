#include "player/review/PictureNames.h"

#include "playback/PlaybackStatus.h"
#include "source/PictureIndex.h"

#include <gtest/gtest.h>

namespace {

// Ten seconds at 25 pictures a second.
PlaybackStatus MovieStatus()
{
    PlaybackStatus status;
    status.kind = SourceKind::Movie;
    status.duration = 10000000;
    status.durationKnown = true;
    status.width = 320;
    status.frameRate = 25.0;
    status.frameStep = 40000;
    status.index = std::make_shared<PictureIndex const>(250, 25.0);
    return status;
}

PlaybackStatus NtscStatus(char const* timecode)
{
    PlaybackStatus status = MovieStatus();
    status.frameRate = 29.97;
    status.frameStep = 33366;
    status.duration = 100 * 1001000 / 30;
    status.index = std::make_shared<PictureIndex const>(100, 30000.0 / 1001);
    status.timecode = timecode;
    status.timecodeRate = 30000.0 / 1001;
    return status;
}

std::string Find(PictureNames const& names, char const* text, Reading usual = Reading::Time)
{
    PictureNames::Place const place = names.Find(text, usual);
    EXPECT_NE(place.time.has_value(), !place.fault.isEmpty());
    return place.time ? std::to_string(*place.time) : place.fault.toStdString();
}

} // namespace

TEST(PictureNamesTest, NamesAPictureThreeWays)
{
    PictureNames const names(MovieStatus());
    EXPECT_EQ(names.At(5480000, Reading::Time).toStdString(), "0:00:05.480");
    EXPECT_EQ(names.At(5480000, Reading::Timecode).toStdString(), "00:00:05:12");
    EXPECT_EQ(names.At(5519999, Reading::Number).toStdString(), "#137");
    EXPECT_EQ(names.GetPictureCount(), 250);
}

TEST(PictureNamesTest, CountsTimecodeFromTheStartOfTheSource)
{
    PictureNames const names(NtscStatus("00:00:59;28"));
    EXPECT_EQ(names.At(0, Reading::Timecode).toStdString(), "00:00:59;28");
    EXPECT_EQ(names.At(66733, Reading::Timecode).toStdString(), "00:01:00;02"); // picture 2
    EXPECT_EQ(Find(names, "00:01:00;02"), "66733");
    EXPECT_EQ(Find(names, "00:01:00:02"), "66733");
    EXPECT_EQ(Find(names, "00:01:00;01"), "There is no timecode 00:01:00;01 here.");
    EXPECT_EQ(Find(names, "00:00:59;27"), "The pictures are 00:00:59;28 to 00:01:03;09.");
    EXPECT_EQ(Find(names, "00:01:03;10"), "The pictures are 00:00:59;28 to 00:01:03;09.");
}

TEST(PictureNamesTest, GivesTwoPicturesOneTimecodeWhereThatHasHalfTheRate)
{
    PlaybackStatus status = MovieStatus();
    status.frameRate = 50.0;
    status.index = std::make_shared<PictureIndex const>(500, 50.0);
    status.timecode = "10:00:00:00";
    status.timecodeRate = 25.0;
    PictureNames const names(status);
    EXPECT_EQ(names.At(20000, Reading::Timecode).toStdString(), "10:00:00:00"); // picture 1
    EXPECT_EQ(names.At(40000, Reading::Timecode).toStdString(), "10:00:00:01");
    EXPECT_EQ(Find(names, "10:00:00:01"), "40000");
    EXPECT_EQ(names.LengthText(0, 10000000, Reading::Timecode).toStdString(), "00:00:10:00");
}

TEST(PictureNamesTest, FindsTimecodeBeyondMidnight)
{
    PlaybackStatus status = MovieStatus();
    status.timecode = "23:59:59:00";
    status.timecodeRate = 25.0;
    PictureNames const names(status);
    EXPECT_EQ(names.At(1000000, Reading::Timecode).toStdString(), "00:00:00:00");
    EXPECT_EQ(Find(names, "00:00:01:01"), "2040000");
}

TEST(PictureNamesTest, GivesAsManyDigitsAsReadBackAsTheSamePicture)
{
    PictureNames const names(NtscStatus(""));
    for (long long number = 0; number < 100; ++number) {
        long long const time = names.FindNumber(QString::number(number)).time.value();
        auto const read = names.Find(names.At(time, Reading::Time), Reading::Time).time;
        ASSERT_TRUE(read) << number;
        EXPECT_EQ(names.NumberAt(*read), number) << qPrintable(names.At(time, Reading::Time));
    }
    EXPECT_EQ(names.At(233566, Reading::Time).toStdString(), "0:00:00.234"); // picture 7
}

TEST(PictureNamesTest, FindsTimesAndNumbers)
{
    PictureNames const names(MovieStatus());
    EXPECT_EQ(Find(names, "5.48"), "5480000");
    EXPECT_EQ(Find(names, " 0:05.48 "), "5480000");
    EXPECT_EQ(Find(names, "#137"), "5480000");
    EXPECT_EQ(Find(names, "9"), "9000000");
    EXPECT_EQ(Find(names, "9", Reading::Number), "360000");
    EXPECT_EQ(Find(names, "9.0", Reading::Number), "9000000");
    EXPECT_EQ(Find(names, "#249"), "9960000");
}

TEST(PictureNamesTest, SaysWhatIsWrongWithAName)
{
    PictureNames const names(MovieStatus());
    EXPECT_EQ(Find(names, "#250"), "The last picture is #249.");
    EXPECT_EQ(Find(names, "#"), "A number follows \"#\".");
    EXPECT_EQ(Find(names, "#99999999999999999999"), "A number follows \"#\".");
    EXPECT_EQ(Find(names, "10"), "The file ends at 0:00:10.000.");
    EXPECT_EQ(Find(names, "-1"), "The file starts at 0:00:00.000.");
    EXPECT_EQ(Find(names, "soon"), "A time (12.5, 1:02.5), a timecode (01:00:10:02) or #123, please.");
    EXPECT_EQ(Find(names, ""), "A time (12.5, 1:02.5), a timecode (01:00:10:02) or #123, please.");
    EXPECT_EQ(Find(names, "00:00:10:00"), "The pictures are 00:00:00:00 to 00:00:09:24.");
}

TEST(PictureNamesTest, KnowsOnlyTheTimeWithoutTrueNumbers)
{
    PlaybackStatus status = MovieStatus();
    status.index = nullptr;
    PictureNames const names(status);
    EXPECT_FALSE(names.Has(Reading::Number) || names.Has(Reading::Timecode));
    EXPECT_EQ(names.At(5480000, Reading::Number).toStdString(), "");
    EXPECT_EQ(names.At(5480000, Reading::Time).toStdString(), "0:00:05.480");
    EXPECT_EQ(Find(names, "#3"), "The numbers of the pictures are not known.");
    EXPECT_EQ(Find(names, "00:00:00:01"), "The timecode of the pictures is not known.");
    EXPECT_EQ(names.EndOfPicture(40000), 80000);
}

TEST(PictureNamesTest, TellsLengthsOfRanges)
{
    PictureNames const names(MovieStatus());
    EXPECT_EQ(names.LengthText(2400000, 2800000, Reading::Time).toStdString(), "0:00:00.400");
    EXPECT_EQ(names.LengthText(2400000, 2800000, Reading::Timecode).toStdString(), "00:00:00:10");
    EXPECT_EQ(names.LengthText(2400000, 2800000, Reading::Number).toStdString(), "10 pictures");
    EXPECT_EQ(names.LengthText(2400000, 2440000, Reading::Number).toStdString(), "1 picture");
    EXPECT_EQ(names.LastPictureBefore(2800000), 2760000);
    EXPECT_EQ(names.StartOfPicture(2439999), 2400000);
    EXPECT_EQ(names.EndOfPicture(2400000), 2440000);
}

TEST(PictureNamesTest, IgnoresATimecodeThatIsNone)
{
    PlaybackStatus status = MovieStatus();
    status.timecode = "ten past one";
    status.timecodeRate = 25.0;
    EXPECT_EQ(PictureNames(status).At(40000, Reading::Timecode).toStdString(), "00:00:00:01");
    status.frameRate = 240.0; // a rate without timecode
    EXPECT_FALSE(PictureNames(status).Has(Reading::Timecode));
}
