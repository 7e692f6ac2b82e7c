#include "player/controls/ControlBar.h"
#include "player/controls/Overlays.h"
#include "player/controls/Readout.h"
#include "player/picture/PixelReadout.h"
#include "tests/player/WindowTest.h"
#include "tests/support/Media.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QToolButton>
#include <QWindow>

#include <algorithm>
#include <utility>

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

    QLabel const* FindLabel(QString const& beginning)
    {
        for (QLabel const* label : window->findChildren<QLabel*>())
            if (label->text().startsWith(beginning))
                return label;
        return nullptr;
    }

    QAction* FindInMenu(QString const& beginning)
    {
        QContextMenuEvent asked(QContextMenuEvent::Keyboard, QPoint(20, 20), window->mapToGlobal(QPoint(20, 20)));
        QApplication::sendEvent(window.get(), &asked);
        for (QAction* action : Child<QMenu>()->actions())
            if (action->text().startsWith(beginning))
                return action;
        return nullptr;
    }

    // No two of the control bar's parts that are shown lie over each other, and none beyond its edge.
    void ExpectNoOverlap(int fewest = 3)
    {
        auto* bar = Child<ControlBar>();
        QList<QWidget*> shown;
        for (QWidget* part : bar->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
            if (part->isVisible() && part->width() > 0)
                shown << part;
        }
        EXPECT_GE(shown.size(), fewest); // the button to play, the time and the note
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

TEST_F(PlayerLayoutTest, HasRoomForTheFieldAndItsFaultInTheSmallestWindow)
{
    StartDemo();
    window->resize(320, 180);
    ASSERT_TRUE(Eventually([&] { return Child<ControlBar>()->width() == 320; }));
    for (auto const& [key, beginning] : {std::pair{Qt::Key_G, "Go to"}, std::pair{Qt::Key_B, "Marker"}}) {
        Press(key);
        QLabel const* const caption = FindLabel(beginning);
        ASSERT_TRUE(caption && Eventually([&] { return caption->isVisible(); }));
        EXPECT_TRUE(Eventually([&] { return Child<QLineEdit>()->width() >= 80; }));
        EXPECT_TRUE(Eventually([&] { return caption->width() >= caption->sizeHint().width(); }));
        ExpectNoOverlap(/*fewest=*/2);
        if (key == Qt::Key_G) {
            QTest::keyClicks(Child<QLineEdit>(), "nonsense");
            QTest::keyClick(Child<QLineEdit>(), Qt::Key_Return);
            QLabel const* const fault = FindLabel("A time (12.5");
            ASSERT_TRUE(fault && fault->isVisible());
            EXPECT_TRUE(window->rect().contains(fault->geometry()));
            EXPECT_GE(fault->height(), fault->heightForWidth(fault->width()));
        }
        QTest::keyClick(Child<QLineEdit>(), Qt::Key_Escape);
    }
    EXPECT_TRUE(Eventually([&] { return FindLabel("0:00:00.000")->isVisible(); }));
}

TEST_F(PlayerLayoutTest, KeepsThePixelsValuesClearOfTheReadout)
{
    settings.pixelReadout = true;
    StartDemo();
    Press(Qt::Key_F);
    MovePointer(QPoint(100, 100));
    Press(Qt::Key_Period);
    ASSERT_TRUE(Eventually([&] { return Child<Readout>()->isVisible() && Child<PixelReadout>()->isVisible(); }));
    EXPECT_FALSE(Child<Readout>()->geometry().intersects(Child<PixelReadout>()->geometry()));
    Press(Qt::Key_Escape);
    window->resize(500, 400);
    EXPECT_TRUE(Eventually([&] {
        QRect const view = window->GetView().rect();
        return view.width() == 500 && view.contains(Child<PixelReadout>()->geometry());
    }));
}

TEST_F(PlayerLayoutTest, TellsNeitherLengthNorRateOfAStillImage)
{
    QString const still = home.filePath("still.png");
    ASSERT_TRUE(DemoMovie::Picture(3).save(still));
    Start({still});
    Press(Qt::Key_Tab);
    EXPECT_TRUE(Eventually([&] { return Labels().contains("0:00:00.000"); })) << qPrintable(Labels().join('|'));
    EXPECT_TRUE(Eventually([&] { return Child<StatisticsOverlay>()->GetLines().value(0) == "Picture: 320 × 240"; }))
        << qPrintable(Child<StatisticsOverlay>()->GetLines().join('|'));
}

// A row of FLV, which says 25 and of which every second picture was left out: 25 pictures in 24 x 80 + 40 ms.
TEST_F(PlayerLayoutTest, TellsTheTrueRateWhereTheContainerSaysAnother)
{
    QString const movie =
        MakeMedia("player-half-the-rate.flv", Picture("160x120", 25, 2) + QStringList{"-vf", "select='not(mod(n\\,2))'",
                                                                                      "-vsync", "vfr", "-c:v", "flv1"});
    Start({movie});
    Press(Qt::Key_Tab);
    QString const expected = "Picture: 160 × 120, 12.76 fps on average";
    EXPECT_TRUE(Eventually([&] { return Child<StatisticsOverlay>()->GetLines().value(0) == expected; }))
        << qPrintable(Child<StatisticsOverlay>()->GetLines().join('|'));
}

TEST_F(PlayerLayoutTest, TellsInTheMenuWhatIsOn)
{
    StartDemo();
    ASSERT_TRUE(FindInMenu("Colours as the stream says"));
    EXPECT_TRUE(FindInMenu("Colours as the stream says")->isChecked());
    EXPECT_FALSE(FindInMenu("Statistics")->isChecked());
    FindInMenu("Statistics")->trigger();
    EXPECT_TRUE(Child<StatisticsOverlay>()->isVisible());
    EXPECT_TRUE(FindInMenu("Save the picture")->isEnabled());
    ASSERT_TRUE(Eventually([&] { return Labels().contains("#0 / 250"); }));
    FindInMenu("Save the picture")->trigger();
    EXPECT_TRUE(Eventually([&] { return QDir(home.filePath("pictures")).entryList({"*-000000.png"}).size() == 1; }));
}

TEST_F(PlayerLayoutTest, GreysOutWhatTheMenuCannotDo)
{
    QMenu menu;
    menu.addAction("Save the range as pictures")->setEnabled(false);
    QImage const painted = menu.grab().toImage();
    int brightest = 0;
    for (int y = 0; y < painted.height(); ++y)
        for (int x = 0; x < painted.width(); ++x)
            brightest = std::max(brightest, qGray(painted.pixel(x, y)));
    EXPECT_GT(brightest, 80);
    EXPECT_LT(brightest, 180);
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
