#pragma once

#include <QString>

#include <optional>

// Converts between times in microseconds and text. Works for every 64-bit time.
namespace TimeText {

// Reads seconds ("12.5"), a clock ("0:12.5" or "00:00:12.500"; fields after the first are below 60) and microseconds
// ("12500000us"), each with "-" in front for negative times. Digits beyond the microsecond are cut off. Empty for any
// other text and for a time that does not fit 64 bits.
std::optional<long long> Parse(QString const& text);

// Of a position in time. Truncated, so that the text never shows a later moment than the position.
QString Clock(long long time);                    // "00:00:12.500"
QString ShortClock(long long time, int decimals); // "0:00:12.48" with 2 decimals, "0:00:12" with none; at most 6

// Names a picture shown from `start` to `end` by the first millisecond within it, or with as many more digits as a
// shorter picture needs. Parsed again, the text gives a time at which this picture is shown. If the end is unknown,
// pass `start` as `end`: the text then has all digits of `start`.
QString PictureClock(long long start, long long end);      // "00:00:00.234" from 233566 to 266932
QString ShortPictureClock(long long start, long long end); // "0:00:00.234"

QString Seconds(long long time); // "12.500000"

} // namespace TimeText
