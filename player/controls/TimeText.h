#pragma once

#include <QString>

#include <optional>

// Microseconds as people read and write them.
namespace TimeText {

// "0:00:12.480": hours, minutes, seconds, milliseconds, cut and not rounded; "-" in front below 0.
QString WithMilliseconds(long long time);

QString WithoutFraction(long long time); // "0:00:12"

// Seconds, minutes:seconds or hours:minutes:seconds, the last with a fraction if need be: "90", "1:30", "0:01:30.5".
// Nothing for any other text.
std::optional<long long> Parse(QString const& text);

} // namespace TimeText
