#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

// Writes bytes to a file in memory, in a folder that is removed with the process. The suffix matters because the probe
// also looks at the name; files of several suffixes may exist in the folder.
class FuzzFile
{
public:
    // The path; aborts when the file cannot be written.
    static QString Write(QString const& suffix, uint8_t const* data, size_t size)
    {
        static QTemporaryDir const folder(QStringLiteral("/dev/shm/tavolin-fuzz-XXXXXX"));
        QString const path = folder.filePath(QStringLiteral("input") + suffix);
        QFile file(path);
        auto const bytes = static_cast<qint64>(size);
        if (!file.open(QIODevice::WriteOnly) || file.write(reinterpret_cast<char const*>(data), bytes) != bytes) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            std::abort();
        }
        return path;
    }
};
