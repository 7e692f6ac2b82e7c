#include "tools/output/TimeAxis.h"

#include <algorithm>
#include <limits>

namespace {

constexpr long long second = 1000000;
constexpr long long minute = 60 * second;
constexpr long long hour = 60 * minute;

// Round steps of time; beyond the last one it doubles.
constexpr long long steps[] = {1000,        2000,     5000,       10000,      20000,       50000,       100000,
                               200000,      500000,   second,     2 * second, 5 * second,  10 * second, 15 * second,
                               30 * second, minute,   2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
                               hour,        2 * hour, 6 * hour,   12 * hour,  24 * hour};

long long StepFor(long long duration, int most)
{
    for (long long const step : steps) {
        if (duration / step < most)
            return step;
    }
    long long step = *std::rbegin(steps);
    while (duration / step >= most && step < std::numeric_limits<long long>::max() / 2)
        step *= 2;
    return step;
}

QString Digits(long long number, int width)
{
    return QStringLiteral("%1").arg(number, width, 10, QLatin1Char('0'));
}

// Milliseconds where the step needs them, without zeros at the end.
QString Fraction(long long time, long long step)
{
    if (step >= second)
        return {};
    int const digits = step % 100000 == 0 ? 1 : step % 10000 == 0 ? 2 : 3;
    return QLatin1Char('.') + Digits(time % second / 1000, 3).left(digits);
}

QString TextOf(long long time, long long step)
{
    QString const sign = time < 0 ? QStringLiteral("-") : QString();
    long long const distance = time < 0 ? -time : time;
    QString const seconds = Digits(distance / second % 60, 2) + Fraction(distance, step);
    if (distance < hour)
        return sign + QStringLiteral("%1:%2").arg(distance / minute).arg(seconds);
    return sign + QStringLiteral("%1:%2:%3").arg(distance / hour).arg(Digits(distance / minute % 60, 2), seconds);
}

} // namespace

std::vector<TimeAxis::Mark> TimeAxis::Marks(long long from, long long to, int most)
{
    long long const step = StepFor(to - from, std::max(most, 1));
    long long time = from / step * step;
    if (time < from)
        time += step;
    std::vector<Mark> marks;
    for (; time <= to; time += step)
        marks.push_back({static_cast<double>(time - from) / static_cast<double>(to - from), TextOf(time, step)});
    return marks;
}
