#include "player/controls/Timeline.h"
#include "player/controls/Theme.h"
#include "source/PictureIndex.h"

#include <QApplication>
#include <QSignalSpy>
#include <QWheelEvent>

#include <gtest/gtest.h>

namespace {

constexpr long long minute = 60000000;
constexpr long long step = 40000;

// Ten minutes of 25 pictures a second over 600 pixels: 25 pictures a pixel.
class TimelineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        timeline.resize(624, 62); // 12 pixels beside the groove
        timeline.SetMedia({0, 10 * minute});
        timeline.SetPictureStep(step);
    }

    void Wheel(int x, int eighths, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QPointF const place(x, 30);
        QWheelEvent wheel(place, place, QPoint(), QPoint(0, eighths), Qt::NoButton, modifiers, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(&timeline, &wheel);
    }

    long long Length() const { return timeline.GetPart().end - timeline.GetPart().start; }

    bool IsShown(long long time) const { return time >= timeline.GetPart().start && time < timeline.GetPart().end; }

    Timeline timeline;
};

} // namespace

TEST_F(TimelineTest, ShowsAllAtFirst)
{
    EXPECT_EQ(timeline.TimeAt(12), 0);
    EXPECT_EQ(timeline.XAt(10 * minute), 611);
    EXPECT_EQ(timeline.XAt(5 * minute), 312); // 311.5
}

TEST_F(TimelineTest, ZoomsUntilAPixelIsLessThanAPicture)
{
    timeline.SetPosition(4 * minute);
    for (int i = 0; i < 40; ++i)
        timeline.Zoom(2.0);
    EXPECT_EQ(Length(), 75 * step); // 8 pixels a picture
    EXPECT_NEAR(timeline.TimeAt(301) - timeline.TimeAt(300), 75 * step / (611 - 12), 1);
    EXPECT_TRUE(IsShown(4 * minute));
}

TEST_F(TimelineTest, ZoomsAroundThePosition)
{
    timeline.SetPosition(5 * minute);
    int const before = timeline.XAt(5 * minute);
    timeline.Zoom(4.0);
    EXPECT_EQ(Length(), 10 * minute / 4);
    EXPECT_NEAR(timeline.XAt(5 * minute), before, 1); // pixels are whole
}

TEST_F(TimelineTest, ZoomsAroundThePointerWithTheWheel)
{
    long long const before = timeline.TimeAt(450);
    Wheel(450, 240);
    EXPECT_NEAR(static_cast<double>(Length()), 10.0 * minute / 1.25 / 1.25, 2.0); // each step rounds to microseconds
    EXPECT_EQ(timeline.XAt(before), 450);
    Wheel(450, -2400);
    EXPECT_EQ(Length(), 10 * minute);
}

TEST_F(TimelineTest, ScrollsWithShiftAndWheel)
{
    timeline.Zoom(10.0); // around the start: the first minute
    EXPECT_EQ(timeline.GetPart().start, 0);
    Wheel(300, -120, Qt::ShiftModifier);
    EXPECT_EQ(timeline.GetPart().start, minute / 10);
    Wheel(300, 1200, Qt::ShiftModifier);
    EXPECT_EQ(timeline.GetPart().start, 0); // no further than the media
    EXPECT_EQ(Length(), minute);
}

TEST_F(TimelineTest, KeepsTheMovingPositionInView)
{
    timeline.Zoom(10.0);
    for (long long position = 0; position < 10 * minute; position += 17 * step) {
        timeline.SetPosition(position);
        ASSERT_TRUE(IsShown(position)) << position;
    }
    for (long long position = 10 * minute - 1; position > 0; position -= 17 * step) {
        timeline.SetPosition(position);
        ASSERT_TRUE(IsShown(position)) << position;
    }
    timeline.SetPosition(7 * minute); // a seek
    EXPECT_TRUE(IsShown(7 * minute));
    EXPECT_EQ(Length(), minute);
}

TEST_F(TimelineTest, ShowsAllAgain)
{
    timeline.Zoom(100.0);
    timeline.ShowAll();
    EXPECT_EQ(timeline.GetPart().start, 0);
    EXPECT_EQ(Length(), 10 * minute);
}

TEST_F(TimelineTest, KeepsItsPartWhenTheMediaTurnsOutLonger)
{
    timeline.Zoom(10.0);
    timeline.SetMedia({0, 11 * minute});
    EXPECT_EQ(Length(), minute);
    timeline.SetMedia({});
    timeline.SetMedia({0, 3 * minute}); // another file
    EXPECT_EQ(Length(), 3 * minute);
}

TEST_F(TimelineTest, ChoosesTimesOfThePartShown)
{
    timeline.SetPosition(5 * minute);
    timeline.Zoom(100.0);
    QSignalSpy chosen(&timeline, &Timeline::Chosen);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(12, 30), QPointF(12, 30), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QMouseEvent release(QEvent::MouseButtonRelease, QPointF(12, 30), QPointF(12, 30), Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QApplication::sendEvent(&timeline, &press);
    QApplication::sendEvent(&timeline, &release);
    ASSERT_EQ(chosen.count(), 1);
    EXPECT_EQ(chosen.first().first().toLongLong(), timeline.GetPart().start);
    EXPECT_EQ(timeline.GetPart().start, 5 * minute - 10 * minute / 100 / 2);
}

// Pictures at uneven times; the third one is a key picture.
TEST_F(TimelineTest, MarksWhereEachPictureBeginsOnceTheyCanBeToldApart)
{
    timeline.SetIndex(std::make_shared<PictureIndex>(
        std::vector<PictureIndex::Entry>{{0, true}, {100000, false}, {1000000, true}, {1500000, false}},
        10 * minute - 1));
    auto const marked = [&](int height) { // the columns with a mark of that height
        QImage const image = timeline.grab().toImage();
        std::vector<int> columns;
        for (int x = 20; x < 612; ++x)
            if (image.pixelColor(x, 18 + height - 1) == Theme::quietText)
                columns.push_back(x);
        return columns;
    };
    timeline.SetPosition(0);
    timeline.Zoom(1e6); // 3 seconds; 599 pixels between the first moment and the last
    EXPECT_EQ(marked(5), (std::vector<int>{32, 212, 312}));
    EXPECT_EQ(marked(10), (std::vector<int>{212}));
    timeline.SetIndex(std::make_shared<PictureIndex>(15000, 25.0));
    timeline.ShowAll();
    EXPECT_TRUE(marked(5).empty());
}
