#include "tests/player/WindowTest.h"

// The example's window itself, in this program instead of its own.
#define main ExampleMain
#include "examples/window.cpp"
#undef main

namespace {

class WindowExampleTest : public ::testing::Test
{
protected:
    WindowExampleTest() : window(DemoMovie::Make(pictures))
    {
        window.resize(viewWidth, viewHeight);
        window.show();
    }

    ::testing::AssertionResult Shows(int number)
    {
        auto const& view = *window.findChild<PictureView*>();
        auto const shownNumber = [&] {
            auto const shown = view.GetShown();
            return shown ? ReadSquares(PictureView::Render(*shown), QPoint(16, 16), 32, 0) : -1;
        };
        if (Eventually([&] { return shownNumber() == number; }))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "shows " << shownNumber() << ", expected " << number;
    }

    ReviewWindow window;
};

} // namespace

TEST_F(WindowExampleTest, StepsByTheKeysOfThePlayer)
{
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    ASSERT_TRUE(Shows(0));
    for (int number = 1; number <= 3; ++number) {
        QTest::keyClick(&window, Qt::Key_Period);
        ASSERT_TRUE(Shows(number));
    }
    QTest::keyClick(&window, Qt::Key_Comma);
    EXPECT_TRUE(Shows(2));
    QTest::keyClick(&window, Qt::Key_End);
    EXPECT_TRUE(Shows(pictures - 1));
}

TEST_F(WindowExampleTest, GoesWhereTheTimelineIsClicked)
{
    ASSERT_TRUE(Shows(0));
    auto* timeline = window.findChild<Timeline*>();
    ASSERT_TRUE(Eventually([&] { return timeline->TimeAt(timeline->width()) > 9000000; }));
    int const x = timeline->XAt(4020000);
    QTest::mouseClick(timeline, Qt::LeftButton, Qt::NoModifier, QPoint(x, timeline->height() / 2));
    EXPECT_TRUE(Shows(static_cast<int>(timeline->TimeAt(x) / step)));
}
