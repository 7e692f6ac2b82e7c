#include "player/controls/ControlBar.h"
#include "player/picture/Comparison.h"
#include "player/picture/PictureTools.h"
#include "player/picture/PixelReadout.h"
#include "player/picture/TimelinePreview.h"
#include "tests/player/WindowTest.h"
#include "tests/support/Media.h"
#include "tests/support/OpenedInputs.h"

#include <QClipboard>
#include <QWheelEvent>

#include <cmath>
#include <random>
#include <set>

namespace {

using Painting = PictureView::Painting;

// What the window offers to look closer, painted both ways.
class LookingCloserTest : public WindowTest, public ::testing::WithParamInterface<Painting>
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        options.painting = GetParam();
    }

    PictureTools& Tools() { return window->GetPictureTools(); }

    QString Note() { return Child<ControlBar>()->GetNote(); }

    bool ShowsGrey(QPoint place, int value)
    {
        return Eventually([&] { return std::abs(qGray(Grab().pixel(place)) - value) <= 1; });
    }

    void Hover(int x)
    {
        QMouseEvent move(QEvent::MouseMove, QPointF(x, 30), Child<Timeline>()->mapToGlobal(QPoint(x, 30)), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(Child<Timeline>(), &move);
    }

    void PointAt(QPoint place)
    {
        QMouseEvent move(QEvent::MouseMove, QPointF(place), window->GetView().mapToGlobal(place), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&window->GetView(), &move);
    }

    void StartComparing(int secondCount)
    {
        options.compare = DemoMovie::Make(secondCount);
        ASSERT_FALSE(options.compare.isEmpty());
        StartDemo();
        ASSERT_TRUE(Eventually([&] { return SecondNumber() == 0; }));
    }

    int SecondNumber()
    {
        auto const second = window->GetView().GetSecond();
        return second ? static_cast<int>(second->startTime / step) : -1;
    }
};

QImage Grabbed(QWidget& view)
{
    return view.screen()->grabWindow(view.winId()).toImage();
}

// Of any channel of any pixel.
int LargestDifference(QImage const& one, QImage const& other)
{
    if (one.size() != other.size())
        return 255;
    int largest = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            QColor const left = one.pixelColor(x, y);
            QColor const right = other.pixelColor(x, y);
            largest = std::max({largest, std::abs(left.red() - right.red()), std::abs(left.green() - right.green()),
                                std::abs(left.blue() - right.blue())});
        }
    }
    return largest;
}

constexpr QPoint greyPlace(300, 160); // between the squares and the lower half: grey of 110
constexpr int grey = 110;

} // namespace

TEST_P(LookingCloserTest, ChangesTheDisplayAloneByExposureKeys)
{
    StartDemo();
    SeekTo(10);
    int const before = qGray(Grab().pixel(greyPlace));
    ASSERT_NEAR(before, grey, 1); // limited range has 219 steps for 255
    Press(Qt::Key_E);
    Press(Qt::Key_E);
    EXPECT_TRUE(ShowsGrey(greyPlace, static_cast<int>(std::lround(before * std::exp2(1.0 / 2.2)))));
    EXPECT_EQ(Note(), "Exposure +1.0");
    Press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(qGray(QApplication::clipboard()->image().pixel(150, 80)), before);
    for (int i = 0; i < 4; ++i)
        Press(Qt::Key_E, Qt::ShiftModifier);
    EXPECT_TRUE(ShowsGrey(greyPlace, static_cast<int>(std::lround(before * std::exp2(-1.0 / 2.2)))));
    Press(Qt::Key_0, Qt::ControlModifier);
    EXPECT_TRUE(ShowsGrey(greyPlace, before));
    EXPECT_TRUE(Eventually([&] { return Note() != "Exposure −1.0"; }));
}

TEST_P(LookingCloserTest, ShowsChannelsByNumberKeys)
{
    QString const movie =
        MakeMedia("orange.avi", {"-f", "lavfi", "-i", "color=0xC86432:size=320x240:rate=25:duration=1,format=rgb24",
                                 "-c:v", "rawvideo", "-pix_fmt", "bgr24"});
    Start({movie});
    ASSERT_TRUE(Eventually([&] { return Grab().pixelColor(320, 240) == QColor(0xC8, 0x64, 0x32); }));
    struct Case
    {
        Qt::Key key;
        int value;
        char const* note;
    };
    // 0.2126 * 200 + 0.7152 * 100 + 0.0722 * 50 = 117.65
    for (Case const& look : {Case{Qt::Key_1, 200, "Red alone"}, Case{Qt::Key_2, 100, "Green alone"},
                             Case{Qt::Key_3, 50, "Blue alone"}, Case{Qt::Key_4, 118, "Luma"}}) {
        Press(look.key);
        EXPECT_TRUE(Eventually([&] {
            return Grab().pixelColor(320, 240) == QColor(look.value, look.value, look.value);
        })) << look.note;
        EXPECT_EQ(Note(), look.note);
    }
    Press(Qt::Key_5);
    EXPECT_TRUE(Eventually([&] { return Grab().pixelColor(320, 240) == QColor(0xC8, 0x64, 0x32); }));
    EXPECT_EQ(Note(), "");
}

// Rows of 0 and 240 in turn: the upper field is black, the lower one light.
TEST_P(LookingCloserTest, ShowsTheFirstFieldOrBothBlended)
{
    QString const movie =
        MakeMedia("fields.mkv", {"-f", "lavfi", "-i", "color=black:size=320x240:rate=25:duration=1", "-vf",
                                 "format=gray,geq=lum='if(mod(Y,2),240,0)',format=gbrp,setfield=bff", "-c:v", "ffv1",
                                 "-field_order", "bb"});
    Start({movie});
    ASSERT_TRUE(Eventually([&] { return window->GetView().GetShown() != nullptr; }));
    Press(Qt::Key_Z); // pixel for pixel, from (160, 120) on
    auto const rows = [&] {
        QImage const image = Grab();
        return std::vector<int>{qGray(image.pixel(320, 220)), qGray(image.pixel(320, 221)),
                                qGray(image.pixel(320, 222))};
    };
    ASSERT_TRUE(Eventually([&] { return rows() == std::vector<int>{0, 240, 0}; })) << rows()[0] << ' ' << rows()[1];
    EXPECT_TRUE(Status().lowerFieldFirst);
    Press(Qt::Key_D);
    EXPECT_TRUE(Eventually([&] { return rows() == std::vector<int>{240, 240, 240}; }));
    EXPECT_EQ(Note(), "First field");
    Press(Qt::Key_D);
    EXPECT_TRUE(Eventually([&] { return rows() == std::vector<int>{120, 120, 120}; }));
    EXPECT_EQ(Note(), "Fields blended");
    Press(Qt::Key_D);
    EXPECT_TRUE(Eventually([&] { return rows() == std::vector<int>{0, 240, 0}; }));
}

TEST_P(LookingCloserTest, TellsThePixelUnderThePointer)
{
    StartDemo();
    SeekTo(1); // its last square is white
    Press(Qt::Key_P);
    PointAt(QPoint(633, 5));
    QImage const picture = PictureView::Render(*window->GetView().GetShown());
    QColor const pixel = picture.pixelColor(316, 2);
    ASSERT_GT(pixel.red(), 127); // and not black
    QString const values = QString("R %1  G %2  B %3").arg(pixel.red()).arg(pixel.green()).arg(pixel.blue());
    EXPECT_EQ(Child<PixelReadout>()->GetText(), "x 316  y 2   " + values);
    EXPECT_TRUE(Child<PixelReadout>()->isVisible());
    Press(Qt::Key_E); // changes the display only
    Press(Qt::Key_E);
    EXPECT_EQ(Child<PixelReadout>()->GetText(), "x 316  y 2   " + values);
    window->GetEngine().Seek(0); // where that square is black
    EXPECT_TRUE(Eventually([&] { return Child<PixelReadout>()->GetText().contains("R 0 "); }));
    window.reset();
    EXPECT_TRUE(PlayerSettings::Load().pixelReadout);
    settings = PlayerSettings::Load();
    StartDemo();
    Press(Qt::Key_P);
    PointAt(QPoint(633, 5));
    EXPECT_FALSE(Child<PixelReadout>()->isVisible());
    window.reset();
    EXPECT_FALSE(PlayerSettings::Load().pixelReadout);
}

TEST_P(LookingCloserTest, CountsThePixelsOfTheUprightPicture)
{
    QString const movie = DemoMovie::Make(50, 90);
    Start({movie}, {480, 640});
    ASSERT_TRUE(Eventually([&] { return window->GetView().GetShown() != nullptr; }));
    Press(Qt::Key_P);
    PointAt(QPoint(479, 0)); // where the record's first pixel is
    EXPECT_TRUE(Child<PixelReadout>()->GetText().startsWith("x 239  y 0 "))
        << qPrintable(Child<PixelReadout>()->GetText());
    PointAt(QPoint(0, 639));
    EXPECT_TRUE(Child<PixelReadout>()->GetText().startsWith("x 0  y 319 "));
}

TEST_P(LookingCloserTest, ShowsASmallPictureOfTheTimeUnderThePointer)
{
    StartDemo();
    ASSERT_TRUE(Eventually([&] { return OpenedInputs::Count() > 0; }));
    auto* preview = Child<TimelinePreview>();
    EXPECT_FALSE(preview->isVisible());
    auto const number = [&] {
        QImage const picture = preview->GetPicture();
        return picture.isNull() ? -1 : ReadSquares(picture, QPoint(picture.width() / 20, 7), picture.width() / 10, 0);
    };
    std::set<int> seen;
    for (int const x : {400, 150, 600}) {
        Hover(x);
        auto const wanted = static_cast<int>(Child<Timeline>()->TimeAt(x) / step);
        EXPECT_TRUE(Eventually([&] {
            seen.insert(number());
            return number() == wanted;
        })) << number()
            << ", expected " << wanted;
        EXPECT_TRUE(preview->isVisible());
        EXPECT_EQ(preview->GetTime(), Child<Timeline>()->TimeAt(x));
        EXPECT_LE(preview->geometry().bottom(), Child<Timeline>()->mapTo(window.get(), QPoint(0, 0)).y());
    }
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(Child<Timeline>(), &leave);
    EXPECT_FALSE(preview->isVisible());
}

TEST_P(LookingCloserTest, OpensTheFileForSmallPicturesWhenFirstHovered)
{
    int const atFirst = OpenedInputs::Count();
    StartDemo();
    ASSERT_TRUE(Eventually([&] { return OpenedInputs::Count() - atFirst == 5; })); // by all others
    EXPECT_FALSE(Child<Thumbnails>()->isRunning());
    int const before = OpenedInputs::Count();
    Hover(300);
    EXPECT_TRUE(Eventually([&] { return !Child<TimelinePreview>()->GetPicture().isNull(); }));
    int const opened = OpenedInputs::Count() - before;
    EXPECT_GT(opened, 0);
    Hover(500);
    QTest::qWait(300);
    EXPECT_EQ(OpenedInputs::Count() - before, opened);
}

// 615 pixels for 15000 pictures: less than a picture a pixel takes zooming.
TEST_P(LookingCloserTest, ZoomsTheTimelineOfTenMinutesDownToSinglePictures)
{
    QString const movie = MakeMedia(
        "long.mp4", {"-f", "lavfi", "-i", "color=size=64x48:rate=25:duration=600", "-c:v", "mpeg4", "-g", "250"});
    Start({movie});
    auto* timeline = Child<Timeline>();
    ASSERT_TRUE(Eventually([&] { return timeline->TimeAt(viewWidth) > 590000000; }));
    constexpr int length = viewWidth - 2 * 12 - 1; // pixels
    EXPECT_NEAR(timeline->TimeAt(301) - timeline->TimeAt(300), 600 * 1000000LL / length, 1);
    window->GetEngine().Seek(300 * 1000000LL);
    ASSERT_TRUE(Eventually([&] { return RecordNumber() == 7500; }));
    for (int i = 0; i < 20; ++i)
        Press(Qt::Key_Up);
    EXPECT_NEAR(timeline->TimeAt(301) - timeline->TimeAt(300), 77 * step / length, 1); // 8 pixels for each of 77
    for (int number = 7501; number <= 7510; ++number) {
        int const before = timeline->XAt(RecordNumber() * step);
        Press(Qt::Key_Period);
        ASSERT_TRUE(Eventually([&] { return RecordNumber() == number; }));
        EXPECT_GT(timeline->XAt(number * step), before); // each picture has a place of its own
    }
    EXPECT_TRUE(Eventually([&] { return timeline->GetPart().start <= 7510 * step; }));
    Press(Qt::Key_End);
    EXPECT_TRUE(Eventually([&] { return timeline->GetPart().end == 600 * 1000000LL; }));
    Press(Qt::Key_Down);
    Press(Qt::Key_Z, Qt::ShiftModifier);
    EXPECT_EQ(timeline->GetPart().start, 0);
    EXPECT_EQ(timeline->GetPart().end, 600 * 1000000LL);
}

TEST_P(LookingCloserTest, ShowsTwoFilesAtTheSameTimeAtEveryStep)
{
    StartComparing(200);
    std::mt19937 random(5);
    int number = 0;
    for (int i = 0; i < 100; ++i) {
        bool const isBack = number > 0 && random() % 3 == 0;
        number += isBack ? -1 : 1;
        Press(isBack ? Qt::Key_Comma : Qt::Key_Period);
        ASSERT_TRUE(Eventually([&] {
            EXPECT_EQ(RecordNumber(), SecondNumber()); // at every moment on the way
            return RecordNumber() == number;
        })) << number;
        ASSERT_EQ(window->GetView().GetShown()->startTime, window->GetView().GetSecond()->startTime);
    }
    EXPECT_EQ(Tools().GetComparison()->GetStatus().channels, 0); // only the first one sounds
    EXPECT_GT(Status().channels, 0);
}

// Far apart, so that both have to be decoded first.
TEST_P(LookingCloserTest, ChangesBothFilesTogetherAfterSeeks)
{
    options.cacheMegabytes = 2;
    StartComparing(240);
    for (int const number : {149, 20, 230, 77, 199, 48}) {
        window->GetEngine().Seek(number * step);
        ASSERT_TRUE(Eventually([&] {
            EXPECT_EQ(RecordNumber(), SecondNumber()); // at every moment on the way
            return RecordNumber() == number;
        })) << number;
    }
}

TEST_P(LookingCloserTest, PlaysTwoFilesInStepBothWays)
{
    StartComparing(240);
    Press(Qt::Key_Space);
    int pairs = 0;
    int same = 0;
    auto const count = [&] {
        ++pairs;
        same += RecordNumber() == SecondNumber() ? 1 : 0;
    };
    EXPECT_TRUE(Eventually([&] {
        count();
        return RecordNumber() > 100;
    }));
    Press(Qt::Key_K);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == SecondNumber(); }));
    Press(Qt::Key_J);
    EXPECT_TRUE(Eventually([&] {
        count();
        return RecordNumber() < 20;
    }));
    Press(Qt::Key_K);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == SecondNumber(); }));
    EXPECT_GT(same * 2, pairs); // most of the time: the second one may be late where the machine is
}

TEST_P(LookingCloserTest, FollowsSeeksAndShowsTheLastPictureOfAShorterFile)
{
    StartComparing(50);
    window->GetEngine().Seek(30 * step);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == 30 && SecondNumber() == 30; }));
    window->GetEngine().Seek(200 * step);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == 200 && SecondNumber() == 49; }));
    window->GetEngine().Seek(0);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == 0 && SecondNumber() == 0; }));
}

// Two plain colours, of different sizes: the second one is stretched over the place of the first.
TEST_P(LookingCloserTest, WipesAndTogglesTwoFiles)
{
    auto const makePlain = [&](QString const& colour, QString const& size) {
        return MakeMedia(colour + ".avi",
                         {"-f", "lavfi", "-i", QString("color=%1:size=%2:rate=25:duration=1").arg(colour, size), "-c:v",
                          "rawvideo", "-pix_fmt", "bgr24"});
    };
    options.compare = makePlain("blue", "160x120");
    Start({makePlain("red", "320x240")});
    QColor const first(254, 0, 0);
    QColor const second(0, 0, 254);
    auto const isNear = [](QColor const& one, QColor const& other) {
        return std::abs(one.red() - other.red()) < 4 && std::abs(one.blue() - other.blue()) < 4;
    };
    auto const shows = [&](int x, QColor const& colour) {
        return Eventually([&] { return isNear(Grab().pixelColor(x, 100), colour); });
    };
    EXPECT_TRUE(shows(310, first));
    EXPECT_TRUE(shows(330, second));
    EXPECT_TRUE(shows(639, second));
    EXPECT_EQ(Note(), "A | B: blue.avi");
    QTest::mousePress(&window->GetView(), Qt::LeftButton, Qt::NoModifier, QPoint(320, 100));
    Drag(window->GetView(), QPointF(100, 100));
    EXPECT_TRUE(shows(90, first));
    EXPECT_TRUE(shows(110, second));
    EXPECT_EQ(window->GetView().GetDivider(), 100.0 / 640.0);
    Press(Qt::Key_Slash);
    EXPECT_TRUE(shows(10, second));
    EXPECT_EQ(Note(), "B: blue.avi");
    Press(Qt::Key_Slash);
    EXPECT_TRUE(shows(630, first));
    EXPECT_EQ(Note(), "A");
    Press(Qt::Key_W);
    EXPECT_TRUE(shows(110, second));
    EXPECT_TRUE(shows(90, first));
    Press(Qt::Key_B, Qt::ControlModifier);
    EXPECT_TRUE(shows(600, first));
    EXPECT_EQ(Tools().GetComparison(), nullptr);
    EXPECT_EQ(Note(), "");
}

TEST_P(LookingCloserTest, SaysWhyASecondFileCannotBeCompared)
{
    options.compare = home.filePath("absent.mp4");
    StartDemo();
    EXPECT_TRUE(Eventually([&] { return Note().contains("absent.mp4"); }));
    EXPECT_EQ(Tools().GetComparison(), nullptr);
    Tools().Compare(MakeMedia("tone.wav", {"-f", "lavfi", "-i", "sine=duration=1"}));
    EXPECT_TRUE(Eventually([&] { return Note().contains("tone.wav\" has no pictures"); }));
    EXPECT_EQ(Tools().GetComparison(), nullptr);
    Press(Qt::Key_W);
    EXPECT_EQ(Note(), "There is no second file to compare with.");
}

INSTANTIATE_TEST_SUITE_P(Painted, LookingCloserTest, ::testing::Values(Painting::OpenGl, Painting::Painter),
                         [](auto const& info) { return info.param == Painting::OpenGl ? "OpenGl" : "Painter"; });

// A picture of random colours, pixel for pixel and with hard edges.
TEST(PictureLookPaintingTest, PaintsTheSameBothWays)
{
    constexpr int width = 64;
    constexpr int height = 48;
    std::mt19937 random(3);
    std::vector<uint8_t> bytes(3 * width * height);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random() % 256);
    auto const picture = std::make_shared<DecodedVideoFrame>(bytes.data(), static_cast<int>(bytes.size()), width,
                                                             height, 0, 25.0, 0, false);
    PictureView openGl(Painting::OpenGl);
    PictureView painter(Painting::Painter);
    ASSERT_TRUE(openGl.PaintsWithOpenGl());
    for (PictureView* view : {&openGl, &painter}) {
        view->resize(4 * width, 4 * height);
        view->move(view == &openGl ? 0 : 400, 0);
        view->Show(picture);
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view));
    }
    for (int const channels : {0, 1, 2, 3, 4}) {
        for (int const halfStops : {-3, 0, 4}) {
            PictureLook look;
            look.channels = static_cast<PictureLook::Channels>(channels);
            look.halfStops = halfStops;
            openGl.SetLook(look);
            painter.SetLook(look);
            double const gain = std::exp2(halfStops / 2.0 / 2.2);
            double const luma = 0.2126 * bytes[0] + 0.7152 * bytes[1] + 0.0722 * bytes[2];
            double const first[] = {1.0 * bytes[0], 1.0 * bytes[0], 1.0 * bytes[1], 1.0 * bytes[2], luma};
            double const expected = std::min(255.0, first[channels] * gain); // red of the first pixel
            EXPECT_TRUE(Eventually([&] {
                QImage const one = Grabbed(openGl);
                QImage const other = Grabbed(painter);
                return std::abs(qRed(one.pixel(1, 1)) - expected) <= 1.0 &&
                       std::abs(qRed(other.pixel(1, 1)) - expected) <= 1.0 && LargestDifference(one, other) <= 1;
            })) << channels
                << ' ' << halfStops;
        }
    }
}
