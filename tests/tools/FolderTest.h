#pragma once

#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// With a folder of its own for what a command writes.
class FolderTest : public testing::Test
{
protected:
    QString PathOf(QString const& name) const { return folder.filePath(name); }

    QTemporaryDir folder;
};
