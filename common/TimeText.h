#pragma once

#include <QString>

#include <optional>

// Converts between times in microseconds and text. Works for every 64-bit time.
namespace TimeText {

// Reads seconds ("12.5"), a clock ("0:12.5" or "00:00:12.500"; after the first field, fields are below 60) and
// microseconds ("12500000us"), all with a "-" in front for times below 0. Digits beyond the microsecond are cut off.
// Empty for any other text and for a time that does not fit 64 bits.
std::optional<long long> Parse(QString const& text);

// Of a position in time. Truncated, never rounded up: that moment has not come yet.
QString Clock(long long time);                    // "00:00:12.500"
QString ShortClock(long long time, int decimals); // "0:00:12.48" with 2 decimals, "0:00:12" with none; at most 6

// The name of a picture that shows from `start` to `end`: the first moment of it that milliseconds can say, and where
// it is too short for one, as many digits more as it takes. Read back, it is a time at which just this picture shows.
// `start` as `end`, where that is not known, gives all digits that `start` has.
QString PictureClock(long long start, long long end);      // "00:00:00.234" from 233566 to 266932
QString ShortPictureClock(long long start, long long end); // "0:00:00.234"

QString Seconds(long long time); // "12.500000"

} // namespace TimeText
