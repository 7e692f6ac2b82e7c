#include "tools/InfoCommand.h"

#include "media/MediaInfo.h"
#include "tools/Console.h"
#include "tools/InfoJson.h"
#include "tools/InfoText.h"
#include "tools/InputFiles.h"
#include "tools/MessageLog.h"
#include "tools/OpenSource.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

ExitCode DescribeInText(QString const& path, MessageLog& log)
{
    auto const source = OpenSource(path, log);
    if (!source)
        return ExitCode::CannotOpen;
    Console::WriteData(DescribeAsText(*source));
    return ExitCode::Ok;
}

ExitCode DescribeInJson(QString const& path, MessageLog& log, QJsonArray& objects)
{
    auto const source = OpenSource(path, log);
    objects.append(source ? InfoJson::Describe(*source)
                          : InfoJson::DescribeFailure(path, log.GetLastError(), log.GetLastErrorCode()));
    return source ? ExitCode::Ok : ExitCode::CannotOpen;
}

} // namespace

QString InfoCommand::GetName() const
{
    return QStringLiteral("info");
}

QString InfoCommand::GetSummary() const
{
    return QStringLiteral("what is in media files: streams, sizes, rates, durations, tags");
}

QString InfoCommand::GetUsage() const
{
    return QStringLiteral("FILE... [--json]");
}

QString InfoCommand::GetDescription() const
{
    return QStringLiteral("Describes each FILE: movie, sound, sound with cover art, or still image.\n\n"
                          "With --json, one FILE gives one object and several give an array of them, in\n"
                          "their order. \"format\" and \"streams\" have ffprobe's names and types wherever\n"
                          "the meaning is the same; our own values stand in objects named \"tavolin\",\n"
                          "times in whole microseconds. A file that cannot be described has an object\n"
                          "\"error\" instead of \"streams\". Streams other than video and audio are not\n"
                          "listed.\n");
}

void InfoCommand::AddOptions(QCommandLineParser& parser) const
{
    parser.addOption({QStringLiteral("json"), QStringLiteral("Describe in JSON.")});
}

ExitCode InfoCommand::Run(QCommandLineParser const& parser, MessageLog& log)
{
    QStringList const paths = parser.positionalArguments();
    if (!parser.isSet(QStringLiteral("json")))
        return ForEachInput(paths, [&](QString const& path) { return DescribeInText(path, log); });

    QJsonArray objects;
    ExitCode const result =
        ForEachInput(paths, [&](QString const& path) { return DescribeInJson(path, log, objects); });
    if (objects.isEmpty())
        return result;
    QJsonDocument const document =
        objects.size() == 1 ? QJsonDocument(objects.first().toObject()) : QJsonDocument(objects);
    Console::WriteData(QString::fromUtf8(document.toJson()));
    return result;
}
