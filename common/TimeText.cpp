#include "common/TimeText.h"

#include "common/Microseconds.h"

#include <QStringList>

#include <limits>

namespace {

// Microseconds without a sign. Unlike a time, it also holds the distance of the lowest time from 0.
using Distance = unsigned long long;

constexpr Distance secondsDistance = secondUs;

Distance DistanceOf(long long time)
{
    auto const bits = static_cast<Distance>(time);
    return time < 0 ? 0 - bits : bits;
}

// count x unit + rest; empty where that does not fit.
std::optional<Distance> Sum(Distance count, Distance unit, Distance rest)
{
    if (count > (std::numeric_limits<Distance>::max() - rest) / unit)
        return std::nullopt;
    return count * unit + rest;
}

std::optional<Distance> ParseDigits(QString const& digits)
{
    std::optional<Distance> value;
    for (QChar const digit : digits) {
        if (digit < QLatin1Char('0') || digit > QLatin1Char('9'))
            return std::nullopt;
        value = Sum(value.value_or(0), 10, static_cast<Distance>(digit.unicode() - '0'));
        if (!value)
            return std::nullopt;
    }
    return value;
}

// "12" or "12.5".
std::optional<Distance> ParseSeconds(QString const& text)
{
    int const point = static_cast<int>(text.indexOf(QLatin1Char('.')));
    auto const whole = ParseDigits(point < 0 ? text : text.left(point));
    if (!whole || point < 0)
        return whole ? Sum(*whole, secondsDistance, 0) : whole;
    QString const decimals = text.mid(point + 1);
    for (QChar const digit : decimals) {
        if (!ParseDigits(digit))
            return std::nullopt;
    }
    auto const fraction = ParseDigits(decimals.left(6).leftJustified(6, QLatin1Char('0')));
    return decimals.isEmpty() || !fraction ? std::nullopt : Sum(*whole, secondsDistance, *fraction);
}

// "seconds", "minutes:seconds" or "hours:minutes:seconds".
std::optional<Distance> ParseClock(QStringList const& fields)
{
    if (fields.size() > 3)
        return std::nullopt;
    std::optional<Distance> minutes = 0;
    for (int i = 0; minutes && i < fields.size() - 1; ++i) {
        auto const field = ParseDigits(fields[i]);
        minutes = field && (i == 0 || *field < 60) ? Sum(*minutes, 60, *field) : std::nullopt;
    }
    auto const seconds = ParseSeconds(fields.last());
    if (!minutes || !seconds || (fields.size() > 1 && *seconds >= 60 * secondsDistance))
        return std::nullopt;
    return Sum(*minutes, 60 * secondsDistance, *seconds);
}

QString Padded(Distance number, int digits)
{
    return QStringLiteral("%1").arg(number, digits, 10, QLatin1Char('0'));
}

QString ClockText(long long time, int hourDigits, int decimals)
{
    Distance const distance = DistanceOf(time);
    Distance const seconds = distance / secondsDistance;
    QString const text = (time < 0 ? QStringLiteral("-") : QString()) + Padded(seconds / 3600, hourDigits) +
                         QLatin1Char(':') + Padded(seconds / 60 % 60, 2) + QLatin1Char(':') + Padded(seconds % 60, 2);
    return decimals == 0 ? text : text + QLatin1Char('.') + Padded(distance % secondsDistance, 6).left(decimals);
}

// The first multiple of `unit` from `time` on; empty beyond all times.
std::optional<long long> RoundedUp(long long time, long long unit)
{
    long long const rest = time % unit;
    if (rest <= 0)
        return time - rest;
    if (time > std::numeric_limits<long long>::max() - (unit - rest))
        return std::nullopt;
    return time + unit - rest;
}

QString PictureText(long long start, long long end, int hourDigits)
{
    int decimals = 3;
    for (long long unit = 1000; unit > 1; unit /= 10) { // microseconds
        auto const moment = RoundedUp(start, unit);
        if (moment && *moment <= end)
            return ClockText(*moment, hourDigits, decimals);
        ++decimals;
    }
    return ClockText(start, hourDigits, decimals);
}

} // namespace

std::optional<long long> TimeText::Parse(QString const& text)
{
    bool const isNegative = text.startsWith(QLatin1Char('-'));
    QString const digits = isNegative ? text.mid(1) : text;
    auto const distance = digits.endsWith(QLatin1String("us")) ? ParseDigits(digits.left(digits.size() - 2))
                                                               : ParseClock(digits.split(QLatin1Char(':')));
    Distance const farthest = DistanceOf(std::numeric_limits<long long>::max()) + (isNegative ? 1 : 0);
    if (!distance || *distance > farthest)
        return std::nullopt;
    return static_cast<long long>(isNegative ? 0 - *distance : *distance);
}

QString TimeText::Clock(long long time)
{
    return ClockText(time, 2, 3);
}

QString TimeText::ShortClock(long long time, int decimals)
{
    return ClockText(time, 1, decimals);
}

QString TimeText::PictureClock(long long start, long long end)
{
    return PictureText(start, end, 2);
}

QString TimeText::ShortPictureClock(long long start, long long end)
{
    return PictureText(start, end, 1);
}

QString TimeText::Seconds(long long time)
{
    Distance const distance = DistanceOf(time);
    return (time < 0 ? QStringLiteral("-") : QString()) + QString::number(distance / secondsDistance) +
           QLatin1Char('.') + Padded(distance % secondsDistance, 6);
}
