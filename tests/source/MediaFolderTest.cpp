#include "source/MediaFolder.h"
#include "tests/support/Clips.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

class MediaFolderTest : public testing::Test
{
protected:
    void Make(QString const& name)
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    }

    // With a star behind those of a row.
    QStringList Names() const
    {
        QStringList names;
        for (MediaFolder::Entry const& entry : MediaFolder::Read(folder.path()))
            names << QFileInfo(entry.path).fileName() + (entry.isSequence ? "*" : "");
        return names;
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(MediaFolderTest, ListsMoviesSoundAndPicturesInNaturalOrder)
{
    for (char const* name : {"b10.mov", "b9.mov", "B1.mkv", "a.wav", "read.me", "clip", "b009a.mov"})
        Make(name);
    Clips::WriteNumberedPictures(folder.path(), "picture", {1}); // told by its bytes
    EXPECT_EQ(Names(), QStringList({"a.wav", "B1.mkv", "b9.mov", "b009a.mov", "b10.mov", "picture"}));
}

TEST_F(MediaFolderTest, ListsARowOfPicturesOnce)
{
    Clips::WriteNumberedPictures(folder.path(), "s.%04d.ppm", {8, 9, 10, 12});
    Clips::WriteNumberedPictures(folder.path(), "t%d.ppm", {1});
    EXPECT_EQ(Names(), QStringList({"s.0008.ppm*", "t1.ppm"}));
}

TEST_F(MediaFolderTest, KnowsWhichNamesDifferByTheirNumberOnly)
{
    MediaFolder::Names const names(QStringList{"a1.png", "a02.png", "b1.png", "b1.jpg", "c.png", "d.png"});
    EXPECT_FALSE(names.IsAlone("a1.png"));
    EXPECT_FALSE(names.IsAlone("a02.png"));
    for (char const* name : {"b1.png", "b1.jpg", "c.png", "d.png"})
        EXPECT_TRUE(names.IsAlone(name)) << name;
}

TEST_F(MediaFolderTest, LeavesOutFoldersAndHiddenFiles)
{
    QDir(folder.path()).mkdir("inner.mov");
    Make(".x.mov");
    EXPECT_EQ(Names(), QStringList());
    EXPECT_TRUE(MediaFolder::Read(folder.filePath("missing")).isEmpty());
}

TEST(MediaFolderOrderTest, ComparesNumbersByTheirValueAndLettersWhateverTheirCase)
{
    QStringList names = {"x10", "x2", "X1", "x02", "y", "x", "x2a", "x99999999999999999999", "x1.b"};
    std::sort(names.begin(), names.end(), MediaFolder::ComesBefore);
    EXPECT_EQ(names, QStringList({"x", "X1", "x1.b", "x02", "x2", "x2a", "x10", "x99999999999999999999", "y"}));
}
