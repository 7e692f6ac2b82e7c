#pragma once

#include "tests/tools/ToolRun.h"

#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// With a folder of its own for what a command writes.
class FolderTest : public testing::Test
{
protected:
    QString PathOf(QString const& name) const { return folder.filePath(name); }

    // Runs a command that writes the file of that name.
    ToolRun Write(QString const& command, QStringList const& arguments, QString const& name = "a.png") const
    {
        return RunTavolin(QStringList{command, "-o", PathOf(name)} + arguments);
    }

    QTemporaryDir folder;
};
