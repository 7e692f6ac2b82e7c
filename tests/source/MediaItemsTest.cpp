#include "source/MediaItems.h"
#include "tests/support/Clips.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using MediaItems::Half;
using MediaItems::Rows;

class MediaItemsTest : public testing::Test
{
protected:
    void Make(QString const& name) const
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    }

    void MakeRow(QString const& pattern, std::vector<long long> const& numbers) const
    {
        Clips::WriteNumberedPictures(folder.path(), pattern, numbers);
    }

    static QString Text(MediaItem const& item)
    {
        QString const name = QFileInfo(item.path).fileName();
        return item.isSequence ? QString("%1 from %2").arg(name).arg(item.startIndex) : name;
    }

    QStringList Items(QStringList const& names, Rows rows = Rows::Sequences) const
    {
        QStringList paths;
        for (QString const& name : names)
            paths << folder.filePath(name);
        QStringList texts;
        for (MediaItem const& item : MediaItems::Of(paths, rows))
            texts << Text(item);
        return texts;
    }

    // Or why there is none.
    QString OnlyOne(Half half, Rows rows = Rows::Sequences) const
    {
        QString error;
        auto const item = MediaItems::OnlyOne(folder.path(), half, rows, error);
        return item ? Text(*item) : error;
    }

    QString FolderName() const { return QFileInfo(folder.path()).fileName(); }

    QTemporaryDir folder;
};

} // namespace

TEST_F(MediaItemsTest, APictureStandsForItsSequenceFromThereOn)
{
    MakeRow("a%d.ppm", {3, 4, 6});
    MakeRow("b%d.ppm", {1});
    EXPECT_EQ(Items({"a6.ppm", "a3.ppm", "b1.ppm"}), QStringList({"a6.ppm from 3", "b1.ppm"}));
    EXPECT_EQ(Items({"a6.ppm", "a3.ppm"}, Rows::Stills), QStringList({"a6.ppm", "a3.ppm"}));
}

TEST_F(MediaItemsTest, APatternOfPicturesStaysOneAndOneOfMoviesIsEachOfThem)
{
    MakeRow("a%d.ppm", {3, 4});
    Make("take1.mov");
    Make("take2.mov");
    Make("t1.wav");
    EXPECT_EQ(Items({"a%d.ppm", "take%d.mov", "t#.wav", "none%d.png"}),
              QStringList({"a%d.ppm", "take1.mov", "take2.mov", "t1.wav", "none%d.png"}));
    EXPECT_EQ(Items({"a%d.ppm"}, Rows::Stills), QStringList({"a3.ppm", "a4.ppm"}));
}

// The format of the first file is not known, and yet it is no movie by its name.
TEST_F(MediaItemsTest, APatternWhoseFirstFileIsBrokenStaysOne)
{
    Make("a1.png");
    Make("a2.png");
    EXPECT_EQ(Items({"a%d.png"}), QStringList("a%d.png"));
}

TEST_F(MediaItemsTest, AFolderStandsForWhatLiesInIt)
{
    MakeRow("a%d.ppm", {3, 4});
    EXPECT_EQ(Items({""}), QStringList(FolderName()));
    EXPECT_EQ(Items({""}, Rows::Stills), QStringList({"a3.ppm", "a4.ppm"}));
    Make("take1.mov");
    EXPECT_EQ(Items({""}), QStringList({"a3.ppm from 0", "take1.mov"}));
    EXPECT_EQ(Items({""}, Rows::Stills), QStringList({"a3.ppm", "a4.ppm", "take1.mov"}));
}

TEST_F(MediaItemsTest, WhatIsNotThereStaysForWhoeverOpensIt)
{
    EXPECT_EQ(Items({"", "none.mov"}), QStringList({FolderName(), "none.mov"}));
    EXPECT_EQ(OnlyOne(Half::Sound), FolderName());
}

TEST_F(MediaItemsTest, TheOnlyOneIsWhatCanBeMeant)
{
    MakeRow("a%d.ppm", {3, 4});
    MakeRow("card.ppm", {1});
    Make("talk.wav");
    EXPECT_EQ(OnlyOne(Half::Pictures), "a3.ppm from 0");
    EXPECT_EQ(OnlyOne(Half::Sound), "talk.wav");
    Make("take.mov"); // has both, as far as its name tells
    EXPECT_EQ(OnlyOne(Half::Pictures), "stands for several files, name one of them: a%d.ppm, take.mov");
    EXPECT_EQ(OnlyOne(Half::Sound), "stands for several files, name one of them: take.mov, talk.wav");
    EXPECT_EQ(OnlyOne(Half::Pictures, Rows::Stills), "take.mov");
}

TEST_F(MediaItemsTest, AFolderOfStillsAloneIsListed)
{
    for (char const* name : {"a.ppm", "b.ppm", "c.ppm", "d.ppm", "e.ppm", "f.ppm"})
        MakeRow(name, {1});
    EXPECT_EQ(OnlyOne(Half::Pictures),
              "stands for several files, name one of them: a.ppm, b.ppm, c.ppm, d.ppm, e.ppm and 1 more");
}
