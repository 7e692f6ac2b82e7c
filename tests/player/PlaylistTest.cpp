#include "player/Playlist.h"
#include "tests/support/Clips.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class PlaylistTest : public ::testing::Test
{
protected:
    QString Make(QString const& name)
    {
        QFile file(folder.filePath(name));
        file.open(QIODevice::WriteOnly);
        return file.fileName();
    }

    // Real pictures, as they are told by their first bytes.
    void MakeRow(QString const& pattern, std::vector<long long> const& numbers)
    {
        Clips::WriteNumberedPictures(folder.path(), pattern, numbers);
    }

    // With a star behind those that stand for a sequence, but for the first.
    static QStringList Names(Playlist list)
    {
        QStringList names = {QFileInfo(list.GetCurrent().path).fileName()};
        while (list.Move(1))
            names << QFileInfo(list.GetCurrent().path).fileName() + (list.GetCurrent().isSequence ? "*" : "");
        return names;
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(PlaylistTest, TakesOnePictureForItsWholeRowAndBeginsThere)
{
    MakeRow("shot.%04d.ppm", {1000, 1001, 1010, 1012});
    Playlist const list({folder.filePath("shot.1010.ppm")});
    ASSERT_EQ(list.GetCount(), 1);
    EXPECT_TRUE(list.GetCurrent().isSequence);
    EXPECT_EQ(list.GetCurrent().startIndex, 10);
}

TEST_F(PlaylistTest, TakesManyPicturesOfOneRowOnce)
{
    MakeRow("a_%02d.ppm", {1, 2, 3});
    MakeRow("b_%02d.ppm", {1, 2});
    Playlist const list({folder.filePath("a_02.ppm"), folder.filePath("a_01.ppm"), folder.filePath("b_01.ppm"),
                         folder.filePath("a_03.ppm")});
    EXPECT_EQ(Names(list), QStringList({"a_02.ppm", "b_01.ppm*"}));
}

TEST_F(PlaylistTest, TakesAPictureAloneForAStill)
{
    MakeRow("only%d.ppm", {7});
    MakeRow("cover.ppm", {1});
    Playlist list({folder.filePath("only7.ppm"), folder.filePath("cover.ppm")});
    EXPECT_EQ(list.GetCount(), 2);
    EXPECT_FALSE(list.GetCurrent().isSequence);
    EXPECT_TRUE(list.Move(1));
    EXPECT_FALSE(list.GetCurrent().isSequence);
}

TEST_F(PlaylistTest, KeepsMoviesApartWhateverTheirNumbers)
{
    Playlist const list({Make("clip1.mp4"), Make("clip2.mp4"), "take.%04d.png"});
    EXPECT_EQ(list.GetCount(), 3);
    EXPECT_FALSE(list.GetCurrent().isSequence);
}

// Numbers count by their value, and a row of pictures once.
TEST_F(PlaylistTest, ListsAFolder)
{
    for (char const* name : {"take10.mov", "take2.mov", "Intro.mp4", "notes.txt", ".hidden.mp4", "talk.WAV"})
        Make(name);
    MakeRow("shot.%04d.ppm", {1, 2, 3});
    MakeRow("card.ppm", {1});
    Playlist const list({folder.path(), folder.filePath("take2.mov")});
    EXPECT_EQ(Names(list), QStringList({"card.ppm", "Intro.mp4", "shot.0001.ppm*", "take2.mov", "take10.mov",
                                        "talk.WAV", "take2.mov"}));
}

TEST_F(PlaylistTest, LeavesAFolderOfOneSequenceAndAnEmptyOneToTheEngine)
{
    Playlist const empty({folder.path()});
    EXPECT_EQ(empty.GetCount(), 1);
    MakeRow("shot.%04d.ppm", {1, 2, 3});
    Make("notes.txt");
    Playlist const list({folder.path()});
    ASSERT_EQ(list.GetCount(), 1);
    EXPECT_EQ(list.GetCurrent().path, folder.path());
}

TEST_F(PlaylistTest, StaysWhereItIsAtItsEnds)
{
    Playlist list({"a.mp4", "b.mp4"});
    EXPECT_FALSE(list.Move(-1));
    EXPECT_TRUE(list.Move(1));
    EXPECT_FALSE(list.Move(1));
    EXPECT_EQ(list.GetIndex(), 1);
    EXPECT_TRUE(Playlist().IsEmpty());
    EXPECT_FALSE(Playlist().Move(0));
}
