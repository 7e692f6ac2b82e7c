#pragma once

#include <QString>
#include <QVector>

#include <optional>

// A moment with a note, in microseconds of media time.
struct Marker
{
    long long time = 0;
    QString note; // one line, may be empty

    friend bool operator==(Marker const& left, Marker const& right)
    {
        return left.time == right.time && left.note == right.note;
    }
};

// The markers of one file in the order of their times, each time once. Bounded, whatever a file of markers holds. A
// value.
class Markers
{
public:
    static constexpr int mostMarkers = 10000;
    static constexpr int longestNote = 1000; // characters; longer ones are cut

    bool Set(long long time, QString const& note); // a new one, or another note; false when there are too many
    bool RemoveIn(long long from, long long to);   // the first one in [from, to); false when there is none

    std::optional<Marker> FindIn(long long from, long long to) const; // the first one in [from, to)
    std::optional<Marker> Before(long long time) const;
    std::optional<Marker> From(long long time) const; // the first one at `time` or later

    QVector<Marker> const& GetAll() const { return markers; }
    bool IsEmpty() const { return markers.isEmpty(); }

private:
    int PlaceOf(long long time) const;

    QVector<Marker> markers;
};
