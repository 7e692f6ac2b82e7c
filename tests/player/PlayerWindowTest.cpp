#include "player/PlayerWindow.h"
#include "player/PlayerSession.h"
#include "player/controls/ControlBar.h"
#include "player/controls/Overlays.h"
#include "player/controls/Readout.h"
#include "player/sound/WaveformReader.h"
#include "tests/player/WindowTest.h"
#include "tests/support/Media.h"
#include "tests/support/OpenedInputs.h"

#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QSlider>
#include <QToolButton>
#include <QWheelEvent>

namespace {

// Painted both ways.
class PlayerWindowTest : public WindowTest, public ::testing::WithParamInterface<PictureView::Painting>
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        options.painting = GetParam();
    }
};

} // namespace

// For what it is, for its pictures, for their numbers, for its sound, and for the waveform of that.
TEST_P(PlayerWindowTest, OpensAMovieFiveTimes)
{
    QString const movie = DemoMovie::Make(pictures);
    int const before = OpenedInputs::Count();
    Start({movie});
    ASSERT_TRUE(Shows(0));
    ASSERT_TRUE(Eventually([&] { return OpenedInputs::Count() - before >= 5; }));
    ASSERT_TRUE(Eventually([&] { return !Child<WaveformReader>(); }));
    window->GetEngine().Seek(1000000000); // to the true end, which is what the container says
    ASSERT_TRUE(Eventually([&] { return Status().durationKnown; }));
    EXPECT_EQ(OpenedInputs::Count() - before, 5);
}

// The last packet of AAC ends 16 ms after the movie.
TEST_P(PlayerWindowTest, ReadsTheWaveformOnceWhereTheSoundEndsALittleLater)
{
    QString const movie =
        MakeMedia("longsound.mp4",
                  Picture("64x48", 25, 30.0) + QStringList{"-f", "lavfi", "-i", "sine=duration=30:sample_rate=48000",
                                                           "-c:v", "libx264", "-c:a", "aac", "-shortest"});
    int const before = OpenedInputs::Count();
    Start({movie});
    ASSERT_TRUE(Eventually([&] { return OpenedInputs::Count() - before >= 5 && !Child<WaveformReader>(); }));
    int read = 0;
    QObject::connect(Child<PlayerSession>(), &PlayerSession::PeaksRead, [&read] { ++read; });
    window->GetEngine().Seek(1000000000);
    ASSERT_TRUE(Eventually([&] { return Status().durationKnown; }));
    EXPECT_EQ(Status().duration, 30015999);
    Press(Qt::Key_Home); // the window has looked at the length by then
    EXPECT_TRUE(Eventually([&] { return !Child<WaveformReader>(); }));
    EXPECT_EQ(read, 0);
}

TEST_P(PlayerWindowTest, FindsTheEndOfAFileThatDoesNotTellItsLength)
{
    QString const movie =
        MakeMedia("live.webm", Picture("64x48", 25, 8.0) + QStringList{"-f", "lavfi", "-i", "sine=duration=8", "-c:v",
                                                                       "libvpx", "-c:a", "libopus", "-live", "1"});
    options.paused = true;
    options.cacheMegabytes = 1; // half of it
    Start({movie});
    ASSERT_TRUE(Eventually([&] { return RecordNumber() == 0; }));
    EXPECT_FALSE(Status().durationKnown);
    EXPECT_LE(Status().duration, 0);
    Press(Qt::Key_End);
    ASSERT_TRUE(Eventually([&] { return RecordNumber() == 199; }));
    Press(Qt::Key_Left);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == 198; }));
}

TEST_P(PlayerWindowTest, GoesOnWithAFileThatWasBegunBeforeThereWasAWindow)
{
    QString const movie = DemoMovie::Make(pictures);
    options.files = QStringList{movie};
    options.start = 100 * step;
    int const before = OpenedInputs::Count();
    EarlyEngine early = EarlyEngine::Start(options, settings);
    ASSERT_TRUE(early.engine);
    ASSERT_TRUE(early.engine->WaitUntilReady(patience));
    Start({movie}, std::move(early));
    ASSERT_TRUE(Shows(100));
    ASSERT_TRUE(Eventually([&] { return OpenedInputs::Count() - before >= 5 && !Child<WaveformReader>(); }));
    EXPECT_EQ(OpenedInputs::Count() - before, 5);
    Drop({movie}); // the next time it is opened anew
    ASSERT_TRUE(Shows(0));
    EXPECT_TRUE(Eventually([&] { return OpenedInputs::Count() - before == 10; })) << OpenedInputs::Count() - before;
}

TEST_P(PlayerWindowTest, BeginsEarlyOnlyWithWhatIsOneFile)
{
    QString const folder = DemoMovie::MakeSequence(4);
    for (QString const& path :
         {folder, folder + "/" + QDir(folder).entryList(QDir::Files).first(), home.filePath("absent.mp4"), QString()}) {
        options.files = QStringList{path};
        EXPECT_FALSE(EarlyEngine::Start(options, settings).engine) << qPrintable(path);
    }
}

TEST_P(PlayerWindowTest, PaintsTheWayItWasTold)
{
    StartDemo();
    EXPECT_EQ(window->GetView().PaintsWithOpenGl(), GetParam() == PictureView::Painting::OpenGl);
}

TEST_P(PlayerWindowTest, ShowsTheVeryPictureAfterSeeks)
{
    StartDemo();
    for (int const number : {100, 49, 50, 51, 249, 0, 137})
        SeekTo(number);
}

TEST_P(PlayerWindowTest, TellsTimeAndNumberOfThePictureShown)
{
    StartDemo();
    SeekTo(137);
    EXPECT_TRUE(Eventually([&] { return Labels().contains("#137 / 250"); })) << qPrintable(Labels().join('|'));
    EXPECT_TRUE(Labels().contains("0:00:05.480 / 0:00:10.000")) << qPrintable(Labels().join('|'));
}

TEST_P(PlayerWindowTest, StepsWithCommaAndPeriodOverGroupsOfPictures)
{
    StartDemo();
    SeekTo(48);
    for (int number = 49; number <= 53; ++number) {
        Press(Qt::Key_Period);
        ASSERT_TRUE(Shows(number));
    }
    for (int number = 52; number >= 47; --number) {
        Press(Qt::Key_Comma);
        ASSERT_TRUE(Shows(number));
    }
}

TEST_P(PlayerWindowTest, JumpsWithTheArrows)
{
    StartDemo();
    SeekTo(10);
    Press(Qt::Key_Right);
    ASSERT_TRUE(Shows(11)); // one picture while paused
    Press(Qt::Key_Left);
    ASSERT_TRUE(Shows(10));
    Press(Qt::Key_Right, Qt::ShiftModifier);
    ASSERT_TRUE(Shows(35)); // exactly a second
    Press(Qt::Key_Left, Qt::ShiftModifier);
    ASSERT_TRUE(Shows(10));
}

TEST_P(PlayerWindowTest, JumpsFiveSecondsWhilePlaying)
{
    StartDemo();
    window->GetTransport().SetSpeed(0.1); // slow enough to tell the jump from play
    Press(Qt::Key_Space);
    Press(Qt::Key_Right);
    EXPECT_TRUE(Eventually([&] { return ShownNumber() >= 125; }));
    EXPECT_LT(ShownNumber(), 160); // 14 seconds of play later
    Press(Qt::Key_Left);
    EXPECT_TRUE(Eventually([&] { return ShownNumber() < 60; })); // 24 seconds of play
}

TEST_P(PlayerWindowTest, GoesToBothEnds)
{
    StartDemo();
    Press(Qt::Key_End);
    ASSERT_TRUE(Shows(249));
    Press(Qt::Key_Home);
    ASSERT_TRUE(Shows(0));
}

TEST_P(PlayerWindowTest, PlaysAndPausesWithSpace)
{
    StartDemo();
    Press(Qt::Key_Space);
    EXPECT_EQ(Status().speed, 1.0);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() > 5; }));
    Press(Qt::Key_Space);
    EXPECT_EQ(Status().speed, 0.0);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() == RecordNumber(); }));
    int const paused = ShownNumber();
    QTest::qWait(200); // five pictures of play
    EXPECT_EQ(ShownNumber(), paused);
}

TEST_P(PlayerWindowTest, ShuttlesBothWays)
{
    StartDemo();
    SeekTo(100);
    Press(Qt::Key_L);
    EXPECT_EQ(Status().speed, 1.0);
    Press(Qt::Key_L);
    EXPECT_EQ(Status().speed, 2.0);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() > 105; }));
    Press(Qt::Key_J);
    EXPECT_EQ(Status().speed, 1.0);
    Press(Qt::Key_J);
    EXPECT_EQ(Status().speed, 0.0);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() == RecordNumber(); }));
    int const turned = ShownNumber();
    Press(Qt::Key_J);
    EXPECT_EQ(Status().speed, -1.0);
    ASSERT_TRUE(Eventually([&] { return ShownNumber() < turned - 5; }));
    Press(Qt::Key_K);
    EXPECT_EQ(Status().speed, 0.0);
    EXPECT_TRUE(Shows(RecordNumber()));
}

TEST_P(PlayerWindowTest, ChangesSpeedWithBracketsBracesAndBackspace)
{
    StartDemo();
    Press(Qt::Key_Space);
    Press(Qt::Key_BracketRight);
    EXPECT_EQ(Status().speed, 1.1);
    Press(Qt::Key_BracketLeft);
    Press(Qt::Key_BracketLeft);
    EXPECT_EQ(Status().speed, 0.9);
    Press(Qt::Key_BraceRight, Qt::ShiftModifier);
    EXPECT_EQ(Status().speed, 1.8);
    Press(Qt::Key_BraceLeft, Qt::ShiftModifier);
    EXPECT_EQ(Status().speed, 0.9);
    Press(Qt::Key_Backspace);
    EXPECT_EQ(Status().speed, 1.0);
}

TEST_P(PlayerWindowTest, RepeatsTheRange)
{
    StartDemo();
    SeekTo(60);
    Press(Qt::Key_I);
    SeekTo(69);
    Press(Qt::Key_O);
    Press(Qt::Key_R);
    EXPECT_EQ(window->GetTransport().GetIn(), 60 * step);
    EXPECT_EQ(window->GetTransport().GetOut(), 70 * step);
    Press(Qt::Key_Home);
    SeekTo(62);
    Press(Qt::Key_Space);
    int smallest = pictures;
    int largest = 0;
    int turns = 0;
    int last = 62;
    ASSERT_TRUE(Eventually([&] {
        int const number = RecordNumber();
        turns += number < last ? 1 : 0;
        last = number;
        smallest = std::min(smallest, number);
        largest = std::max(largest, number);
        return turns == 3;
    }));
    EXPECT_GE(smallest, 60);
    EXPECT_LE(largest, 69);
    Press(Qt::Key_X);
    EXPECT_EQ(window->GetTransport().GetIn(), std::nullopt);
}

TEST_P(PlayerWindowTest, ChangesTheVolume)
{
    StartDemo();
    auto* slider = Child<QSlider>();
    Press(Qt::Key_9);
    EXPECT_EQ(window->GetTransport().GetVolume(), 0.95);
    EXPECT_EQ(slider->value(), 95);
    Press(Qt::Key_0);
    EXPECT_EQ(slider->value(), 100);
    QWheelEvent wheel(QPointF(100, 100), QPointF(100, 100), QPoint(), QPoint(0, -240), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&window->GetView(), &wheel);
    EXPECT_EQ(slider->value(), 90);
    slider->setValue(30);
    EXPECT_EQ(window->GetTransport().GetVolume(), 0.3);
    Press(Qt::Key_M);
    EXPECT_TRUE(window->GetTransport().IsMuted());
    Press(Qt::Key_M);
    EXPECT_FALSE(window->GetTransport().IsMuted());
}

TEST_P(PlayerWindowTest, GoesFullScreenAndBack)
{
    StartDemo();
    // Making it as large as the screen is the window manager's business; here there is none.
    Press(Qt::Key_F);
    EXPECT_TRUE(window->isFullScreen());
    EXPECT_TRUE(Eventually([&] { return window->GetView().size() == window->size(); }));
    Press(Qt::Key_Escape);
    EXPECT_FALSE(window->isFullScreen());
    EXPECT_TRUE(Eventually([&] { return window->GetView().height() < window->height(); }));
    QTest::mouseDClick(&window->GetView(), Qt::LeftButton);
    EXPECT_TRUE(window->isFullScreen());
}

TEST_P(PlayerWindowTest, ShowsPixelForPixel)
{
    StartDemo();
    SeekTo(137);
    Press(Qt::Key_Z);
    // 320 x 240 in the middle of 640 x 480.
    EXPECT_TRUE(Eventually([&] { return ReadSquares(Grab(), QPoint(160 + 16, 120 + 16), 32, 0) == 137; }));
    EXPECT_EQ(qGray(Grab().pixel(159, 240)), qGray(Grab().pixel(1, 1)));
    EXPECT_NE(qGray(Grab().pixel(160, 200)), qGray(Grab().pixel(1, 1)));
    Press(Qt::Key_Z);
    EXPECT_TRUE(Shows(137));
}

TEST_P(PlayerWindowTest, ZoomsAtThePointerAndMovesByDragging)
{
    StartDemo();
    SeekTo(0b1000000001 % 250);
    QWheelEvent wheel(QPointF(0, 0), QPointF(0, 0), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::ControlModifier,
                      Qt::NoScrollPhase, false);
    for (int i = 0; i < 4; ++i)
        QApplication::sendEvent(&window->GetView(), &wheel);
    double const zoom = window->GetView().GetGeometry().GetZoom();
    EXPECT_DOUBLE_EQ(zoom, 2.0 * 1.25 * 1.25 * 1.25 * 1.25);
    EXPECT_EQ(window->GetView().GetGeometry().PictureToView().map(QPointF(0, 0)), QPointF(0, 0));
    QTest::mousePress(&window->GetView(), Qt::LeftButton, Qt::NoModifier, QPoint(300, 300));
    Drag(window->GetView(), QPointF(250, 260));
    EXPECT_EQ(window->GetView().GetGeometry().PictureToView().map(QPointF(0, 0)), QPointF(-50, -40));
}

TEST_P(PlayerWindowTest, SavesThePictureShown)
{
    StartDemo();
    ASSERT_TRUE(Eventually([&] { return Status().index != nullptr; }));
    SeekTo(42);
    Press(Qt::Key_S);
    QDir const folder(settings.pictureFolder);
    ASSERT_TRUE(Eventually([&] { return Child<ControlBar>()->GetNote().startsWith("Saved "); }));
    QStringList const files = folder.entryList(QDir::Files);
    ASSERT_EQ(files, QStringList({"demo-250-0-000042.png"}));
    QImage const saved(folder.filePath(files.first()));
    EXPECT_EQ(saved.size(), QSize(320, 240));
    EXPECT_EQ(ReadSquares(saved, QPoint(16, 16), 32, 0), 42);
}

TEST_P(PlayerWindowTest, CopiesThePictureShown)
{
    StartDemo();
    SeekTo(77);
    Press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(ReadSquares(QApplication::clipboard()->image(), QPoint(16, 16), 32, 0), 77);
}

TEST_P(PlayerWindowTest, TurnsPicturesAsTheFileSays)
{
    struct Turn
    {
        int rotation; // of the record
        QSize view;
        QPoint first; // middle of the highest bit's square
        int stepX;
        int stepY;
    };
    for (Turn const& turn : {Turn{90, {480, 640}, {447, 32}, 0, 64}, Turn{180, {640, 480}, {607, 447}, -64, 0},
                             Turn{270, {480, 640}, {32, 607}, 0, -64}}) {
        QString const movie = DemoMovie::Make(50, turn.rotation);
        ASSERT_FALSE(movie.isEmpty());
        Start({movie}, turn.view);
        ASSERT_TRUE(Eventually([&] { return window->GetView().GetShown() != nullptr; }));
        int const rotation = window->GetView().GetShown()->rotation;
        ASSERT_EQ(rotation, turn.rotation);
        window->GetEngine().Seek(37 * step);
        EXPECT_TRUE(Eventually([&] { return ReadSquares(Grab(), turn.first, turn.stepX, turn.stepY) == 37; }))
            << turn.rotation;
        Press(Qt::Key_Period);
        EXPECT_TRUE(Eventually([&] { return ReadSquares(Grab(), turn.first, turn.stepX, turn.stepY) == 38; }));
        window.reset();
    }
}

TEST_P(PlayerWindowTest, PreviewsWhileDraggingAndLandsExactly)
{
    StartDemo();
    auto* timeline = Child<Timeline>();
    int const y = timeline->height() / 2;
    QTest::mousePress(timeline, Qt::LeftButton, Qt::NoModifier, QPoint(timeline->XAt(60 * step), y));
    EXPECT_TRUE(Eventually([&] { return RecordNumber() >= 40; }));
    QPoint const end(timeline->XAt(171 * step), y);
    Drag(*timeline, end);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() >= 150; }));
    QTest::mouseRelease(timeline, Qt::LeftButton, Qt::NoModifier, end);
    EXPECT_TRUE(Shows(static_cast<int>(timeline->TimeAt(end.x()) / step)));
}

TEST_P(PlayerWindowTest, ShowsAllKeys)
{
    StartDemo();
    auto* help = Child<HelpOverlay>();
    EXPECT_FALSE(help->isVisible());
    QImage const before = Grab();
    Press(Qt::Key_Question, Qt::ShiftModifier);
    EXPECT_TRUE(help->isVisible());
    EXPECT_TRUE(Eventually([&] { return Grab() != before; }));
    EXPECT_TRUE(help->GetLines().contains("Space: Play or pause"));
    EXPECT_EQ(static_cast<size_t>(help->GetLines().size()), KeyMap::Actions().size());
    Press(Qt::Key_Escape);
    EXPECT_FALSE(help->isVisible());
}

TEST_P(PlayerWindowTest, ShowsStatistics)
{
    StartDemo();
    auto* statistics = Child<StatisticsOverlay>();
    Press(Qt::Key_Tab);
    ASSERT_TRUE(statistics->isVisible());
    QString const painting = GetParam() == PictureView::Painting::OpenGl ? "OpenGL" : "QPainter";
    EXPECT_TRUE(Eventually([&] { return statistics->GetLines().contains("Picture: 320 × 240, 25 fps"); }));
    EXPECT_TRUE(statistics->GetLines().contains("Sound: 48000 Hz, stereo"));
    EXPECT_TRUE(statistics->GetLines().contains("Painting: " + painting + ", 200 %"));
    Press(Qt::Key_Tab);
    EXPECT_FALSE(statistics->isVisible());
}

TEST_P(PlayerWindowTest, SaysWhatIsWrongWithAFile)
{
    QString const path = home.filePath("no-such.mp4");
    Start({path});
    auto* welcome = Child<WelcomePanel>();
    ASSERT_TRUE(Eventually([&] { return welcome->isVisible() && !welcome->GetMessage().isEmpty(); }));
    EXPECT_TRUE(welcome->GetMessage().endsWith('.')) << qPrintable(welcome->GetMessage());
}

TEST_P(PlayerWindowTest, OpensWhatIsDropped)
{
    Start({});
    EXPECT_TRUE(Child<WelcomePanel>()->isVisible());
    Drop({DemoMovie::Make(pictures)});
    EXPECT_TRUE(Shows(0));
    EXPECT_FALSE(Child<WelcomePanel>()->isVisible());
    EXPECT_EQ(Status().kind, SourceKind::Movie);
}

TEST_P(PlayerWindowTest, OpensASequenceDroppedAsFolderOrAsOneFile)
{
    options.sequenceRate = 25.0;
    QString const folder = DemoMovie::MakeSequence(30);
    Start({});
    for (QString const& path : {folder, folder + "/take.0012.png"}) {
        Drop({path});
        ASSERT_TRUE(Eventually([&] { return Status().path == path && Status().kind == SourceKind::Sequence; }));
        SeekTo(29);
        SeekTo(12);
    }
}

TEST_P(PlayerWindowTest, PlaysSeveralFilesInARow)
{
    QString const first = DemoMovie::Make(50);
    QString const second = DemoMovie::Make(pictures);
    options.paused = false;
    options.speed = 4.0;
    Start({first, second});
    EXPECT_TRUE(Eventually([&] { return Status().path == second; }));
    Press(Qt::Key_PageUp);
    EXPECT_TRUE(Eventually([&] { return Status().path == first; }));
}

TEST_P(PlayerWindowTest, StartsWhereTheCommandLineSays)
{
    options.start = 137 * step;
    Start({DemoMovie::Make(pictures)});
    EXPECT_TRUE(Shows(137));
}

TEST_P(PlayerWindowTest, PlaysSoundThatOpensAfterTheFirstPicture)
{
    QString const movie = DemoMovie::MakeWithLateSound();
    ASSERT_FALSE(movie.isEmpty());
    QString const recording = home.filePath("played.wav");
    options.audio = "wav:" + recording;
    Start({movie});
    EXPECT_TRUE(Eventually([&] { return QFileInfo(recording).size() > 44; })); // more than a header
}

TEST_P(PlayerWindowTest, RemembersSettings)
{
    StartDemo();
    Press(Qt::Key_9);
    Press(Qt::Key_M);
    Press(Qt::Key_R);
    window.reset();
    PlayerSettings const remembered = PlayerSettings::Load();
    EXPECT_EQ(remembered.volume, 0.95);
    EXPECT_TRUE(remembered.muted);
    EXPECT_TRUE(remembered.looping);
    EXPECT_EQ(RecentFiles().Load(), QStringList({DemoMovie::Make(pictures)}));
    EXPECT_TRUE(QFile::exists(home.filePath("config/tavolin/keys.conf")));

    settings = remembered;
    options.mute = false;
    StartDemo();
    EXPECT_FALSE(window->GetTransport().IsMuted()); // the command line beats what is remembered
    EXPECT_TRUE(window->GetTransport().IsLooping());
}

TEST_P(PlayerWindowTest, ShowsTheColoursThatTheFileMeans)
{
    for (auto const& [matrix, range] : {std::pair{"bt709", "tv"}, std::pair{"bt709", "pc"},
                                        std::pair{"smpte170m", "pc"}, std::pair{"smpte170m", "tv"}}) {
        QString const card = DemoMovie::MakeCard(matrix, range);
        ASSERT_FALSE(card.isEmpty());
        Start({card});
        auto const isCovered = [&](QPoint point) { // by words that stay for seconds
            auto const* readout = Child<Readout>();
            return readout->isVisible() && readout->geometry().contains(point);
        };
        auto const largestError = [&] {
            QImage const screen = Grab();
            int largest = 0;
            for (int column = 0; column < 8; ++column)
                for (int row = 0; row < 6; ++row) {
                    QPoint const middle(80 * column + 40, 80 * row + 40);
                    if (isCovered(middle))
                        continue;
                    QColor const seen = screen.pixelColor(middle);
                    QColor const meant = DemoMovie::Patch(column, row);
                    largest = std::max({largest, std::abs(seen.red() - meant.red()),
                                        std::abs(seen.green() - meant.green()), std::abs(seen.blue() - meant.blue())});
                }
            return largest;
        };
        EXPECT_TRUE(Eventually([&] { return largestError() <= 3; })) << matrix << range << largestError();
        bool const isPlain = matrix == std::string("smpte170m"); // the card's format tells its range
        Press(Qt::Key_C);                                        // the switch
        EXPECT_TRUE(Eventually([&] { return isPlain || largestError() > 3; })) << matrix << range;
        Press(Qt::Key_C);
        EXPECT_TRUE(Eventually([&] { return largestError() <= 3; })) << matrix << range << largestError();
        window.reset();
        settings.streamColours = true;
    }
}

INSTANTIATE_TEST_SUITE_P(Painting, PlayerWindowTest,
                         ::testing::Values(PictureView::Painting::OpenGl, PictureView::Painting::Painter),
                         [](auto const& info) {
                             return info.param == PictureView::Painting::OpenGl ? "OpenGl" : "Painter";
                         });
