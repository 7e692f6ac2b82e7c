#include "tools/commands/ColourOptions.h"

#include "tools/commands/CommandAnswers.h"

#include <QCommandLineParser>

void ColourOptions::Add(QCommandLineParser& parser, bool followsStream)
{
    QString const usual = followsStream ? QStringLiteral("stream") : QStringLiteral("plain");
    parser.addOption({QStringLiteral("colours"),
                      QStringLiteral("\"stream\": as the stream says; \"plain\": by libswscale's defaults, BT.601 in "
                                     "limited range. \"%1\" if not given.")
                          .arg(usual),
                      QStringLiteral("stream|plain")});
    parser.addOption({QStringLiteral("no-tone-mapping"), QStringLiteral("Leave PQ and HLG as they are coded.")});
}

bool ColourOptions::Take(QCommandLineParser const& parser, bool followsStream, bool exact, ColourSettings& colours)
{
    colours.followStream = followsStream;
    if (parser.isSet(QStringLiteral("colours"))) {
        QString const word = parser.value(QStringLiteral("colours"));
        if (word != QLatin1String("stream") && word != QLatin1String("plain")) {
            CommandAnswers::RejectUsage(QStringLiteral("--colours takes \"stream\" or \"plain\""));
            return false;
        }
        colours.followStream = word == QLatin1String("stream");
    }
    colours.toneMapping = !parser.isSet(QStringLiteral("no-tone-mapping"));
    colours.exact = exact;
    return true;
}
