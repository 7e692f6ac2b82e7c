#include "tools/output/OutputFile.h"

#include <QFileInfo>
#include <QSaveFile>

bool OutputFile::Open(QSaveFile& file, QString& error)
{
    QFileInfo const existing(file.fileName());
    if (existing.exists() && !existing.isFile() && !existing.isDir()) {
        error = QStringLiteral("it is not a file but a device or a pipe");
        return false;
    }
    if (file.open(QIODevice::WriteOnly))
        return true;
    error = file.errorString();
    return false;
}
