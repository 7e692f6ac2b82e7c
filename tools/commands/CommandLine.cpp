#include "tools/commands/CommandLine.h"

#include "tools/commands/Command.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

#include <QCommandLineParser>
#include <QFileInfo>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace {

QString const program = QStringLiteral("tavolin");

char const generalEnd[] = R"(
Options:
  -h, --help    this text; after a command, the help of that command
  --version     the versions of tavolin and of the libraries it runs with

Times are seconds (12.5), a clock (00:00:12.500) or microseconds (12500000us).
They count from the first picture. A file name that begins with "-" goes after
"--" or gets "./" in front.

Data goes to standard output, messages and progress to standard error. Exit
codes: 0 ok, 1 some of several inputs failed, 2 wrong usage, 3 cannot open or
nothing in it, 4 decoding or seeking failed, 5 writing failed.
)";

void Prepare(QCommandLineParser& parser, Command const& command)
{
    command.AddOptions(parser);
    parser.addOption({QStringLiteral("verbose"), QStringLiteral("Show FFmpeg's own messages, too.")});
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")});
}

QString Versions()
{
    unsigned const format = avformat_version();
    return QStringLiteral("tavolin %1\nlibavformat %2.%3.%4\nQt %5\n")
        .arg(QStringLiteral(TAVOLIN_VERSION))
        .arg(AV_VERSION_MAJOR(format))
        .arg(AV_VERSION_MINOR(format))
        .arg(AV_VERSION_MICRO(format))
        .arg(QString::fromLatin1(qVersion()));
}

ExitCode Show(QString const& text)
{
    Console::WriteData(text);
    return ExitCode::Ok;
}

ExitCode RejectUsage(QString const& message, QString const& helpWords)
{
    Console::Say(message);
    Console::Say(QStringLiteral("try \"tavolin %1\"").arg(helpWords));
    return ExitCode::Usage;
}

} // namespace

CommandLine::CommandLine(std::vector<std::unique_ptr<Command>> newCommands) : commands(std::move(newCommands)) {}

CommandLine::~CommandLine() = default;

ExitCode CommandLine::Run(QStringList const& arguments)
{
    if (arguments.isEmpty())
        return RejectUsage(QStringLiteral("a command is missing"), QStringLiteral("--help"));
    QString const& first = arguments.first();
    if (first == QLatin1String("--help") || first == QLatin1String("-h"))
        return Show(GeneralHelp());
    if (first == QLatin1String("--version"))
        return Show(Versions());
    if (first == QLatin1String("help"))
        return ShowHelp(arguments.mid(1));
    if (Command* command = Find(first))
        return RunCommand(*command, arguments.mid(1));
    return RejectUnknown(first);
}

Command* CommandLine::Find(QString const& name) const
{
    for (auto const& command : commands) {
        if (command->GetName() == name)
            return command.get();
    }
    return nullptr;
}

ExitCode CommandLine::RunCommand(Command& command, QStringList const& arguments) const
{
    QCommandLineParser parser;
    Prepare(parser, command);
    QString const helpWords = QStringLiteral("help ") + command.GetName();
    if (!parser.parse(QStringList(program) + command.Completed(arguments))) {
        QString message = parser.errorText();
        while (message.endsWith(QLatin1Char('.')))
            message.chop(1);
        for (QString const& argument : arguments) {
            if (argument.startsWith(QLatin1Char('-')) && QFileInfo::exists(argument))
                message += QStringLiteral("; for the file \"%1\", write \"./%1\"").arg(argument);
        }
        return RejectUsage(message, helpWords);
    }
    if (parser.isSet(QStringLiteral("help")))
        return Show(HelpOf(command));
    av_log_set_level(parser.isSet(QStringLiteral("verbose")) ? AV_LOG_INFO : AV_LOG_QUIET);
    MessageLog log;
    ExitCode const result = command.Run(parser, log);
    if (result == ExitCode::Usage)
        Console::Say(QStringLiteral("try \"tavolin %1\"").arg(helpWords));
    return result;
}

ExitCode CommandLine::ShowHelp(QStringList const& names) const
{
    if (names.isEmpty())
        return Show(GeneralHelp());
    Command const* command = Find(names.first());
    return command ? Show(HelpOf(*command)) : RejectUnknown(names.first());
}

ExitCode CommandLine::RejectUnknown(QString const& name) const
{
    return RejectUsage(QStringLiteral("there is no command \"%1\"").arg(name), QStringLiteral("--help"));
}

QString CommandLine::GeneralHelp() const
{
    QString text = QStringLiteral("tavolin looks into media files, decodes and plays them.\n\n"
                                  "Usage: tavolin COMMAND [ARGUMENTS]\n\nCommands:\n");
    for (auto const& command : commands)
        text += QStringLiteral("  %1%2\n").arg(command->GetName().leftJustified(10), command->GetSummary());
    text +=
        QStringLiteral("  %1%2\n")
            .arg(QStringLiteral("help").leftJustified(10), QStringLiteral("all about a command: tavolin help COMMAND"));
    return text + QString::fromUtf8(generalEnd);
}

QString CommandLine::HelpOf(Command const& command)
{
    QCommandLineParser parser;
    Prepare(parser, command);
    QString const options = parser.helpText();
    return QStringLiteral("Usage: tavolin %1 %2\n\n%3\n%4")
        .arg(command.GetName(), command.GetUsage(), command.GetDescription(),
             options.mid(options.indexOf(QLatin1String("Options:"))));
}
