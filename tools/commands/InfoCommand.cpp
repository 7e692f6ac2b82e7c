#include "media/MediaInfo.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Console.h"
#include "tools/report/Info.h"
#include "tools/report/MessageLog.h"

#include <QJsonArray>

namespace {

ExitCode DescribeInText(QString const& path, MessageLog& log)
{
    auto const source = OpenSource(path, log);
    if (!source)
        return ExitCode::CannotOpen;
    Console::WriteData(Info::AsText(*source));
    return ExitCode::Ok;
}

ExitCode DescribeInJson(QString const& path, MessageLog& log, QJsonArray& objects)
{
    auto const source = OpenSource(path, log);
    objects.append(source ? Info::AsJson(*source)
                          : Info::FailureAsJson(path, log.GetLastError(), log.GetLastErrorCode()));
    return source ? ExitCode::Ok : ExitCode::CannotOpen;
}

ExitCode Run(Arguments& arguments, MessageLog& log)
{
    if (!arguments.Has("json"))
        return ForEachFile(arguments, [&](QString const& path) { return DescribeInText(path, log); });

    QJsonArray objects;
    ExitCode const result =
        ForEachFile(arguments, [&](QString const& path) { return DescribeInJson(path, log, objects); });
    WriteJson(objects);
    return result;
}

} // namespace

Command InfoCommand()
{
    return {"info",
            "what is in media files: streams, sizes, rates, durations, tags",
            "FILE... [--json]",
            "Describes each FILE: movie, sound, sound with cover art, or still image.\n\n"
            "With --json, one FILE gives one object and several give an array of them, in\n"
            "their order. \"format\" and \"streams\" have ffprobe's names and types wherever\n"
            "the meaning is the same; our own values stand in objects named \"tavolin\",\n"
            "times in whole microseconds. A file that cannot be described has an object\n"
            "\"error\" instead of \"streams\". Streams other than video and audio are not\n"
            "listed.\n",
            {{"json", nullptr, "Describe in JSON."}},
            Run};
}
