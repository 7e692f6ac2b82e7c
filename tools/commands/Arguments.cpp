#include "tools/commands/Arguments.h"

#include "common/Settings.h"
#include "common/TimeText.h"

#include <QFileInfo>

#include <limits>

namespace {

QString Name(char const* option)
{
    return QString::fromLatin1(option);
}

// ".png, .jpg or .ppm"
QString Listed(QStringList const& endings)
{
    QString text;
    for (int i = 0; i < endings.size(); ++i) {
        QString const between = i + 1 == endings.size() ? QStringLiteral(" or ") : QStringLiteral(", ");
        text += (i == 0 ? QString() : between) + QLatin1Char('.') + endings[i];
    }
    return text;
}

} // namespace

Option Options::Output(char const* valueName)
{
    return {"output", valueName, "The file to write; an existing one is replaced.", nullptr, "o"};
}

Option Options::PictureOutput()
{
    return {"output", "PICTURE", "The file to write; an existing one is replaced. \"-\" is standard output.", nullptr,
            "o"};
}

Option Options::Colours(bool followsStream)
{
    return {"colours", "stream|plain",
            followsStream ? "\"stream\": as the stream says; \"plain\": by libswscale's defaults, BT.601 in limited "
                            "range. \"stream\" if not given."
                          : "\"stream\": as the stream says; \"plain\": by libswscale's defaults, BT.601 in limited "
                            "range. \"plain\" if not given."};
}

Arguments::Arguments(QString const& newCommand, std::vector<Option> const& options, QStringList const& given)
    : command(newCommand)
{
    for (Option const& option : options)
        parser.addOption(option.Declared());
    for (Option const& option : Options::common)
        parser.addOption(option.Declared());
    if (parser.parse(QStringList(command) + WithBareValues(given, options)))
        return;
    fault = parser.errorText();
    while (fault.endsWith(QLatin1Char('.')))
        fault.chop(1);
    for (QString const& argument : given) {
        if (argument.startsWith(QLatin1Char('-')) && QFileInfo::exists(argument))
            fault += QStringLiteral("; for the file \"%1\", write \"./%1\"").arg(argument);
    }
}

void Arguments::Reject(QString const& newFault)
{
    if (fault.isEmpty())
        fault = newFault;
}

QString Arguments::OptionsHelp() const
{
    QString const help = parser.helpText();
    return help.mid(help.indexOf(QLatin1String("Options:")));
}

bool Arguments::Has(char const* option) const
{
    return parser.isSet(Name(option));
}

QString Arguments::Text(char const* option) const
{
    return parser.value(Name(option));
}

QStringList Arguments::Files() const
{
    return parser.positionalArguments();
}

QString Arguments::OnlyFile()
{
    if (Files().size() != 1)
        Reject(QStringLiteral("%1 takes one file").arg(command));
    return Files().value(0);
}

QString Arguments::Output(QStringList const& endings)
{
    QString path = Text("output");
    if (!endings.contains(QFileInfo(path).suffix().toLower()))
        Reject(QStringLiteral("%1 needs -o with a name that ends in %2").arg(command, Listed(endings)));
    return path;
}

PictureTarget Arguments::PictureOutput()
{
    QStringList const endings = PictureFile::Endings();
    PictureTarget target{Text("output"), Text("format").toLower()};
    if (Has("format") && !endings.contains(target.format))
        Reject(QStringLiteral("--format is png, jpg or ppm"));
    if (target.path.isEmpty() || (!Has("format") && !target.IsStandardOutput()))
        target.format = PictureFile::EndingOf(Output(endings));
    else if (!Has("format"))
        target.format = QStringLiteral("png");
    return target;
}

int Arguments::Number(char const* option, int least, int most, int usual)
{
    if (!Has(option))
        return usual;
    bool isNumber = false;
    int const given = Text(option).toInt(&isNumber);
    if (isNumber && given >= least && given <= most)
        return given;
    Reject(QStringLiteral("--%1 is a whole number from %2 to %3").arg(Name(option)).arg(least).arg(most));
    return usual;
}

long long Arguments::LargeNumber(char const* option)
{
    bool isNumber = !Has(option);
    long long const given = isNumber ? 0 : Text(option).toLongLong(&isNumber);
    if (isNumber && given >= 0)
        return given;
    Reject(QStringLiteral("--%1 is a whole number from 0 on").arg(Name(option)));
    return 0;
}

double Arguments::Decimal(char const* option, double usual) const
{
    if (!Has(option))
        return usual;
    bool isNumber = false;
    double const given = Text(option).toDouble(&isNumber);
    return isNumber ? given : std::numeric_limits<double>::quiet_NaN();
}

long long Arguments::Time(char const* option, long long usual)
{
    if (!Has(option))
        return usual;
    auto const given = TimeText::Parse(Text(option));
    if (given && *given >= 0)
        return *given;
    Reject(QStringLiteral("\"%1\" is not a time").arg(Text(option)));
    return usual;
}

TimeRange Arguments::Range()
{
    TimeRange range;
    range.from = Time("from", range.from);
    range.to = Time("to", range.to);
    if (range.from >= range.to)
        Reject(QStringLiteral("--from must come before --to"));
    return range;
}

SourceOptions Arguments::Sources()
{
    SourceOptions options;
    options.sequenceRate = Decimal("fps", options.sequenceRate);
    bool const isInRange = options.sequenceRate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE &&
                           options.sequenceRate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
    if (!isInRange)
        Reject(QStringLiteral("--fps is a number from 0.1 to 1000"));
    return options;
}

MediaItems::Rows Arguments::Rows() const
{
    return Has("stills") ? MediaItems::Rows::Stills : MediaItems::Rows::Sequences;
}

ColourSettings Arguments::Colours(bool followsStream, bool exact)
{
    QString const word = Text("colours");
    if (Has("colours") && word != QLatin1String("stream") && word != QLatin1String("plain"))
        Reject(QStringLiteral("--colours takes \"stream\" or \"plain\""));
    ColourSettings colours;
    colours.followStream = Has("colours") ? word == QLatin1String("stream") : followsStream;
    colours.toneMapping = !Has("no-tone-mapping");
    colours.exact = exact;
    return colours;
}
