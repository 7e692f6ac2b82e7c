#include "tools/output/NamePattern.h"

#include "common/Microseconds.h"

#include <QRegularExpression>

namespace {

QRegularExpression const& Places()
{
    static QRegularExpression const places(QStringLiteral("%(?:0?(\\d{1,2}))?d|(#+)|(%t)|(%%)"));
    return places;
}

QString Filled(long long number, int digits)
{
    return QString::number(number).rightJustified(digits, QLatin1Char('0'));
}

// Sorts as the times do, and can stand in a file name everywhere.
QString TimeInName(long long time)
{
    long long const seconds = time / secondUs;
    return QStringLiteral("%1-%2-%3.%4")
        .arg(Filled(seconds / 3600, 2), Filled(seconds / 60 % 60, 2), Filled(seconds % 60, 2),
             Filled(time % secondUs, 6));
}

} // namespace

NamePattern::NamePattern(QString const& newPath) : path(newPath)
{
    auto matches = Places().globalMatch(path, path.lastIndexOf(QLatin1Char('/')) + 1);
    while (matches.hasNext()) {
        auto const match = matches.next();
        bool const isTime = !match.captured(3).isEmpty();
        hasTime = hasTime || isTime;
        hasNumber = hasNumber || (!isTime && match.captured(4).isEmpty());
    }
}

QString NamePattern::NameFor(long long number, long long time) const
{
    int const nameStart = static_cast<int>(path.lastIndexOf(QLatin1Char('/'))) + 1;
    QString name = path.left(nameStart);
    int last = nameStart;
    auto matches = Places().globalMatch(path, nameStart);
    while (matches.hasNext()) {
        auto const match = matches.next();
        name += path.mid(last, static_cast<int>(match.capturedStart()) - last);
        int const hashes = static_cast<int>(match.captured(2).size());
        if (!match.captured(3).isEmpty())
            name += TimeInName(time);
        else if (!match.captured(4).isEmpty())
            name += QLatin1Char('%');
        else
            name += Filled(number, hashes > 0 ? hashes : match.captured(1).toInt());
        last = static_cast<int>(match.capturedEnd());
    }
    return name + path.mid(last);
}
