#include "player/controls/TimeText.h"

#include <QStringList>

#include <cmath>

namespace {

constexpr double maxSeconds = 1e12; // so that microseconds stay far from the end of 64 bits

} // namespace

QString TimeText::WithoutFraction(long long time)
{
    long long const seconds = std::llabs(time) / 1000000;
    return QString("%1%2:%3:%4")
        .arg(time < 0 ? "-" : "")
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QChar('0'))
        .arg(seconds % 60, 2, 10, QChar('0'));
}

QString TimeText::WithMilliseconds(long long time)
{
    long long const milliseconds = std::llabs(time) / 1000 % 1000;
    return QString("%1.%2").arg(WithoutFraction(time)).arg(milliseconds, 3, 10, QChar('0'));
}

std::optional<long long> TimeText::Parse(QString const& text)
{
    bool const negative = text.startsWith('-');
    QStringList const parts = text.mid(negative ? 1 : 0).split(':');
    if (parts.size() > 3)
        return std::nullopt;
    double seconds = 0.0;
    for (QString const& part : parts) {
        bool isNumber = false;
        double const value = part.toDouble(&isNumber);
        if (!isNumber || !(value >= 0.0))
            return std::nullopt;
        seconds = seconds * 60.0 + value;
    }
    if (!(seconds < maxSeconds))
        return std::nullopt;
    return std::llround((negative ? -seconds : seconds) * 1000000.0);
}
