#include "player/controls/ControlBar.h"
#include "player/review/EntryField.h"
#include "player/review/MarkerFile.h"
#include "player/review/Review.h"
#include "player/review/ReviewPanel.h"
#include "tests/player/WindowTest.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QTreeWidget>

#include <cstring>

namespace {

using Lines = QStringList;

class ReviewWindowTest : public WindowTest
{
protected:
    // The demo movie once more, with a timecode track.
    void StartCoded(char const* timecode = "01:00:10:00")
    {
        path = home.filePath("coded.mov");
        ASSERT_EQ(QProcess::execute("ffmpeg", {"-v", "error", "-y", "-i", DemoMovie::Make(pictures), "-map", "0",
                                               "-c:v", "copy", "-c:a", "pcm_s16le", "-timecode", timecode, path}),
                  0);
        StartNumbered(path);
    }

    void StartNumbered(QString const& movie)
    {
        Start({movie});
        ASSERT_TRUE(Shows(0));
        ASSERT_TRUE(Eventually([&] { return Labels().contains("#0 / 250"); })); // the numbers are known
    }

    QString Reading() { return Child<ControlBar>()->GetReading(); }
    QString Note() { return Child<ControlBar>()->GetNote(); }
    QLineEdit* Line() { return Child<EntryField>()->findChild<QLineEdit*>(); }
    Review& GetReview() { return *Child<Review>(); }

    // Types into the open field.
    void Enter(QString const& text, Qt::Key last = Qt::Key_Return)
    {
        ASSERT_TRUE(Child<EntryField>()->IsOpen());
        Line()->selectAll();
        QTest::keyClicks(Line(), text);
        QTest::keyClick(Line(), last);
    }

    void GoTo(QString const& text)
    {
        Press(Qt::Key_G);
        Enter(text);
    }

    void SetMarker(int number, QString const& note)
    {
        SeekTo(number);
        Press(Qt::Key_B);
        Enter(note);
    }

    void SetRange(int first, int last)
    {
        SeekTo(first);
        Press(Qt::Key_I);
        SeekTo(last);
        Press(Qt::Key_O);
    }

    QString Written(char const* name, QByteArray const& bytes)
    {
        QFile file(home.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        return file.fileName();
    }

    QString path;
};

QByteArray BytesOf(QString const& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

TEST_F(ReviewWindowTest, SwitchesBetweenTimeTimecodeAndNumber)
{
    StartCoded();
    SeekTo(137);
    EXPECT_TRUE(Eventually([&] { return Reading() == "0:00:05.480 / 0:00:10.000"; })) << qPrintable(Reading());
    Press(Qt::Key_T);
    EXPECT_EQ(Reading(), "01:00:15:12 / 0:00:10.000");
    Press(Qt::Key_T);
    EXPECT_EQ(Reading(), "#137 / 250");
    Press(Qt::Key_T);
    EXPECT_EQ(Reading(), "0:00:05.480 / 0:00:10.000");
    Press(Qt::Key_T);
    window.reset(); // which keeps the choice
    settings = PlayerSettings::Load();
    StartNumbered(path);
    EXPECT_TRUE(Eventually([&] { return Reading() == "01:00:10:00 / 0:00:10.000"; })) << qPrintable(Reading());
}

TEST_F(ReviewWindowTest, SwitchesTheReadingByAClickOnIt)
{
    StartCoded();
    QLabel* label = nullptr;
    for (QLabel* candidate : Child<ControlBar>()->findChildren<QLabel*>())
        label = candidate->text() == Reading() ? candidate : label;
    ASSERT_NE(label, nullptr);
    QTest::mouseClick(label, Qt::LeftButton);
    EXPECT_EQ(Reading(), "01:00:10:00 / 0:00:10.000");
}

TEST_F(ReviewWindowTest, CountsTimecodeFromZeroWithoutOne)
{
    StartNumbered(DemoMovie::Make(pictures));
    SeekTo(26);
    Press(Qt::Key_T);
    EXPECT_TRUE(Eventually([&] { return Reading() == "00:00:01:01 / 0:00:10.000"; })) << qPrintable(Reading());
}

TEST_F(ReviewWindowTest, GoesToWhatIsTyped)
{
    StartCoded();
    GoTo("5.48");
    EXPECT_TRUE(Shows(137));
    EXPECT_FALSE(Child<EntryField>()->IsOpen());
    GoTo("01:00:10:20");
    EXPECT_TRUE(Shows(20));
    GoTo("#249");
    EXPECT_TRUE(Shows(249));
    Press(Qt::Key_T);
    Press(Qt::Key_T);
    GoTo("51");
    EXPECT_TRUE(Shows(51));
    Press(Qt::Key_G, Qt::ControlModifier);
    Enter("0:09");
    EXPECT_TRUE(Shows(225));
}

TEST_F(ReviewWindowTest, StaysWhereItIsWhenWhatIsTypedIsWrong)
{
    StartCoded();
    SeekTo(10);
    for (auto const& [text, fault] :
         {std::pair{"nonsense", "A time (12.5, 1:02.5), a timecode (01:00:10:02) or #123, please."},
          std::pair{"#250", "The last picture is #249."}, std::pair{"0:10", "The file ends at 0:00:10.000."},
          std::pair{"01:00:09:24", "The pictures are 01:00:10:00 to 01:00:19:24."}}) {
        Press(Qt::Key_G);
        Enter(text);
        EXPECT_EQ(Child<EntryField>()->GetFault(), fault);
        EXPECT_TRUE(Child<EntryField>()->IsOpen());
        QTest::keyClick(Line(), Qt::Key_Escape);
        EXPECT_FALSE(Child<EntryField>()->IsOpen());
        EXPECT_EQ(Child<EntryField>()->GetFault(), "");
    }
    EXPECT_TRUE(Shows(10));
    Press(Qt::Key_Period); // the keyboard is the window's again
    EXPECT_TRUE(Shows(11));
}

// Letters that are keys elsewhere, and keys that the line has no use for.
TEST_F(ReviewWindowTest, GivesTheKeyboardToTheFieldWhileItIsOpen)
{
    StartCoded();
    SeekTo(100);
    Press(Qt::Key_B);
    QTest::keyClicks(Line(), "long jump: q f i o");
    QTest::keyClick(Line(), Qt::Key_PageDown);
    QTest::keyClick(Line(), Qt::Key_M, Qt::ControlModifier);
    QTest::keyClick(Line(), Qt::Key_Return);
    EXPECT_TRUE(Shows(100));
    EXPECT_EQ(window->GetTransport().GetIn(), std::nullopt);
    EXPECT_FALSE(Child<ReviewPanel>()->isVisible());
    EXPECT_EQ(GetReview().GetMarkers().GetAll(), (QVector<Marker>{{100 * step, "long jump: q f i o"}}));
}

TEST_F(ReviewWindowTest, SetsFindsChangesAndRemovesMarkers)
{
    StartCoded();
    SetMarker(49, "before the cut");
    SetMarker(50, "the cut");
    SetMarker(200, "");
    SeekTo(0);
    for (int const number : {49, 50, 200}) {
        Press(Qt::Key_Right, Qt::ControlModifier);
        ASSERT_TRUE(Shows(number));
    }
    Press(Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(Note(), "There is no later marker.");
    Press(Qt::Key_Left, Qt::ControlModifier);
    ASSERT_TRUE(Shows(50));
    Press(Qt::Key_B);
    EXPECT_EQ(Line()->text(), "the cut");
    Enter("not this", Qt::Key_Escape);
    Press(Qt::Key_B);
    Enter("the new cut");
    EXPECT_EQ(GetReview().GetMarkers().GetAll()[1].note, "the new cut");
    Press(Qt::Key_B, Qt::ShiftModifier);
    Press(Qt::Key_B, Qt::ShiftModifier);
    EXPECT_EQ(Note(), "There is no marker here.");
    EXPECT_EQ(GetReview().GetMarkers().GetAll(), (QVector<Marker>{{49 * step, "before the cut"}, {200 * step, ""}}));
}

TEST_F(ReviewWindowTest, KeepsTheMarkersOfAFile)
{
    StartCoded();
    SetMarker(49, "kept");
    window.reset();
    StartNumbered(path);
    EXPECT_EQ(GetReview().GetMarkers().GetAll(), (QVector<Marker>{{49 * step, "kept"}}));
    window->Open({DemoMovie::Make(pictures)});
    EXPECT_TRUE(Eventually([&] { return GetReview().GetMarkers().IsEmpty(); }));
    EXPECT_TRUE(Shows(0));
    EXPECT_TRUE(GetReview().GetMarkers().IsEmpty());
}

TEST_F(ReviewWindowTest, ListsMarkersAndRange)
{
    StartCoded();
    SetMarker(137, "a note");
    SetRange(60, 69);
    Press(Qt::Key_M, Qt::ControlModifier);
    auto* panel = Child<ReviewPanel>();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->GetLines(), Lines({"0:00:05.480 01:00:15:12 #137 a note"}));
    EXPECT_EQ(panel->GetRangeLines(), Lines({"In  0:00:02.400  01:00:12:10  #60", "Out  0:00:02.760  01:00:12:19  #69",
                                             "Length  0:00:00.400  00:00:00:10  10 pictures"}));
    auto* list = panel->findChild<QTreeWidget*>();
    QPoint const first = list->visualItemRect(list->topLevelItem(0)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, first);
    EXPECT_TRUE(Eventually([&] { return RecordNumber() == 137; }));
    emit list->itemDoubleClicked(list->topLevelItem(0), 0);
    auto* editor = list->findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "another");
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_TRUE(Eventually([&] { return GetReview().GetMarkers().GetAll()[0].note == "another"; }));
    Press(Qt::Key_X);
    EXPECT_TRUE(Eventually([&] {
        return panel->GetRangeLines() == Lines({"All  0:00:10.000  00:00:10:00  250 pictures"});
    })) << qPrintable(panel->GetRangeLines().join('|'));
}

TEST_F(ReviewWindowTest, PaintsMarkersOnTheTimeline)
{
    StartCoded();
    auto* timeline = Child<Timeline>();
    int const x = timeline->XAt(137 * step);
    QColor const before = timeline->grab().toImage().pixelColor(x, timeline->height() / 2);
    SetMarker(137, "here");
    SeekTo(0);
    QImage const image = timeline->grab().toImage();
    EXPECT_NE(image.pixelColor(x, timeline->height() / 2), before);
    EXPECT_EQ(image.pixelColor(x, timeline->height() / 2), QColor(208, 120, 208));
    EXPECT_NE(image.pixelColor(x + 20, timeline->height() / 2), QColor(208, 120, 208));
}

TEST_F(ReviewWindowTest, CopiesWhatItReads)
{
    StartCoded();
    SeekTo(137);
    for (char const* text : {"0:00:05.480", "01:00:15:12", "#137"}) {
        Press(Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
        EXPECT_EQ(QApplication::clipboard()->text(), text);
        EXPECT_EQ(Note(), QString("Copied %1").arg(text));
        Press(Qt::Key_T);
    }
}

TEST_F(ReviewWindowTest, ExportsMarkersAndRangeAndTakesThemBack)
{
    StartCoded();
    SetMarker(137, "says \"no\", twice");
    SetRange(60, 69);
    GetReview().Export(home.filePath("list.csv"));
    GetReview().Export(home.filePath("list.json"));
    EXPECT_EQ(BytesOf(home.filePath("list.csv")).toStdString(),
              "kind,time,number,timecode,note\r\nin,2.400000,60,01:00:12:10,\r\nout,2.760000,69,01:00:12:19,\r\n"
              "marker,5.480000,137,01:00:15:12,\"says \"\"no\"\", twice\"\r\n");
    SeekTo(137);
    for (char const* name : {"list.csv", "list.json"}) {
        Press(Qt::Key_B, Qt::ShiftModifier);
        Press(Qt::Key_X);
        ASSERT_TRUE(GetReview().GetMarkers().IsEmpty());
        Drop({home.filePath(name)});
        EXPECT_EQ(GetReview().GetMarkers().GetAll(), (QVector<Marker>{{137 * step, "says \"no\", twice"}})) << name;
        EXPECT_EQ(window->GetTransport().GetIn(), 60 * step);
        EXPECT_EQ(window->GetTransport().GetOut(), 70 * step);
        EXPECT_EQ(Note(), "3 entries read.");
    }
    EXPECT_TRUE(Shows(137)); // the dropped file was not opened
}

TEST_F(ReviewWindowTest, LeavesOutMarkersOutsideTheFile)
{
    StartCoded();
    GetReview().Import(Written("list.csv", "time,number,timecode,note\n10.0,,,past\n-1,,,early\n,250,,\n,249,,last\n"
                                           ",,01:00:10:01,second\n,,00:00:00:00,\n4.999999,,,inside 124\n,,x,\n"));
    EXPECT_EQ(GetReview().GetMarkers().GetAll(),
              (QVector<Marker>{{1 * step, "second"}, {124 * step, "inside 124"}, {249 * step, "last"}}));
    EXPECT_EQ(Note(), "3 entries read, 5 outside this file left out.");
}

TEST_F(ReviewWindowTest, ChangesNothingForAFileWithoutMarkers)
{
    StartCoded();
    SetMarker(3, "mine");
    SetRange(60, 69);
    GetReview().Import(Written("other.json", "{\"markers\": 7}"));
    EXPECT_EQ(Note(), "other.json holds no markers: it has no list \"markers\".");
    GetReview().Import(Written("other.csv", QByteArray(100000, '"')));
    GetReview().Import(Written("range.json", "{\"in\":{\"number\":9},\"out\":{\"number\":3},\"markers\":[],"
                                             "\"file\":\"else.mov\"}"));
    EXPECT_EQ(window->GetTransport().GetIn(), 60 * step); // the end would come before the start
    EXPECT_EQ(window->GetTransport().GetOut(), 70 * step);
    EXPECT_EQ(GetReview().GetMarkers().GetAll(), (QVector<Marker>{{3 * step, "mine"}}));
    EXPECT_TRUE(Note().endsWith("made for else.mov.")) << qPrintable(Note());
}

TEST_F(ReviewWindowTest, SavesTheRangeAsPicturesWithTheirNumbers)
{
    StartCoded();
    SetRange(48, 52);
    GetReview().SaveRange(home.filePath("shot.png"));
    ASSERT_TRUE(Eventually([&] { return Note().startsWith("Saved"); })) << qPrintable(Note());
    EXPECT_EQ(QDir(home.path()).entryList({"shot*"}),
              Lines({"shot-000048.png", "shot-000049.png", "shot-000050.png", "shot-000051.png", "shot-000052.png"}));
    for (int number = 48; number <= 52; ++number) {
        QImage const image(home.filePath(QString("shot-%1.png").arg(number, 6, 10, QChar('0'))));
        EXPECT_EQ(ReadSquares(image, QPoint(16, 16), 32, 0), number);
    }
    QByteArray const first = BytesOf(home.filePath("shot-000048.png"));
    Press(Qt::Key_X);
    GetReview().SaveRange(home.filePath("shot.png"));
    ASSERT_TRUE(Eventually([&] { return Note().endsWith("exists already. Nothing was saved."); }));
    EXPECT_EQ(QDir(home.path()).entryList({"shot*"}).size(), 5);
    EXPECT_EQ(BytesOf(home.filePath("shot-000048.png")), first);
}

TEST_F(ReviewWindowTest, TellsTheNumbersOfTheFilesThatItSavedOfASequence)
{
    QString const folder = home.filePath("row");
    ASSERT_TRUE(QDir().mkpath(folder));
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(DemoMovie::Picture(i).save(QString("%1/shot.%2.png").arg(folder).arg(1001 + i)));
    Start({folder});
    ASSERT_TRUE(Shows(0));
    ASSERT_TRUE(Eventually([&] { return Labels().contains("#1001 / 1003"); })) << qPrintable(Labels().join('|'));
    GetReview().SaveRange(home.filePath("kept.png"));
    QString const expected = QString("Saved %1 to kept-001003.png").arg(home.filePath("kept-001001.png"));
    EXPECT_TRUE(Eventually([&] { return Child<ControlBar>()->GetNote() == expected; }))
        << qPrintable(Child<ControlBar>()->GetNote());
    EXPECT_TRUE(QFile::exists(home.filePath("kept-001003.png")));
}

TEST_F(ReviewWindowTest, SavesTheRangeAsSound)
{
    StartCoded();
    SetRange(25, 49);
    GetReview().SaveRange(home.filePath("shot.wav"));
    ASSERT_TRUE(Eventually([&] { return Note().startsWith("Saved"); })) << qPrintable(Note());
    QByteArray const saved = BytesOf(home.filePath("shot.wav"));
    ASSERT_EQ(saved.size(), 44 + 48000 * 4); // a second of stereo
    QProcess ffmpeg;                         // the same second as FFmpeg decodes it
    ffmpeg.start("ffmpeg", {"-v", "error", "-i", path, "-af", "atrim=start=1:end=2", "-f", "s16le", "-"});
    ASSERT_TRUE(ffmpeg.waitForFinished(60000));
    QByteArray const model = ffmpeg.readAllStandardOutput();
    ASSERT_EQ(model.size(), saved.size() - 44);
    int largest = 0;
    for (int i = 0; i < 96000; ++i) {
        short values[2];
        std::memcpy(&values[0], saved.constData() + 44 + 2 * i, 2);
        std::memcpy(&values[1], model.constData() + 2 * i, 2);
        largest = std::max(largest, std::abs(values[0] - values[1]));
    }
    EXPECT_LE(largest, 1); // roundings differ
}

TEST_F(ReviewWindowTest, StopsSavingAtEsc)
{
    StartCoded();
    GetReview().SaveRange(home.filePath("all.png"));
    ASSERT_TRUE(Eventually([&] { return !QDir(home.path()).entryList({"all*"}).isEmpty(); }));
    EXPECT_TRUE(Eventually([&] { return Note().startsWith("Saving pictures: "); }));
    Press(Qt::Key_Escape);
    EXPECT_TRUE(Eventually([&] { return Note().startsWith("Cancelled."); })) << qPrintable(Note());
    EXPECT_LT(QDir(home.path()).entryList({"all*"}).size(), pictures);
}

TEST_F(ReviewWindowTest, AsksWhereToSaveTheRange)
{
    StartCoded();
    SetRange(3, 4);
    Press(Qt::Key_S, Qt::ControlModifier);
    auto* dialog = Child<QFileDialog>();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->acceptMode(), QFileDialog::AcceptSave);
    dialog->selectFile(home.filePath("asked.png"));
    QMetaObject::invokeMethod(dialog, "accept");
    EXPECT_TRUE(Eventually([&] { return QFileInfo::exists(home.filePath("asked-000004.png")); }));
}

TEST_F(ReviewWindowTest, DoesNothingWhenNothingIsOpen)
{
    Start({});
    for (Qt::Key const key : {Qt::Key_T, Qt::Key_G, Qt::Key_B})
        Press(key);
    for (Qt::Key const key : {Qt::Key_G, Qt::Key_Left, Qt::Key_Right, Qt::Key_M, Qt::Key_E, Qt::Key_S})
        Press(key, Qt::ControlModifier);
    Press(Qt::Key_B, Qt::ShiftModifier);
    Press(Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
    GetReview().Import(Written("list.csv", "time\n1\n"));
    EXPECT_EQ(Note(), "Markers belong to a file: open that first.");
    EXPECT_FALSE(Child<EntryField>()->IsOpen());
    EXPECT_EQ(Child<QFileDialog>(), nullptr);
}
