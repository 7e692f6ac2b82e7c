#pragma once

#include <QStringList>

// The files opened last, the latest first, kept in the person's data folder from one run to the next.
class RecentFiles
{
public:
    static constexpr int maxCount = 10;

    QStringList Load() const;            // as long as they exist
    void Add(QString const& path) const; // made absolute; moves to the front

private:
    static QString FilePath();
};
