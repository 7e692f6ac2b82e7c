#include "tools/commands/TimeRangeOptions.h"

#include "tools/commands/TimeRange.h"
#include "tools/report/Console.h"
#include "tools/report/TimeText.h"

#include <QCommandLineParser>

namespace {

bool TakeTime(QCommandLineParser const& parser, QString const& option, long long& time)
{
    if (!parser.isSet(option))
        return true;
    auto const parsed = TimeText::Parse(parser.value(option));
    if (!parsed) {
        Console::Say(QStringLiteral("\"%1\" is not a time").arg(parser.value(option)));
        return false;
    }
    time = *parsed;
    return true;
}

} // namespace

void TimeRangeOptions::Add(QCommandLineParser& parser)
{
    parser.addOption({QStringLiteral("from"), QStringLiteral("Begin at this time."), QStringLiteral("TIME")});
    parser.addOption({QStringLiteral("to"), QStringLiteral("End before this time."), QStringLiteral("TIME")});
}

bool TimeRangeOptions::Take(QCommandLineParser const& parser, TimeRange& range)
{
    if (!TakeTime(parser, QStringLiteral("from"), range.from) || !TakeTime(parser, QStringLiteral("to"), range.to))
        return false;
    if (range.from < range.to)
        return true;
    Console::Say(QStringLiteral("--from must come before --to"));
    return false;
}
