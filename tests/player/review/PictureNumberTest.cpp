#include "tests/player/WindowTest.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"

#include <QDir>

namespace {

// Which picture the window says is on show.
class PictureNumberTest : public WindowTest
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        options.painting = PictureView::Painting::Painter;
    }

    void Open(QString const& path)
    {
        Start({path});
        ASSERT_TRUE(Eventually([&] { return window->GetView().GetShown() != nullptr; }));
    }

    void OpenNumbered(QString const& path)
    {
        Open(path);
        ASSERT_TRUE(Eventually([&] { return Status().index != nullptr; }));
    }

    ::testing::AssertionResult Says(QString const& text)
    {
        if (Eventually([&] { return Labels().contains(text); }))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << qPrintable(Labels().join('|'));
    }

    QStringList SavedNames()
    {
        Press(Qt::Key_S);
        EXPECT_TRUE(Eventually([&] { return Child<ControlBar>()->GetNote().startsWith("Saved "); }));
        return QDir(settings.pictureFolder).entryList(QDir::Files);
    }
};

// Pictures 0, 7, 11, 14... of 25 a second.
TEST_F(PictureNumberTest, CountsPicturesOfUnevenLengthOneByOne)
{
    OpenNumbered(Clips::Made("vfr.mp4"));
    EXPECT_TRUE(Says("#0 / 76"));
    for (int number = 1; number <= 12; ++number) {
        Press(Qt::Key_Period);
        ASSERT_TRUE(Says(QString("#%1 / 76").arg(number)));
    }
    for (int number = 11; number >= 5; --number) {
        Press(Qt::Key_Comma);
        ASSERT_TRUE(Says(QString("#%1 / 76").arg(number)));
    }
}

TEST_F(PictureNumberTest, CountsPicturesWhoseRateTellsNothing)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    OpenNumbered(Clips::Real("flv-h264-avg-rate-1000.flv"));
    Press(Qt::Key_End);
    EXPECT_TRUE(Says("#29 / 30"));
    EXPECT_EQ(SavedNames(), QStringList("flv-h264-avg-rate-1000-000029.png"));
}

// Picture 7 starts at 233566 microseconds.
TEST_F(PictureNumberTest, NamesPicturesByTimesThatReadBackAsTheSame)
{
    OpenNumbered(MakeMedia("ntsc-30.mp4", QString("-f lavfi -i testsrc2=size=96x64:rate=30000/1001:duration=1 -c:v "
                                                  "libx264 -bf 2 -video_track_timescale 30000 -threads 1")
                                              .split(' ')));
    EXPECT_TRUE(Says("#0 / 30"));
    for (int i = 0; i < 7; ++i)
        Press(Qt::Key_Period);
    EXPECT_TRUE(Says("#7 / 30"));
    EXPECT_TRUE(Says("0:00:00.234 / 0:00:01.000"));
}

// The times begin anew in the middle, which decoding passes over; packets cannot tell how many pictures that leaves.
TEST_F(PictureNumberTest, ShowsNoNumberThatIsNotKnown)
{
    QByteArray const once = ReadMedia(Clips::Made("stream.ts"));
    Open(WriteMedia("twice.ts", once + once));
    Press(Qt::Key_Period);
    EXPECT_TRUE(Eventually([&] { return window->GetView().GetShown()->startTime == 40000; }));
    EXPECT_FALSE(Labels().join('|').contains('#'));
    EXPECT_EQ(SavedNames(), QStringList("twice-00-00-00.040.png"));
}

} // namespace
