#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtEndian>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

QString SourceText(QString const& name)
{
    return QString::fromUtf8(ReadMedia(QStringLiteral(TAVOLIN_SOURCE_DIR "/") + name));
}

// The lines between the two marks, moved left by their common indent.
QString QuotedPart(QString const& source)
{
    QStringList lines = source.section("    // [loop]\n", 1, 1).split('\n');
    for (QString& line : lines)
        line = line.startsWith("    ") ? line.mid(4) : line;
    return lines.join('\n');
}

} // namespace

TEST(ExamplesTest, TheReadmeQuotesTheLoopAsItIsCompiled)
{
    QString const loop = QuotedPart(SourceText("examples/loop.cpp"));
    ASSERT_TRUE(loop.contains("ParseMedia") && loop.contains("Show(*picture)")); // from the probe to the display
    EXPECT_TRUE(SourceText("README.md").contains("```cpp\n" + loop + "```\n"));
}

#ifdef TAVOLIN_EXAMPLES

namespace {

ToolRun RunExample(QString const& name, QStringList const& arguments)
{
    return RunProgram(QStringLiteral(TAVOLIN_EXAMPLES "/example-") + name, arguments);
}

// Rows of 3 x 98 bytes are two short of a multiple of 4. Groups are open and nine pictures long.
QString OpenGroups(QString const& suffix)
{
    return MakeMedia("open-groups." + suffix,
                     Picture("98x64", 25, 4.0) + QStringList{"-c:v", "libx264", "-g", "9", "-keyint_min", "9", "-bf",
                                                             "3", "-sc_threshold", "0", "-x264-params", "open-gop=1"});
}

// 8000 Hz and two channels, whose every frame tells its number: it, and its negative.
QByteArray Counting(std::vector<int> const& numbers)
{
    QByteArray bytes(static_cast<int>(4 * numbers.size()), '\0');
    char* place = bytes.data();
    for (int number : numbers) {
        qToLittleEndian(static_cast<qint16>(number), place);
        qToLittleEndian(static_cast<qint16>(-number), place + 2);
        place += 4;
    }
    return bytes;
}

std::vector<int> Numbers(int count)
{
    std::vector<int> numbers;
    for (int i = 0; i < count; ++i)
        numbers.push_back(i);
    return numbers;
}

// The samples that the example writes of `path`, behind a head of 44 bytes whose fields are those of the samples.
QByteArray RenderedSound(QString const& path, QString const& speed, int channels, int sampleRate)
{
    QTemporaryDir const folder;
    QString const wav = folder.filePath("out.wav");
    EXPECT_EQ(RunExample("sound", {path, speed, wav}).exitCode, 0);
    QByteArray const bytes = ReadMedia(wav);
    QByteArray const samples = bytes.mid(44);
    EXPECT_EQ(bytes.left(44), WavBytes(1, channels, sampleRate, 16, samples).left(44));
    return samples;
}

} // namespace

TEST(ExamplesTest, TheLoopShowsEveryPictureOnceInOrder)
{
    QString const path = Movie("movie.mov", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "pcm_s16le"});
    ToolRun const run = RunExample("loop", {path});
    EXPECT_EQ(run.exitCode, 0);
    QStringList expected;
    for (long long time = 0; time < 3960000; time += 40000)
        expected << QStringLiteral("%1 to %2 us: 96 x 64").arg(time).arg(time + 39999);
    EXPECT_EQ(run.Lines().mid(0, 99), expected);
    EXPECT_EQ(run.Lines().size(), 100);
    EXPECT_TRUE(run.Lines().last().startsWith("3960000 to 4"));
}

TEST(ExamplesTest, TheLoopEndsAtOnceWithoutPictures)
{
    ToolRun const run = RunExample("loop", {MakeMedia("tone.wav", Tone(8000, 1, 1.0))});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.output.isEmpty());
}

TEST(ExamplesTest, TheProbePrintsContainerStreamsAndTags)
{
    QString const path = MakeMedia(
        "titled.mkv", Picture("96x64", 25, 4.0) + Tone(8000, 2, 4.0) +
                          QStringList{"-c:v", "mpeg4", "-c:a", "pcm_s16le", "-metadata:s:v", "title=Green hill"});
    ToolRun const run = RunExample("probe", {path});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Lines().mid(0, 3),
              (QStringList{"titled.mkv", "  4.000 seconds",
                           "  video 0: mpeg4, 96 x 64, 25 pictures a second, 100 in all, the first at 0 us"}));
    EXPECT_TRUE(run.Lines().contains("    title: Green hill"));
    EXPECT_TRUE(run.Lines().contains("  sound 1: pcm_s16le, 2 channels at 8000 Hz"));
}

TEST(ExamplesTest, TheProbeFailsWithoutAFile)
{
    ToolRun const run = RunExample("probe", {"/no/such/file.mp4"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.Errors().contains("File not found: /no/such/file.mp4")) << run.Errors().toStdString();
}

TEST(ExamplesTest, TheReverseIsThePlainDecodeFromItsEnd)
{
    for (QString const suffix : {"mp4", "ts"}) {
        QString const path = OpenGroups(suffix);
        QTemporaryDir const folder;
        QString const raw = folder.filePath("out.rgb");
        ToolRun const run = RunExample("reverse", {path, "0.5", "3", raw});
        EXPECT_EQ(run.exitCode, 0);
        QByteArray const bytes = ReadMedia(raw);
        auto const plain = DecodePlainly(path);
        constexpr int pictureBytes = 3 * 98 * 64;
        ASSERT_EQ(bytes.size(), 62 * pictureBytes); // those at 0.52, 0.56... 2.96 s
        for (int i = 0; i < 62; ++i) {
            QByteArray const picture = bytes.mid(i * pictureBytes, pictureBytes);
            QByteArray const md5 = QCryptographicHash::hash(picture, QCryptographicHash::Md5).toHex();
            EXPECT_EQ(md5, plain[static_cast<size_t>(74 - i)].md5) << suffix.toStdString() << " " << i;
            EXPECT_EQ(run.Lines()[i], QStringLiteral("%1 us").arg(2960000 - i * 40000));
        }
    }
}

TEST(ExamplesTest, TheReverseBeginsAtTheLastPictureForALaterEnd)
{
    QTemporaryDir const folder;
    ToolRun const run = RunExample("reverse", {OpenGroups("mp4"), "3.9", "1000000000", folder.filePath("out.rgb")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.Lines(), (QStringList{"3960000 us", "3920000 us"}));
}

TEST(ExamplesTest, TheSoundAtSpeedOneIsThePlainDecode)
{
    QString const counting = WriteMedia("all.wav", WavBytes(1, 2, 8000, 16, Counting(Numbers(24000))));
    EXPECT_EQ(RenderedSound(counting, "1", 2, 8000), Counting(Numbers(24000)));

    QString const movie = Movie("lossless.mov", {"-c:v", "mpeg4", "-c:a", "alac"});
    QByteArray const plain =
        ReadMedia(MakeMedia("plain.raw", {"-i", movie, "-vn", "-c:a", "pcm_s16le", "-f", "s16le"}));
    EXPECT_EQ(plain.size(), 4 * 44100 * 4);
    EXPECT_TRUE(RenderedSound(movie, "1", 2, 44100) == plain);
}

TEST(ExamplesTest, TheSoundAtDoubleSpeedDropsEverySecondFrame)
{
    QString const counting = WriteMedia("all.wav", WavBytes(1, 2, 8000, 16, Counting(Numbers(24000))));
    std::vector<int> everySecond;
    for (int i = 0; i < 12000; ++i)
        everySecond.push_back(2 * i);
    EXPECT_EQ(RenderedSound(counting, "2", 2, 8000), Counting(everySecond));
}

// A repetition due at the end of a block comes with the next one; the last block of all has none.
TEST(ExamplesTest, TheSoundAtHalfSpeedRepeatsEveryFrame)
{
    QString const counting = WriteMedia("all.wav", WavBytes(1, 2, 8000, 16, Counting(Numbers(24000))));
    QByteArray const samples = RenderedSound(counting, "0.5", 2, 8000);
    ASSERT_EQ(samples.size(), 4 * 48000);
    for (int i = 0; i < 47999; ++i) {
        int const number = qFromLittleEndian<qint16>(samples.constData() + 4 * i);
        EXPECT_TRUE(number == (i + 1) / 2 || (i % 1024 == 0 && number == i / 2 + 1)) << i << ": " << number;
    }
}

#ifdef TAVOLIN_HAS_EXAMPLE_FRAME
TEST(ExamplesTest, TheFrameIsThatOfThePlainDecode)
{
    for (QString const suffix : {"mp4", "ts"}) {
        QString const path = OpenGroups(suffix);
        auto const plain = DecodePlainly(path);
        QTemporaryDir const folder;
        QString const png = folder.filePath("out.png");
        for (double const time : {0.0, 0.239, 0.24, 1.1, 1.12, 1.16, 2.0, 3.96, 100.0}) {
            ToolRun const run = RunExample("frame", {path, QString::number(time), png});
            auto const expected = ShowingAt(plain, std::llround(time * 1e6));
            EXPECT_EQ(run.Lines(), QStringList{QStringLiteral("%1 us: 98 x 64").arg(expected.time)});
            EXPECT_EQ(DecodePlainly(png).front().md5, expected.md5) << suffix.toStdString() << " " << time;
        }
    }
}
#endif

#ifdef TAVOLIN_HAS_EXAMPLE_PLAYER
TEST(ExamplesTest, ThePlayerShowsPicturesForwardsAndCloses)
{
    QString const path = MovingPicture("shown.mp4", {"-c:v", "libx264", "-bf", "3"});
    // What the toolkit keeps until the end is no leak of the example's.
    qputenv("LSAN_OPTIONS",
            "print_suppressions=0:suppressions=" TAVOLIN_SOURCE_DIR "/tests/player/leak-sanitizer.suppressions");
    ToolRun const run = RunExample("player", {path, "5", "-platform", "offscreen"});
    qunsetenv("LSAN_OPTIONS");
    EXPECT_EQ(run.exitCode, 0);
    ASSERT_EQ(run.Lines().size(), 5);
    long long last = -1;
    for (QString const& line : run.Lines()) {
        long long const time = line.section(' ', 0, 0).toLongLong();
        EXPECT_EQ(line, QStringLiteral("%1 us").arg(time / 40000 * 40000));
        EXPECT_GT(time, last);
        last = time;
    }
    EXPECT_LT(last, 4000000); // the length of the movie
}
#endif

#endif
