#include "player/Playlist.h"

#include <QFile>
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

    QTemporaryDir folder;
};

} // namespace

TEST_F(PlaylistTest, TakesOnePictureForItsWholeRow)
{
    Playlist const list({Make("take.0007.PNG")});
    ASSERT_EQ(list.GetCount(), 1);
    EXPECT_TRUE(list.GetCurrent().isSequence);
}

TEST_F(PlaylistTest, TakesManyPicturesOfOneRowOnce)
{
    Playlist const list({Make("a_01.png"), Make("a_02.png"), Make("b_01.png"), Make("a_03.png")});
    EXPECT_EQ(list.GetCount(), 2);
}

TEST_F(PlaylistTest, KeepsMoviesAndFoldersApart)
{
    Playlist list({Make("clip1.mp4"), Make("clip2.mp4"), folder.path()});
    EXPECT_EQ(list.GetCount(), 3);
    EXPECT_FALSE(list.GetCurrent().isSequence);
    EXPECT_TRUE(list.Move(2));
    EXPECT_EQ(list.GetCurrent().path, folder.path());
    EXPECT_FALSE(list.GetCurrent().isSequence);
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
