#include "source/ImageSequence.h"
#include "media/AvGlobals.h"
#include "source/ImageFormat.h"
#include "source/SourceOptions.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class ImageSequenceTest : public testing::Test
{
protected:
    void Write(QString const& pattern, std::vector<long long> const& numbers)
    {
        Clips::WriteNumberedPictures(folder.path(), pattern, numbers);
    }

    ImageSequence Find(QString const& name, SequenceHoles holes = SequenceHoles::Hold)
    {
        return ImageSequence::Find(name.isEmpty() ? folder.path() : folder.filePath(name), holes, error);
    }

    QStringList Names(ImageSequence const& sequence) const
    {
        QStringList names;
        for (long long i = 0; i < sequence.GetCount(); ++i)
            names << QFileInfo(sequence.GetFile(i)).fileName();
        return names;
    }

    QTemporaryDir folder;
    QString error;
};

TEST_F(ImageSequenceTest, APatternOfDigitsFindsItsRow)
{
    Write("a.%04d.ppm", {1, 2, 3});
    Write("b.%04d.ppm", {4});
    EXPECT_EQ(Names(Find("a.%04d.ppm")), (QStringList{"a.0001.ppm", "a.0002.ppm", "a.0003.ppm"}));
    EXPECT_EQ(Names(Find("a.####.ppm")), (QStringList{"a.0001.ppm", "a.0002.ppm", "a.0003.ppm"}));
}

// "123" begins with "12" and ends with "23", and yet there is nothing in between; "4 " is no number.
TEST_F(ImageSequenceTest, WhatStandsAroundTheNumberDoesNotOverlap)
{
    Write("12%d23", {5});
    Write("12%d", {3});
    Write("12%d 23", {4});
    EXPECT_EQ(Names(Find("12%d23")), QStringList{"12523"});
}

TEST_F(ImageSequenceTest, NumbersOutgrowTheirZeros)
{
    Write("a.%03d.ppm", {998, 999, 1000, 1001});
    QStringList const row = {"a.998.ppm", "a.999.ppm", "a.1000.ppm", "a.1001.ppm"};
    EXPECT_EQ(Names(Find("a.%03d.ppm")), row);
    EXPECT_EQ(Names(Find("a.###.ppm")), row);
    EXPECT_EQ(Names(Find("a.998.ppm")), row);
    EXPECT_EQ(Names(Find("a.1001.ppm")), row);
}

TEST_F(ImageSequenceTest, NumbersOfAnotherWidthAreAnotherRow)
{
    Write("a.%04d.ppm", {1, 2});
    Write("a.%02d.ppm", {1, 2, 3});
    EXPECT_EQ(Names(Find("a.%04d.ppm")), (QStringList{"a.0001.ppm", "a.0002.ppm"}));
    EXPECT_EQ(Names(Find("a.02.ppm")), (QStringList{"a.01.ppm", "a.02.ppm", "a.03.ppm"}));
}

TEST_F(ImageSequenceTest, NumbersWithoutZerosAreOneRow)
{
    Write("a%d.ppm", {8, 9, 10, 11});
    EXPECT_EQ(Names(Find("a9.ppm")), (QStringList{"a8.ppm", "a9.ppm", "a10.ppm", "a11.ppm"}));
    EXPECT_EQ(Names(Find("a%d.ppm")), (QStringList{"a8.ppm", "a9.ppm", "a10.ppm", "a11.ppm"}));
}

TEST_F(ImageSequenceTest, TheLastNumberOfANameCounts)
{
    Write("take2_v01.%02d.ppm", {5, 6});
    EXPECT_EQ(Names(Find("take2_v01.05.ppm")), (QStringList{"take2_v01.05.ppm", "take2_v01.06.ppm"}));
}

TEST_F(ImageSequenceTest, AFolderStandsForItsLongestRow)
{
    Write("a.%04d.ppm", {1, 2});
    Write("b.%04d.ppm", {1, 2, 3});
    QFile text(folder.filePath("notes1.txt"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    EXPECT_TRUE(ImageSequence::IsPattern(folder.path()));
    EXPECT_EQ(Names(Find("")), (QStringList{"b.0001.ppm", "b.0002.ppm", "b.0003.ppm"}));
}

TEST_F(ImageSequenceTest, AHoleHasNoFile)
{
    Write("a.%04d.ppm", {1, 4});
    ImageSequence const sequence = Find("a.####.ppm");
    EXPECT_EQ(sequence.GetCount(), 4);
    EXPECT_EQ(sequence.GetFile(1), QString());
    EXPECT_EQ(sequence.GetIndexAfter(0), 3);
    EXPECT_EQ(sequence.GetIndexUpTo(2), 0);
    EXPECT_EQ(sequence.GetIndexAfter(3), 4);
}

TEST_F(ImageSequenceTest, AHoleIsRefusedByItsNumber)
{
    Write("a.%04d.ppm", {1, 2, 4});
    EXPECT_TRUE(Find("a.####.ppm", SequenceHoles::Refuse).IsEmpty());
    EXPECT_TRUE(error.startsWith("Picture 3 of the sequence ")) << error.toStdString();
    EXPECT_FALSE(Find("a.####.ppm", SequenceHoles::Black).IsEmpty());
}

TEST_F(ImageSequenceTest, NothingFoundIsAnError)
{
    EXPECT_TRUE(Find("a.####.ppm").IsEmpty());
    EXPECT_TRUE(error.startsWith("No numbered image was found"));
    EXPECT_TRUE(Find("missing.0001.ppm").IsEmpty());
}

TEST_F(ImageSequenceTest, APatternNamesItsFiles)
{
    Write("a.%04d.ppm", {1, 2});
    Write("b%d.ppm", {8, 9, 10});
    Write("50%% %d.ppm", {1, 2});
    EXPECT_EQ(Find("a.0002.ppm").GetPattern(), "a.%04d.ppm");
    EXPECT_EQ(Find("b10.ppm").GetPattern(), "b%d.ppm");
    EXPECT_EQ(Find("a.####.ppm").GetPattern(), "a.####.ppm");
    EXPECT_EQ(Find("").GetPattern(), "b%d.ppm");
    EXPECT_EQ(Find("50% 1.ppm").GetCount(), 2);
    EXPECT_EQ(Find("50% 1.ppm").GetPattern(), QString()); // no pattern has a per cent sign of its own
    EXPECT_EQ(ImageSequence::FromFile(folder.filePath("b8.ppm")).GetPattern(), QString());
}

// 2 files have numbers up to 1999 apart.
TEST_F(ImageSequenceTest, FilesWithNumbersFarApartAreNoSequence)
{
    Write("a%d.ppm", {1, 2000});
    EXPECT_EQ(Find("a1.ppm").GetCount(), 2000);
    Write("b%d.ppm", {1, 2001});
    EXPECT_EQ(Names(Find("b2001.ppm")), QStringList{"b2001.ppm"});
    EXPECT_TRUE(Find("b%d.ppm").IsEmpty());
    EXPECT_TRUE(error.endsWith("lie too far apart for a sequence.")) << error.toStdString();
}

TEST_F(ImageSequenceTest, NamesMayHoldLineBreaks)
{
    Write("a\nb%d\n.ppm", {1, 2});
    EXPECT_EQ(Find("a\nb2\n.ppm").GetCount(), 2);
    EXPECT_EQ(Find("a\nb%d\n.ppm").GetCount(), 2);
    EXPECT_TRUE(Find("a\nb%d\n.ppm\n").IsEmpty());
}

TEST_F(ImageSequenceTest, FormatsAreToldByTheirFirstBytes)
{
    Write("a%d.txt", {1});
    EXPECT_EQ(ImageFormatOf(folder.filePath("a1.txt")), QString("ppm"));
    EXPECT_EQ(ImageFormatOf(folder.path()), QString());
    EXPECT_EQ(ImageFormatOf(folder.filePath("none")), QString());
    EXPECT_EQ(ImageFormatOf(Clips::Made("xvid.avi")), QString());
}

// Folders and sequences go by the first bytes, a single file by FFmpeg's demultiplexer and the lists of names.
TEST_F(ImageSequenceTest, FormatsToldByTheirFirstBytesAreThoseOfStills)
{
    QList<QPair<QString, QByteArray>> const heads = {
        {"png", QByteArray::fromHex("89504e470d0a1a0a0000")},
        {"jpegls", QByteArray::fromHex("ffd8fff7000b0800")},
        {"mjpeg", QByteArray::fromHex("ffd8ffe000104a46")},
        {"dpx", "SDPX"},
        {"exr", QByteArray::fromHex("762f310102000000")},
        {"tiff", QByteArray::fromHex("49492a0008000000")},
        {"bmp", "BM6"},
        {"webp", "RIFF....WEBPVP8 "},
        {"jpeg2000", QByteArray::fromHex("ff4fff51002f0000")},
        {"jpegxl", QByteArray::fromHex("ff0a7c07")},
        {"jpegxl", QByteArray::fromHex("0000000c4a584c200d0a870a00")},
        {"psd", "8BPS"},
        {"sgi", QByteArray::fromHex("01da01010003")},
        {"dds", "DDS |"},
        {"qoi", "qoif...."},
        {"hdr", "#?RADIANCE\n"},
        {"pbm", "P4\n8 8\n"},
        {"pgm", "P5\n8 8\n"},
        {"ppm", "P6\n8 8\n"},
        {"pam", "P7\nWIDTH 8\n"},
        {"pfm", "PF\n8 8\n"},
        {"pcx", QByteArray::fromHex("0a05010800000000")},
    };
    for (auto const& [format, head] : heads) {
        EXPECT_EQ(ImageFormatOf(WriteMedia("head", head)), format);
        EXPECT_TRUE(AvGlobals::IsImageFormat(format) || SourceOptions().furtherImageFormats.contains(format))
            << format.toStdString();
    }
    for (char const* text : {"PF Changs", "P7", "Pfennig", "qoi"})
        EXPECT_EQ(ImageFormatOf(WriteMedia("text", text)), QString()) << text;
}

} // namespace
