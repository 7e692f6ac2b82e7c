#pragma once

#include <QString>

#include <optional>

// Times as people write and read them. All times are microseconds.
namespace TimeText {

// Takes "12.5" (seconds), "00:00:12.500" or "00:12.5" (hours may be left out) and "12500000us". Digits beyond the
// microsecond are cut off. Nothing for any other text, a negative time or one that does not fit.
std::optional<long long> Parse(QString const& text);

QString Clock(long long time);   // "00:00:12.500", the microseconds cut to milliseconds; hours as many as there are
QString Seconds(long long time); // "12.500000"

} // namespace TimeText
