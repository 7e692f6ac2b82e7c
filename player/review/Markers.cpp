#include "player/review/Markers.h"

#include <algorithm>

int Markers::PlaceOf(long long time) const
{
    auto const place = std::lower_bound(markers.begin(), markers.end(), time,
                                        [](Marker const& marker, long long at) { return marker.time < at; });
    return static_cast<int>(place - markers.begin());
}

bool Markers::Set(long long time, QString const& note)
{
    QString const line = note.simplified().left(longestNote);
    int const place = PlaceOf(time);
    if (place < markers.size() && markers[place].time == time) {
        markers[place].note = line;
        return true;
    }
    if (markers.size() >= mostMarkers)
        return false;
    markers.insert(place, {time, line});
    return true;
}

bool Markers::RemoveIn(long long from, long long to)
{
    int const place = PlaceOf(from);
    bool const isThere = place < markers.size() && markers[place].time < to;
    if (isThere)
        markers.removeAt(place);
    return isThere;
}

std::optional<Marker> Markers::FindIn(long long from, long long to) const
{
    auto const found = From(from);
    return found && found->time < to ? found : std::nullopt;
}

std::optional<Marker> Markers::Before(long long time) const
{
    int const place = PlaceOf(time);
    return place > 0 ? std::optional<Marker>(markers[place - 1]) : std::nullopt;
}

std::optional<Marker> Markers::From(long long time) const
{
    int const place = PlaceOf(time);
    return place < markers.size() ? std::optional<Marker>(markers[place]) : std::nullopt;
}
