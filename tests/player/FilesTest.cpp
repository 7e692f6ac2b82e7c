#include "decode/ColourSettings.h"
#include "player/controls/ControlBar.h"
#include "player/controls/Overlays.h"
#include "player/review/Review.h"
#include "source/Source.h"
#include "tests/player/WindowTest.h"
#include "tests/support/Clips.h"
#include "tests/support/GreyExr.h"
#include "tests/support/Media.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>

// Whatever people open, as the window shows it.

namespace {

class PlayerFilesTest : public WindowTest
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        options.painting = PictureView::Painting::Painter;
        QDir().mkpath(Folder());
    }

    QString Folder() const { return home.filePath("files"); }

    // A copy of `source` with that name.
    QString Put(QString const& source, QString const& name) const
    {
        QString const path = Folder() + '/' + name;
        EXPECT_TRUE(QFile::copy(source, path)) << qPrintable(source);
        return path;
    }

    QString PutBroken(QString const& name) const
    {
        QFile file(Folder() + '/' + name);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(5000, 'x'));
        return file.fileName();
    }

    // A still image of one grey.
    QString PutStill(QString const& name, int grey) const
    {
        QImage image(64, 48, QImage::Format_RGB32);
        image.fill(QColor(grey, grey, grey));
        QString const path = Folder() + '/' + name;
        EXPECT_TRUE(image.save(path));
        return path;
    }

    QString Note() { return Child<ControlBar>()->GetNote(); }

    bool HasLabel(QString const& text)
    {
        for (QLabel const* label : Child<ControlBar>()->findChildren<QLabel*>()) {
            if (label->text() == text)
                return true;
        }
        return false;
    }

    bool HasTitle(QString const& text)
    {
        return Eventually([&] { return window->windowTitle().startsWith(text); });
    }

    bool ShowsGrey(int grey)
    {
        return Eventually([&] {
            QImage const screen = Grab();
            return qAbs(qGray(screen.pixel(screen.width() / 2, screen.height() / 2)) - grey) <= 2;
        });
    }
};

QString SmallMovie()
{
    return MakeMedia("player-small-h264.mp4",
                     Picture("160x120", 25, 2) + Tone(48000, 2, 2) +
                         QStringList{"-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "aac", "-shortest"});
}

// Of 4 seconds, with bytes of some pictures in the middle exchanged.
QString DamagedMovie()
{
    QByteArray bytes = ReadMedia(
        MakeMedia("player-whole.mp4", Picture("160x120", 25, 4) + QStringList{"-c:v", "libx264", "-bf", "0", "-g", "25",
                                                                              "-pix_fmt", "yuv420p"}));
    auto const head = bytes.indexOf("mdat");
    auto const length = bytes.size() - head;
    for (auto at = head + length * 2 / 5; at < head + length / 2; ++at)
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
    return WriteMedia("player-damaged.mp4", bytes);
}

} // namespace

TEST_F(PlayerFilesTest, ShowsAMovieWhoseSoundHasNoDecoderWithANote)
{
    QString const movie = WithoutDecoder("player-no-sound.mp4", SmallMovie(), "mp4a");
    Start({movie});
    ASSERT_TRUE(Eventually([&] { return Status().state == PlaybackState::Paused && window->GetView().GetShown(); }));
    EXPECT_TRUE(Eventually([&] { return Note() == "There is no decoder for the sound of \"player-no-sound.mp4\"."; }))
        << qPrintable(Note());
    Press(Qt::Key_Period);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == 1; }));
    EXPECT_FALSE(Note().isEmpty()); // it lasts
}

TEST_F(PlayerFilesTest, PlaysTheSoundOfAMovieWhosePicturesHaveNoDecoderWithANote)
{
    QString const movie = WithoutDecoder("player-no-pictures.mp4", SmallMovie(), "avc1");
    options.audio = "wav:" + home.filePath("played.wav");
    options.paused = false;
    options.once = true;
    Start({movie});
    EXPECT_TRUE(Eventually([&] {
        return Note() == "There is no decoder for the pictures of \"player-no-pictures.mp4\".";
    })) << qPrintable(Note());
    EXPECT_EQ(Status().kind, SourceKind::Sound);
    EXPECT_TRUE(Eventually([&] { return !window->isVisible(); }));
    // Two seconds, but perhaps for the last block of 10 ms.
    EXPECT_GE(QFileInfo(home.filePath("played.wav")).size(), 4 * (2 * 48000 - 480));
    EXPECT_EQ(window->GetExitCode(), 4);
}

// What `frame` writes is what Source decodes, too.
TEST_F(PlayerFilesTest, ShowsAnExrImageAsBrightAsItIsDecodedElsewhere)
{
    QString const image = WriteGreyExr("player-linear.exr");
    PictureStream::Picture decoded;
    ASSERT_EQ(Source::OpenFile(image).OpenPictures()->ReadAt(0, decoded), ReadResult::Got);
    Start({image});
    EXPECT_TRUE(ShowsGrey(decoded->data[0])) << int(decoded->data[0]);
    EXPECT_NEAR(decoded->data[0], 255.0 * std::pow(0.5, 1 / 2.2), 0.5); // light, encoded for a display
}

TEST_F(PlayerFilesTest, KeepsAStillUntilTheNextKey)
{
    options.paused = false;
    Start({PutStill("one.png", 50), PutStill("two.png", 100), PutStill("three.png", 150)});
    ASSERT_TRUE(ShowsGrey(50));
    QTest::qWait(400); // ten pictures of a movie
    EXPECT_TRUE(ShowsGrey(50));
    Press(Qt::Key_PageDown);
    EXPECT_TRUE(ShowsGrey(100));
    Press(Qt::Key_PageDown);
    EXPECT_TRUE(ShowsGrey(150));
    Press(Qt::Key_PageDown);
    EXPECT_EQ(Note(), "This is the last file.");
}

TEST_F(PlayerFilesTest, KeepsAStillForTheTimeAskedFor)
{
    options.paused = false;
    options.once = true;
    options.stillSeconds = 0.5;
    QStringList const files = {PutStill("one.png", 50), PutStill("two.png", 100)};
    QElapsedTimer timer;
    timer.start();
    Start(files);
    EXPECT_TRUE(ShowsGrey(100));
    EXPECT_TRUE(Eventually([&] { return !window->isVisible(); }));
    EXPECT_GE(timer.elapsed(), 2 * 500);
    EXPECT_EQ(window->GetExitCode(), 0);
}

TEST_F(PlayerFilesTest, KeepsAStillThatIsPaused)
{
    options.paused = false;
    settings.stillSeconds = 0.6;
    Start({PutStill("one.png", 50), PutStill("two.png", 100)});
    ASSERT_TRUE(ShowsGrey(50));
    Press(Qt::Key_Space);
    ASSERT_EQ(Status().speed, 0.0);
    QTest::qWait(1000); // longer than the 0.6 s
    EXPECT_TRUE(ShowsGrey(50));
    Press(Qt::Key_Space);
    EXPECT_TRUE(ShowsGrey(100));
}

TEST_F(PlayerFilesTest, EndsOnceAfterAStill)
{
    options.paused = false;
    options.once = true;
    options.files = QStringList{PutStill("one.png", 50)};
    window = std::make_unique<PlayerWindow>(options, settings);
    window->show();
    EXPECT_TRUE(Eventually([&] { return !window->isVisible(); }));
}

TEST_F(PlayerFilesTest, OpensAFolderFileByFileInNaturalOrder)
{
    Put(SmallMovie(), "take10.mp4");
    Put(SmallMovie(), "take2.mp4");
    PutStill("card.png", 50);
    Clips::WriteNumberedPictures(Folder(), "shot.%04d.ppm", {1001, 1002, 1003});
    Start({});
    Drop({Folder()});
    EXPECT_TRUE(HasTitle("card.png"));
    for (char const* title : {"shot.1001.ppm", "take2.mp4", "take10.mp4"}) {
        Press(Qt::Key_PageDown);
        EXPECT_TRUE(HasTitle(title)) << title;
    }
    EXPECT_TRUE(HasLabel("4/4  take10.mp4"));
}

TEST_F(PlayerFilesTest, OpensAFolderThatIsChosen)
{
    Put(SmallMovie(), "a.mp4");
    Put(SmallMovie(), "b.mp4");
    Start({});
    Press(Qt::Key_O, Qt::ControlModifier | Qt::ShiftModifier);
    auto* dialog = Child<QFileDialog>();
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
    emit dialog->filesSelected({Folder()});
    EXPECT_TRUE(HasTitle("a.mp4"));
    EXPECT_TRUE(Eventually([&] { return HasLabel("1/2  a.mp4"); }));
}

TEST_F(PlayerFilesTest, OpensASequenceAtTheFileGivenAndTellsItsNumber)
{
    std::vector<long long> numbers;
    for (long long number = 1000; number < 1030; ++number)
        numbers.push_back(number);
    Clips::WriteNumberedPictures(Folder(), "shot.%04d.ppm", numbers);
    Start({Folder() + "/shot.1010.ppm"});
    EXPECT_TRUE(ShowsGrey(1010 * 8 % 256));
    EXPECT_TRUE(Eventually([&] { return HasLabel("#1010 / 1029"); }));
    Press(Qt::Key_Comma);
    EXPECT_TRUE(Eventually([&] { return HasLabel("#1009 / 1029"); }));
    Press(Qt::Key_Home);
    EXPECT_TRUE(Eventually([&] { return HasLabel("#1000 / 1029"); }));
}

TEST_F(PlayerFilesTest, SavesPicturesOfASequenceByTheNumbersOfTheirFiles)
{
    Clips::WriteNumberedPictures(Folder(), "shot.%04d.ppm", {1000, 1001, 1002});
    Start({Folder() + "/shot.1001.ppm"});
    ASSERT_TRUE(Eventually([&] { return HasLabel("#1001 / 1002"); }));
    Child<Review>()->SaveRange(home.filePath("kept.png"));
    QString const saved = QString("Saved %1 to kept-001002.png").arg(home.filePath("kept-001000.png"));
    EXPECT_TRUE(Eventually([&] { return Note() == saved; })) << qPrintable(Note());
    EXPECT_EQ(QDir(home.path()).entryList({"kept*"}),
              QStringList({"kept-001000.png", "kept-001001.png", "kept-001002.png"}));
}

TEST_F(PlayerFilesTest, PassesOverABrokenFileWithANote)
{
    QString const broken = PutBroken("b.mp4");
    QString const other = PutBroken("c.mp4");
    Start({Put(SmallMovie(), "a.mp4"), broken, other, Put(SmallMovie(), "d.mp4")});
    ASSERT_TRUE(HasTitle("a.mp4"));
    Press(Qt::Key_PageDown);
    EXPECT_TRUE(HasTitle("d.mp4"));
    EXPECT_TRUE(Eventually([&] {
        return Note() ==
               "2 files were passed over, the last because: \"" + other + "\" is not a media file that can be read.";
    })) << qPrintable(Note());
    EXPECT_FALSE(Child<WelcomePanel>()->isVisible());
    QTest::qWait(300);
    EXPECT_FALSE(Note().isEmpty()); // it stays
    Press(Qt::Key_PageUp);
    EXPECT_TRUE(HasTitle("a.mp4")); // backwards, too
    EXPECT_EQ(window->GetExitCode(), 1);
}

TEST_F(PlayerFilesTest, SaysWhatIsWrongWithAllFilesWhenNoneOpens)
{
    Start({PutBroken("a.mp4"), PutBroken("b.mp4")});
    auto* welcome = Child<WelcomePanel>();
    ASSERT_TRUE(Eventually([&] { return welcome->GetMessage().contains("b.mp4"); }));
    EXPECT_TRUE(welcome->GetMessage().contains("a.mp4"));
    EXPECT_TRUE(welcome->isVisible());
}

TEST_F(PlayerFilesTest, ShowsDamage)
{
    options.paused = false;
    Start({DamagedMovie()});
    ASSERT_TRUE(Eventually([&] { return Status().state == PlaybackState::Ended; }));
    auto const damage = Status().damage;
    ASSERT_GT(damage.size(), 1); // the note says "pictures"
    auto* timeline = Child<Timeline>();
    auto const isRed = [&](long long time) {
        QColor const mark = timeline->grab().toImage().pixelColor(timeline->XAt(time), 20);
        return mark.red() > 200 && mark.green() < 100;
    };
    ASSERT_TRUE(Eventually([&] { return isRed(damage.first()); }));
    EXPECT_FALSE(isRed(400000));
    EXPECT_TRUE(Note().startsWith(QString("%1 pictures are damaged, the first at 0:00:01.").arg(damage.size())))
        << qPrintable(Note());
    Press(Qt::Key_Tab);
    QString const line = QString("Damage: %1 pictures, first at 0:00:01.").arg(damage.size());
    EXPECT_TRUE(Eventually([&] { return Child<StatisticsOverlay>()->GetLines().join('\n').contains(line); }))
        << qPrintable(Child<StatisticsOverlay>()->GetLines().join('\n'));
    EXPECT_EQ(window->GetExitCode(), 4);
}

// The last picture before stays, and is not replaced by a black one.
TEST_F(PlayerFilesTest, KeepsTheLastPictureInPlaceOfALostOne)
{
    Clips::WriteNumberedPictures(Folder(), "shot.%04d.ppm", {20, 21, 22, 23});
    QFile broken(Folder() + "/shot.0022.ppm");
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("P6\n16 8\n255\n");
    broken.close();
    Start({Folder()});
    ASSERT_TRUE(ShowsGrey(160));
    window->GetEngine().Seek(2 * 1000000 / 24 + 1);
    EXPECT_TRUE(ShowsGrey(168));
    EXPECT_TRUE(Eventually([&] { return Note().contains("shot.0022.ppm\" cannot be read as an image."); }))
        << qPrintable(Note());
    Press(Qt::Key_End);
    EXPECT_TRUE(ShowsGrey(184));
}
