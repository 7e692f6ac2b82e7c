#pragma once

#include <QString>

#include <optional>

// Converts between times in microseconds and text. Works for every 64-bit time.
namespace TimeText {

// Reads seconds ("12.5"), a clock ("0:12.5" or "00:00:12.500"; fields after the first are below 60) and microseconds
// ("12500000us"), each with "-" in front for negative times. Digits beyond the microsecond are cut off. Empty for any
// other text and for a time that does not fit 64 bits.
std::optional<long long> Parse(QString const& text);

// Truncated, so that the text never shows a moment later than `time`.
QString Clock(long long time);                    // "00:00:12.500"
QString ShortClock(long long time, int decimals); // "0:00:12.48" with 2 decimals, "0:00:12" with none; at most 6

QString Seconds(long long time); // "12.500000"

} // namespace TimeText
