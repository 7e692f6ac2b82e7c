#pragma once

#include <QString>

// A file name with a place for the number or the time of a picture:
//
//     shot-%04d.png   the number, filled with zeros to four digits; shot-####.png is the same
//     shot-%t.png     the time: shot-00-00-12.500000.png
//
// "%%" is a percent sign. Only the last component of a path is looked at.
class NamePattern
{
public:
    explicit NamePattern(QString const& path);

    bool HasPlace() const { return HasNumber() || hasTime; }
    bool HasNumber() const { return hasNumber; }

    QString NameFor(long long number, long long time) const; // `time`: microseconds, not negative

private:
    QString path;
    bool hasNumber = false;
    bool hasTime = false;
};
