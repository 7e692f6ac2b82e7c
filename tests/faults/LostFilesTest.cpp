#include "tests/playback/VirtualTime.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Patience.h"
#include "tests/support/Sessions.h"

#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "playback/PlaybackEngine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <vector>

// Files that vanish, shrink or become unreadable after they were opened.

namespace {

// Larger than FFmpeg's read-ahead, so that the lost part is noticed.
QString LargeMovie(char const* name)
{
    return MakeMedia(name,
                     Picture("320x240", 25, 4) + Tone(48000, 2, 4) +
                         QStringList{"-c:v", "mpeg4", "-q:v", "1", "-g", "10", "-threads", "1", "-c:a", "pcm_s16le"});
}

// Stores no times, so that each seek reopens the file and reads it from its start.
QString RawMovie()
{
    return MakeMedia("large.264", Picture("320x240", 25, 4) + QStringList{"-c:v", "libx264", "-preset", "ultrafast",
                                                                          "-g", "10", "-threads", "1"});
}

enum class Loss { Vanishes, ShrinksToAThird, ShrinksToNothing, BecomesAFolder };

Loss const losses[] = {Loss::Vanishes, Loss::ShrinksToAThird, Loss::ShrinksToNothing, Loss::BecomesAFolder};

class LostFilesTest : public testing::Test
{
protected:
    QString Copy(QString const& original)
    {
        QString const path = folder.filePath("copy." + QFileInfo(original).suffix());
        QDir(path).removeRecursively();
        QFile::remove(path);
        EXPECT_TRUE(QFile::copy(original, path));
        return path;
    }

    static void Lose(QString const& path, Loss loss)
    {
        if (loss == Loss::ShrinksToAThird || loss == Loss::ShrinksToNothing) {
            EXPECT_TRUE(QFile::resize(path, loss == Loss::ShrinksToNothing ? 0 : QFileInfo(path).size() / 3));
            return;
        }
        EXPECT_TRUE(QFile::remove(path));
        if (loss == Loss::BecomesAFolder) {
            EXPECT_TRUE(QDir().mkpath(path));
        }
    }

    OutputChannels const channels{2};
    QTemporaryDir const folder;
};

} // namespace

TEST_F(LostFilesTest, ASessionComesToAnEndAndOpensTheFileThatIsBack)
{
    for (char const* name : {"large.mkv", "large.avi", "large.mov"}) {
        QString const original = LargeMovie(name);
        for (Loss const loss : losses) {
            SCOPED_TRACE(std::string(name) + ", loss " + std::to_string(static_cast<int>(loss)));
            QString const path = Copy(original);
            auto const info = Probed(path);
            MediaInstance instance;
            ASSERT_TRUE(instance.Initialize(info, 0));
            Sounds sounds;
            Pictures pictures;
            for (int i = 0; i < 10 && instance.HasPacket(); ++i)
                instance.DecodeOnePacket(sounds, pictures, -1);
            Lose(path, loss);
            {
                LogCapture const log; // of truncated pictures
                Decoded const rest = DecodeAll(instance);
                if (loss == Loss::ShrinksToNothing) {
                    EXPECT_LT(rest.pictures.size(), 20); // 6 from FFmpeg's read buffer; 99 if nothing were lost
                }
            }
            {
                LogCapture const log;
                instance.Seek(2000000);
                DecodeAll(instance, 2000000);
            }
            instance.CloseInput();
            LogCapture log;
            QFileInfo const lost(path);
            bool const opens = instance.HasPacket();
            if (loss == Loss::Vanishes) {
                EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("File not found: " + lost.absoluteFilePath())}));
            }
            EXPECT_TRUE(opens || !log.Take().empty());
            instance.CloseInput();
            Copy(original);
            log.Take();
            EXPECT_EQ(DecodeAll(instance).Starts().size(), 100U);
            EXPECT_TRUE(log.Lines().empty());
        }
    }
}

TEST_F(LostFilesTest, AnEngineKeepsItsFootingAndOpensTheFileThatIsBack)
{
    LogCapture const log;
    for (QString const& original : {LargeMovie("large.mkv"), RawMovie()}) {
        for (Loss const loss : losses) {
            SCOPED_TRACE(original.toStdString() + ", loss " + std::to_string(static_cast<int>(loss)));
            QString const path = Copy(original);
            auto const time = std::make_shared<VirtualTime>();
            PlaybackOptions options;
            options.cacheBudget = 8 * 320 * 240 * 3; // so small that pictures are decoded repeatedly
            PlaybackEngine engine(options, time);
            engine.Open(path);
            engine.Seek(2000000);
            ASSERT_TRUE(engine.WaitUntilReady(patience));
            Lose(path, loss);
            std::vector<short> block(4096);
            bool seeks = false; // the first round plays from the cache
            for (double const speed : {-1.0, 1.0, 2.0, -4.0}) {
                engine.SetSpeed(speed);
                if (seeks)
                    engine.Seek(2000000);
                seeks = true;
                for (int i = 0; i < 10; ++i) {
                    ASSERT_TRUE(engine.WaitUntilReady(patience));
                    engine.GetPicture();
                    engine.FillAudio(block.data(), 1920);
                    time->Advance(100000);
                }
            }
            Copy(original);
            engine.Open(path);
            engine.Seek(2010000);
            ASSERT_TRUE(engine.WaitUntilReady(patience));
            ASSERT_TRUE(engine.GetPicture());
            EXPECT_EQ(engine.GetPicture()->startTime, 2000000);
        }
    }
}

TEST_F(LostFilesTest, ASequenceShowsThePictureBeforeTheOneThatVanished)
{
    LogCapture const log;
    for (int number = 0; number < 10; ++number) {
        QFile file(folder.filePath(QString::asprintf("take.%03d.ppm", number)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("P6\n16 8\n255\n");
        file.write(QByteArray(16 * 8 * 3, static_cast<char>(number * 8)));
    }
    PlaybackOptions options;
    options.sequenceRate = 25.0;
    options.cacheBudget = 0; // four pictures
    PlaybackEngine engine(options, std::make_shared<VirtualTime>());
    engine.Open(folder.filePath("take.%03d.ppm"));
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    ASSERT_TRUE(QFile::remove(folder.filePath("take.007.ppm")));
    ASSERT_TRUE(QFile::resize(folder.filePath("take.008.ppm"), 3));
    engine.Seek(8 * 40000);
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    ASSERT_TRUE(engine.GetPicture());
    EXPECT_EQ(engine.GetPicture()->startTime, 6 * 40000);
    EXPECT_EQ(engine.GetPicture()->data[0], 48);
    EXPECT_TRUE(engine.GetStatus().error.contains("cannot be read as an image"));
}
