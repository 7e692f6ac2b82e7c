#include "tools/commands/Commands.h"

#include "tools/output/PictureFile.h"
#include "tools/output/RgbPicture.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace {

char const generalEnd[] = R"(
Options:
  -h, --help    this text; after a command, the help of that command
  --version     the versions of tavolin and of its libraries

FILE can be a folder, a pattern such as shot.%04d.png, or one numbered picture,
which stands for the image sequence that it belongs to.

Times are seconds (12.5), a clock (00:00:12.500) or microseconds (12500000us).
They count from the first picture. Write a file name that begins with "-" after
"--", or with "./" in front.

Data goes to standard output, messages and progress to standard error. Exit
codes: 0 ok, 1 some of several inputs failed, 2 wrong usage, 3 cannot open or
nothing in it, 4 decoding or seeking failed, 5 writing failed.
)";

Command const* Find(QString const& name)
{
    for (Command const& command : CommandLine::Commands()) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

ExitCode Show(QString const& text)
{
    Console::WriteData(text);
    return ExitCode::Ok;
}

// `fault`: empty if it has been printed already.
ExitCode RejectUsage(QString const& fault, QString const& helpWords)
{
    if (!fault.isEmpty())
        Console::Say(fault);
    Console::Say(QStringLiteral("try \"tavolin %1\"").arg(helpWords));
    return ExitCode::Usage;
}

ExitCode RejectUnknown(QString const& name)
{
    return RejectUsage(QStringLiteral("there is no command \"%1\"").arg(name), QStringLiteral("--help"));
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

QString GeneralHelp()
{
    auto const row = [](char const* name, char const* summary) {
        return QStringLiteral("  %1%2\n").arg(QString::fromLatin1(name).leftJustified(12), QString::fromUtf8(summary));
    };
    QString text = QStringLiteral("tavolin describes, decodes, checks and plays media files.\n\n"
                                  "Usage: tavolin COMMAND [ARGUMENTS]\n\nCommands:\n");
    for (Command const& command : CommandLine::Commands())
        text += row(command.name, command.summary);
    return text + row("help", "describe a command: tavolin help COMMAND") + QString::fromUtf8(generalEnd);
}

ExitCode ShowHelpOf(Command const& command)
{
    QString const name = QString::fromLatin1(command.name);
    return Show(QStringLiteral("Usage: tavolin %1 %2\n\n%3\n%4")
                    .arg(name, QString::fromUtf8(command.usage), QString::fromUtf8(command.description),
                         Arguments(name, command.options, {}).OptionsHelp()));
}

ExitCode ShowHelp(QStringList const& names)
{
    if (names.isEmpty())
        return Show(GeneralHelp());
    Command const* command = Find(names.first());
    return command ? ShowHelpOf(*command) : RejectUnknown(names.first());
}

ExitCode RunCommand(Command const& command, QStringList const& given)
{
    QString const name = QString::fromLatin1(command.name);
    QString const helpWords = QStringLiteral("help ") + name;
    Arguments arguments(name, command.options, given);
    if (arguments.AreWrong())
        return RejectUsage(arguments.GetFault(), helpWords);
    if (arguments.Has("help"))
        return ShowHelpOf(command);
    av_log_set_level(arguments.Has("verbose") ? AV_LOG_INFO : AV_LOG_QUIET);
    MessageLog log;
    ExitCode const result = command.run(arguments, log);
    return result == ExitCode::Usage ? RejectUsage(arguments.GetFault(), helpWords) : result;
}

} // namespace

std::vector<Command> const& CommandLine::Commands()
{
    static std::vector<Command> const commands = {InfoCommand(),  DecodeCommand(), FrameCommand(),
                                                  AudioCommand(), CheckCommand(),  SheetCommand(),
                                                  WaveCommand(),  PlayCommand(),   CompletionCommand()};
    return commands;
}

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
    Command const* command = Find(first);
    return command ? RunCommand(*command, arguments.mid(1)) : RejectUnknown(first);
}

ExitCode ForEachItem(Arguments& arguments, std::function<ExitCode(MediaItem const& item)> const& work)
{
    QList<MediaItem> const items = MediaItems::Of(arguments.Files(), arguments.Rows());
    if (items.isEmpty()) {
        arguments.Reject(QStringLiteral("a file is missing"));
        return ExitCode::Usage;
    }
    ExitCode result = ExitCode::Ok;
    for (MediaItem const& item : items) {
        ExitCode const own = work(item);
        if (own != ExitCode::Ok)
            result = items.size() == 1 ? own : ExitCode::SomeInputsFailed;
    }
    return result;
}

ExitCode WithoutErrors(MessageLog const& log, std::function<ExitCode()> const& work)
{
    int const errorsBefore = log.GetErrorCount();
    ExitCode const code = work();
    return code == ExitCode::Ok && log.GetErrorCount() > errorsBefore ? ExitCode::DecodingFailed : code;
}

ExitCode CannotWrite(QString const& path, QString const& error)
{
    Console::Say(QStringLiteral("%1: cannot be written: %2").arg(path, error));
    return ExitCode::WritingFailed;
}

ExitCode WritePicture(RgbPicture const& picture, PictureTarget const& target, QString const& what)
{
    QString error;
    if (!PictureFile::Write(picture, target, error))
        return CannotWrite(target.path, error);
    QString const line =
        QStringLiteral("%1, %2x%3").arg(what, QString::number(picture.width), QString::number(picture.height));
    if (target.IsStandardOutput())
        Console::Say(line);
    else
        Console::WriteData(QStringLiteral("%1: %2\n").arg(target.path, line));
    return ExitCode::Ok;
}

void WriteJson(QJsonArray const& objects)
{
    if (objects.isEmpty())
        return;
    QJsonDocument const document =
        objects.size() == 1 ? QJsonDocument(objects.first().toObject()) : QJsonDocument(objects);
    Console::WriteData(QString::fromUtf8(document.toJson()));
}
