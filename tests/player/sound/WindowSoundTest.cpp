#include "tests/player/WindowTest.h"

#include "player/controls/ControlBar.h"
#include "player/controls/Overlays.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QtEndian>

#include <cmath>

// What the window does about sound, as a file that it writes in place of a device tells.

namespace {

constexpr int rate = DemoMovie::sampleRate;

class WindowSoundTest : public WindowTest
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        options.audio = "wav:" + home.filePath("heard.wav");
    }

    QString Note() { return Child<ControlBar>()->GetNote(); }

    void StartWithThreeSounds()
    {
        QString const movie = DemoMovie::MakeWithThreeSounds();
        ASSERT_FALSE(movie.isEmpty());
        options.paused = false;
        Start({movie});
        ASSERT_TRUE(Eventually([&] { return Status().position > 300000; }));
    }

    bool Hears(int tone)
    {
        return Eventually([&] {
            auto const tones = HeardTones();
            return !tones.empty() && tones.back() == tone;
        });
    }

    // What the left channel has had so far: the tones one after the other, each of at least 200 ms. Leaves out silence,
    // as before play and while a device is opened.
    std::vector<int> HeardTones()
    {
        QFile file(home.filePath("heard.wav"));
        if (!file.open(QIODevice::ReadOnly))
            return {}; // no device was opened yet
        QByteArray const bytes = file.readAll().mid(44);
        constexpr int window = rate / 20;
        std::vector<int> tones;
        int run = 0;
        int last = -1;
        for (int frame = 0; (frame + window) * 4 <= bytes.size(); frame += window) {
            int const tone = ToneAt(bytes, frame, window);
            run = tone == last ? run + 1 : 1;
            last = tone;
            if (run == 4 && tone != 0 && (tones.empty() || tones.back() != tone))
                tones.push_back(tone);
        }
        return tones;
    }

private:
    static int ToneAt(QByteArray const& bytes, int first, int frames)
    {
        int crossings = 0;
        int loudest = 0;
        qint16 last = 0;
        for (int i = 0; i < frames; ++i) {
            auto const sample = qFromLittleEndian<qint16>(bytes.constData() + 4 * (first + i));
            crossings += last < 0 && sample >= 0 ? 1 : 0;
            loudest = std::max(loudest, std::abs(static_cast<int>(sample)));
            last = sample;
        }
        int const frequency = crossings * rate / frames;
        return loudest < 500 ? 0 : (frequency + 50) / 100 * 100;
    }
};

} // namespace

TEST_F(WindowSoundTest, AKeyPlaysTheNextStreamOfSoundFromWherePlayIs)
{
    StartWithThreeSounds();
    EXPECT_TRUE(Hears(1000));
    Press(Qt::Key_A);
    EXPECT_EQ(Note(), "Sound 2 of 3: ger, Kommentar, flac, stereo");
    EXPECT_TRUE(Eventually([&] { return Status().soundStream == 1; }));
    EXPECT_TRUE(Hears(700));
    Press(Qt::Key_A);
    EXPECT_EQ(Note(), "Sound 3 of 3: flac, mono");
    EXPECT_TRUE(Eventually([&] { return Status().soundStream == 2 && Status().channels == 1; }));
    EXPECT_TRUE(Hears(300));
    Press(Qt::Key_A);
    EXPECT_TRUE(Eventually([&] { return Status().soundStream == 0; }));
    EXPECT_TRUE(Hears(1000));
    EXPECT_EQ(Status().state, PlaybackState::Playing);
    EXPECT_EQ(Status().speed, 1.0);
    window.reset();
    EXPECT_EQ(HeardTones(), (std::vector<int>{1000, 700, 300, 1000}));
}

TEST_F(WindowSoundTest, TheCommandLineChoosesTheStreamOfSound)
{
    options.soundStream = 1;
    StartWithThreeSounds();
    EXPECT_TRUE(Eventually([&] { return Status().soundStream == 1; }));
    EXPECT_TRUE(Hears(700));
    EXPECT_EQ(HeardTones(), std::vector<int>{700});
}

TEST_F(WindowSoundTest, TheMenuListsTheStreamsOfSound)
{
    StartWithThreeSounds();
    QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(50, 50), window->mapToGlobal(QPoint(50, 50)));
    QApplication::sendEvent(window.get(), &event);
    QMenu* sounds = nullptr;
    for (QMenu* menu : window->findChildren<QMenu*>())
        sounds = menu->title() == "Sound" ? menu : sounds;
    ASSERT_TRUE(sounds);
    ASSERT_EQ(sounds->actions().size(), 3);
    EXPECT_EQ(sounds->actions()[1]->text(), "2 of 3: ger, Kommentar, flac, stereo");
    EXPECT_TRUE(sounds->actions()[0]->isChecked());
    sounds->actions()[2]->trigger();
    EXPECT_TRUE(Eventually([&] { return Status().soundStream == 2; }));
}

TEST_F(WindowSoundTest, AFileWithOneSoundHasNoOther)
{
    StartDemo();
    ASSERT_TRUE(Eventually([&] { return Status().soundStream == 0; }));
    Press(Qt::Key_A);
    EXPECT_EQ(Note(), "There is no other sound.");
    EXPECT_EQ(Status().soundStream, 0);
}

TEST_F(WindowSoundTest, AStepIsHeardUnlessThatIsSwitchedOff)
{
    StartDemo();
    auto const hasHeardSomething = [&] {
        QFile file(home.filePath("heard.wav"));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        QByteArray const bytes = file.readAll().mid(44);
        return bytes.count('\0') != bytes.size();
    };
    ASSERT_TRUE(Eventually([&] { return QFileInfo(home.filePath("heard.wav")).size() > 1000; }));
    Press(Qt::Key_V);
    EXPECT_EQ(Note(), "No sound while stepping and dragging");
    Press(Qt::Key_Period);
    ASSERT_TRUE(Shows(1));
    qint64 const size = QFileInfo(home.filePath("heard.wav")).size();
    ASSERT_TRUE(Eventually([&] { return QFileInfo(home.filePath("heard.wav")).size() > size + rate; }));
    EXPECT_FALSE(hasHeardSomething());
    Press(Qt::Key_V);
    EXPECT_EQ(Note(), "Sound while stepping and dragging");
    Press(Qt::Key_Comma);
    ASSERT_TRUE(Shows(0));
    EXPECT_TRUE(Eventually(hasHeardSomething));
    Press(Qt::Key_V);
    window.reset();
    EXPECT_FALSE(PlayerSettings::Load().scrubSound);
}

TEST_F(WindowSoundTest, TheStatisticsTellWhetherTheSoundIsInSync)
{
    options.paused = false;
    StartWithThreeSounds();
    Press(Qt::Key_Tab);
    EXPECT_TRUE(Eventually([&] { return Child<StatisticsOverlay>()->GetLines().contains("Sync: sound 0.0 ms"); }))
        << qPrintable(Child<StatisticsOverlay>()->GetLines().join('\n'));
    Press(Qt::Key_Space);
    EXPECT_TRUE(Eventually([&] { return Child<StatisticsOverlay>()->GetLines().contains("Sync: –"); }));
}
