#include "tools/output/TimeAxis.h"

#include "common/Microseconds.h"

#include <algorithm>
#include <limits>

namespace {

constexpr long long minuteUs = 60 * secondUs;
constexpr long long hourUs = 60 * minuteUs;

// Round steps of time; beyond the last one it doubles.
constexpr long long steps[] = {1000,          2000,          5000,          10000,    20000,        50000,
                               100000,        200000,        500000,        secondUs, 2 * secondUs, 5 * secondUs,
                               10 * secondUs, 15 * secondUs, 30 * secondUs, minuteUs, 2 * minuteUs, 5 * minuteUs,
                               10 * minuteUs, 15 * minuteUs, 30 * minuteUs, hourUs,   2 * hourUs,   6 * hourUs,
                               12 * hourUs,   24 * hourUs};

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
    if (step >= secondUs)
        return {};
    int const digits = step % 100000 == 0 ? 1 : step % 10000 == 0 ? 2 : 3;
    return QLatin1Char('.') + Digits(time % secondUs / 1000, 3).left(digits);
}

QString TextOf(long long time, long long step)
{
    QString const sign = time < 0 ? QStringLiteral("-") : QString();
    long long const distance = time < 0 ? -time : time;
    QString const seconds = Digits(distance / secondUs % 60, 2) + Fraction(distance, step);
    if (distance < hourUs)
        return sign + QStringLiteral("%1:%2").arg(distance / minuteUs).arg(seconds);
    return sign + QStringLiteral("%1:%2:%3").arg(distance / hourUs).arg(Digits(distance / minuteUs % 60, 2), seconds);
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
