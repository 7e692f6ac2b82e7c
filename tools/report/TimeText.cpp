#include "tools/report/TimeText.h"

#include <QStringList>

#include <limits>

namespace {

constexpr long long secondUs = 1000000;

std::optional<long long> ParseDigits(QString const& digits)
{
    if (digits.isEmpty())
        return std::nullopt;
    long long value = 0;
    for (QChar const digit : digits) {
        if (digit < QLatin1Char('0') || digit > QLatin1Char('9'))
            return std::nullopt;
        int const next = digit.unicode() - '0';
        if (value > (std::numeric_limits<long long>::max() - next) / 10)
            return std::nullopt;
        value = value * 10 + next;
    }
    return value;
}

// "12" or "12.5", in microseconds.
std::optional<long long> ParseSeconds(QString const& text)
{
    int const point = static_cast<int>(text.indexOf(QLatin1Char('.')));
    auto const whole = ParseDigits(point < 0 ? text : text.left(point));
    if (!whole || *whole > std::numeric_limits<long long>::max() / secondUs - 1)
        return std::nullopt;
    if (point < 0)
        return *whole * secondUs;
    QString const decimals = text.mid(point + 1);
    for (QChar const digit : decimals) {
        if (!ParseDigits(digit))
            return std::nullopt;
    }
    auto const fraction = ParseDigits(decimals.left(6).leftJustified(6, QLatin1Char('0')));
    if (decimals.isEmpty() || !fraction)
        return std::nullopt;
    return *whole * secondUs + *fraction;
}

// "minutes:seconds" or "hours:minutes:seconds"; only the first field may reach 60.
std::optional<long long> ParseClock(QStringList const& fields)
{
    auto const seconds = ParseSeconds(fields.last());
    if (fields.size() > 3 || !seconds || *seconds >= 60 * secondUs)
        return std::nullopt;
    long long minutes = 0;
    for (int i = 0; i < fields.size() - 1; ++i) {
        auto const field = ParseDigits(fields[i]);
        if (!field || (i > 0 && *field >= 60) || *field > std::numeric_limits<int>::max())
            return std::nullopt;
        minutes = minutes * 60 + *field;
    }
    if (minutes > std::numeric_limits<long long>::max() / (60 * secondUs) - 1)
        return std::nullopt;
    return minutes * 60 * secondUs + *seconds;
}

QString TwoDigits(long long number)
{
    return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
}

} // namespace

std::optional<long long> TimeText::Parse(QString const& text)
{
    if (text.endsWith(QLatin1String("us")))
        return ParseDigits(text.left(text.size() - 2));
    QStringList const fields = text.split(QLatin1Char(':'));
    return fields.size() > 1 ? ParseClock(fields) : ParseSeconds(text);
}

QString TimeText::Clock(long long time)
{
    QString const sign = time < 0 ? QStringLiteral("-") : QString();
    auto const positive = time < 0 ? 0 - static_cast<unsigned long long>(time) : static_cast<unsigned long long>(time);
    auto const milliseconds = static_cast<long long>(positive / 1000);
    long long const seconds = milliseconds / 1000;
    return sign + TwoDigits(seconds / 3600) + QLatin1Char(':') + TwoDigits(seconds / 60 % 60) + QLatin1Char(':') +
           TwoDigits(seconds % 60) + QStringLiteral(".%1").arg(milliseconds % 1000, 3, 10, QLatin1Char('0'));
}

QString TimeText::Seconds(long long time)
{
    QString const sign = time < 0 ? QStringLiteral("-") : QString();
    auto const positive = time < 0 ? 0 - static_cast<unsigned long long>(time) : static_cast<unsigned long long>(time);
    return sign + QStringLiteral("%1.%2").arg(positive / secondUs).arg(positive % secondUs, 6, 10, QLatin1Char('0'));
}
