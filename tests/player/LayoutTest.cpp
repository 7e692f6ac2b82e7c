#include "WindowTest.h"
#include "player/controls/ControlBar.h"
#include "player/controls/Overlays.h"
#include "player/controls/Readout.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QToolButton>
#include <QWindow>

namespace {

class PlayerLayoutTest : public WindowTest
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        options.painting = PictureView::Painting::Painter;
    }

    void MovePointer(QPoint inView)
    {
        QMouseEvent move(QEvent::MouseMove, QPointF(inView), window->GetView().mapToGlobal(inView), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&window->GetView(), &move);
    }

    // No two of the control bar's parts that are shown lie over each other, and none beyond its edge.
    void ExpectNoOverlap()
    {
        auto* bar = Child<ControlBar>();
        QList<QWidget*> shown;
        for (QWidget* part : bar->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (part->isVisible() && part->width() > 0)
                shown << part;
        }
        EXPECT_GE(shown.size(), 3); // the button to play, the time and the note
        for (int i = 0; i < shown.size(); ++i) {
            EXPECT_TRUE(bar->rect().contains(shown[i]->geometry())) << i << " at " << window->width();
            for (int j = 0; j < i; ++j)
                EXPECT_FALSE(shown[i]->geometry().intersects(shown[j]->geometry()))
                    << j << " and " << i << " at " << window->width();
        }
    }

    void ExpectTimeIsReadable()
    {
        for (QLabel const* label : Child<ControlBar>()->findChildren<QLabel*>()) {
            if (label->text().startsWith("0:00:")) {
                EXPECT_TRUE(label->isVisible());
                EXPECT_GE(label->width(), label->sizeHint().width());
            }
        }
    }
};

// Run on a screen of 640 x 480 pixels, at scales of 1 and 2; anywhere else there is nothing to see.
class SmallScreenTest : public PlayerLayoutTest
{
protected:
    void SetUp() override
    {
        PlayerLayoutTest::SetUp();
        if (QApplication::primaryScreen()->geometry().width() > 640)
            GTEST_SKIP() << "the screen is large";
        window = std::make_unique<PlayerWindow>(options, settings);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    void ExpectFits()
    {
        QRect const room = QApplication::primaryScreen()->availableGeometry();
        EXPECT_LE(window->frameGeometry().width(), room.width());
        EXPECT_LE(window->frameGeometry().height(), room.height());
    }
};

} // namespace

TEST_F(PlayerLayoutTest, KeepsThePictureInItsPlaceWhenTheControlsComeInFullScreen)
{
    StartDemo();
    Press(Qt::Key_F);
    QSize const full = window->size(); // making it as large as the screen is the window manager's business
    ASSERT_TRUE(Eventually([&] { return window->GetView().size() == full; }));
    auto* panel = Child<ControlBar>()->parentWidget();
    EXPECT_FALSE(panel->isVisible());
    QTransform const before = window->GetView().GetGeometry().PictureToView();
    MovePointer(QPoint(400, full.height() - 10));
    ASSERT_TRUE(panel->isVisible());
    QTest::qWait(100);
    EXPECT_EQ(window->GetView().size(), full);
    EXPECT_EQ(window->GetView().GetGeometry().PictureToView(), before);
    EXPECT_EQ(panel->geometry().bottom(), full.height() - 1);
    EXPECT_EQ(panel->width(), full.width());
    MovePointer(QPoint(400, 100));
    EXPECT_FALSE(panel->isVisible());
    Press(Qt::Key_Escape);
    EXPECT_TRUE(Eventually([&] { return panel->isVisible() && panel->y() == window->GetView().height(); }))
        << panel->isVisible() << " at " << panel->y() << " below " << window->GetView().height();
}

TEST_F(PlayerLayoutTest, KeepsTimeNumberAndSpeedInViewWhileSteppingInFullScreen)
{
    StartDemo();
    auto* readout = Child<Readout>();
    EXPECT_FALSE(readout->isVisible());
    Press(Qt::Key_F);
    Press(Qt::Key_Period);
    ASSERT_TRUE(Eventually([&] { return readout->isVisible() && readout->GetText().contains("#1 /"); }))
        << qPrintable(readout->GetText());
    EXPECT_EQ(readout->GetText(), "0:00:00.040 / 0:00:10.000  #1 / 250  paused");
    EXPECT_TRUE(Eventually([&] { return !readout->isVisible(); })); // it fades
    Press(Qt::Key_Period);
    EXPECT_TRUE(Eventually([&] { return readout->isVisible() && readout->GetText().contains("#2 /"); }));
    MovePointer(QPoint(400, window->GetView().height() - 10));
    EXPECT_TRUE(Eventually([&] { return !readout->isVisible(); })); // the controls say it
}

TEST_F(PlayerLayoutTest, ShowsNotesInFullScreen)
{
    StartDemo();
    Press(Qt::Key_F);
    Press(Qt::Key_PageDown);
    EXPECT_TRUE(Eventually([&] { return Child<Readout>()->GetText().endsWith("\nThis is the last file."); }));
    EXPECT_TRUE(Child<Readout>()->isVisible());
}

TEST_F(PlayerLayoutTest, IsReadableAtEachWidth)
{
    StartDemo();
    EXPECT_EQ(window->minimumSize(), QSize(320, 180));
    for (int width = 1000; width >= 320; width -= 20) {
        window->resize(width, 300);
        Child<ControlBar>()->ShowPassingNote("A note that is far too long for a window as small as this one is.");
        ASSERT_TRUE(Eventually([&] { return Child<ControlBar>()->width() == width; }));
        QTest::qWait(1);
        ExpectNoOverlap();
        ExpectTimeIsReadable();
    }
}

// In a window where it does not fit into the bar.
TEST_F(PlayerLayoutTest, ShowsALongNoteOverThePicture)
{
    StartDemo();
    QString const note = "A note that is far too long for a window as small as this one is.";
    window->resize(400, 300);
    Child<ControlBar>()->ShowPassingNote(note);
    EXPECT_TRUE(Eventually([&] { return Child<Readout>()->isVisible() && Child<Readout>()->GetText() == note; }));
    EXPECT_TRUE(window->GetView().rect().contains(Child<Readout>()->geometry()));
}

TEST_F(PlayerLayoutTest, ListsTheFaultsOfTheKeyFileAboveTheKeys)
{
    QDir().mkpath(home.filePath("config/tavolin"));
    QFile file(home.filePath("config/tavolin/keys.conf"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("mute = J\nfly = F\nquit = J\n");
    file.close();
    Start({});
    EXPECT_TRUE(Eventually([&] { return Child<ControlBar>()->GetNote() == "keys.conf has 2 faults: press ?."; }))
        << qPrintable(Child<ControlBar>()->GetNote());
    Press(Qt::Key_Question, Qt::ShiftModifier);
    EXPECT_EQ(Child<HelpOverlay>()->GetFaults(),
              QStringList({"keys.conf, line 2: there is no action \"fly\".",
                           "keys.conf, line 3: the key \"J\" is bound in line 1 already."}));
    QImage const withFaults = Child<HelpOverlay>()->grab().toImage();
    Child<HelpOverlay>()->SetFaults({});
    EXPECT_NE(Child<HelpOverlay>()->grab().toImage(), withFaults);
}

TEST_F(SmallScreenTest, OpensAWindowThatFits)
{
    ExpectFits();
    EXPECT_EQ(window->width(), QApplication::primaryScreen()->availableGeometry().width()); // and uses it
    EXPECT_GE(window->GetView().height(), window->height() / 2);                            // most for the picture
}

TEST_F(SmallScreenTest, OpensAWindowThatFitsWhereALargerOneIsRemembered)
{
    window->setMinimumSize(1, 1);
    window->resize(1400, 900);
    settings.geometry = window->saveGeometry();
    window = std::make_unique<PlayerWindow>(options, settings);
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    ExpectFits();
}

TEST_F(SmallScreenTest, DrawsItsIconsInThePixelsOfTheScreen)
{
    auto* button = Child<QToolButton>();
    qreal const scale = window->devicePixelRatioF();
    QPixmap const icon = button->icon().pixmap(QSize(20, 20));
    EXPECT_EQ(icon.width(), static_cast<int>(20 * scale));
    // Edges are sharp: a symbol drawn in other pixels and scaled has more shades than one drawn in these.
    EXPECT_EQ(icon.devicePixelRatio(), scale);
}
