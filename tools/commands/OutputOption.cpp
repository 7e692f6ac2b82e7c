#include "tools/commands/OutputOption.h"

#include <QCommandLineParser>

namespace {

QString LongName()
{
    return QStringLiteral("output");
}

} // namespace

void OutputOption::Add(QCommandLineParser& parser, QString const& valueName)
{
    parser.addOption({{QStringLiteral("o"), LongName()},
                      QStringLiteral("The file to write; an existing one is replaced."),
                      valueName});
}

QString OutputOption::Value(QCommandLineParser const& parser)
{
    return parser.value(LongName());
}
