#include "tools/commands/NumberOption.h"

#include "tools/report/Console.h"

#include <QCommandLineParser>

bool NumberOption::Take(QCommandLineParser const& parser, QString const& option, int least, int most, int& number)
{
    if (!parser.isSet(option))
        return true;
    bool isNumber = false;
    int const given = parser.value(option).toInt(&isNumber);
    if (!isNumber || given < least || given > most) {
        Console::Say(QStringLiteral("--%1 is a whole number from %2 to %3").arg(option).arg(least).arg(most));
        return false;
    }
    number = given;
    return true;
}
