#pragma once

#include <QString>

// How the player calls a picture.
enum class Reading { Time, Timecode, Number };
inline constexpr Reading readings[] = {Reading::Time, Reading::Timecode, Reading::Number};

// For the user and the settings.
inline QString NameOf(Reading reading)
{
    return reading == Reading::Number ? "number" : reading == Reading::Timecode ? "timecode" : "time";
}

inline Reading ReadingNamed(QString const& name)
{
    return name == "number" ? Reading::Number : name == "timecode" ? Reading::Timecode : Reading::Time;
}
