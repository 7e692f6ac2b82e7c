#include "media/MediaInfo.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Console.h"
#include "tools/report/Info.h"
#include "tools/report/MessageLog.h"
#include "tools/report/PictureCount.h"

#include <QJsonArray>

namespace {

// That the count cannot be told is no fault of the file's.
Info::Count CountOf(Source const& source, bool isQuick, MessageLog& log)
{
    log.SetSilent(true);
    auto const count = isQuick ? std::nullopt : PictureCount::Of(source);
    log.SetSilent(false);
    return count;
}

ExitCode DescribeInText(QString const& path, bool isQuick, MessageLog& log)
{
    auto const source = OpenSource(path, log);
    if (!source)
        return ExitCode::CannotOpen;
    Console::WriteData(Info::AsText(*source, CountOf(*source, isQuick, log)));
    return ExitCode::Ok;
}

ExitCode DescribeInJson(QString const& path, bool isQuick, MessageLog& log, QJsonArray& objects)
{
    auto const source = OpenSource(path, log);
    objects.append(source ? Info::AsJson(*source, CountOf(*source, isQuick, log))
                          : Info::FailureAsJson(path, log.GetLastError(), log.GetLastErrorCode()));
    return source ? ExitCode::Ok : ExitCode::CannotOpen;
}

ExitCode Run(Arguments& arguments, MessageLog& log)
{
    bool const isQuick = arguments.Has("quick");
    if (!arguments.Has("json"))
        return ForEachFile(arguments, [&](QString const& path) { return DescribeInText(path, isQuick, log); });

    QJsonArray objects;
    ExitCode const result =
        ForEachFile(arguments, [&](QString const& path) { return DescribeInJson(path, isQuick, log, objects); });
    WriteJson(objects);
    return result;
}

} // namespace

Command InfoCommand()
{
    return {"info",
            "describe media files: streams, sizes, rates, durations, tags",
            "FILE... [--json] [--quick]",
            "Describes each FILE: movie, sound, sound with cover art, or still image.\n\n"
            "The pictures of a movie are counted. For most formats this reads the file to its\n"
            "end, without decoding it; --quick gives an estimate instead. \"about\" marks an\n"
            "estimate, also for files that only decoding could count.\n\n"
            "With --json, one FILE gives one object and several give an array of them, in\n"
            "their order. \"format\" and \"streams\" have ffprobe's names and types wherever the\n"
            "meaning is the same. Our own values are in objects named \"tavolin\", with times\n"
            "in whole microseconds. A file that cannot be described has an object \"error\"\n"
            "instead of \"streams\". Only video and audio streams are listed.\n",
            {{"json", nullptr, "Describe in JSON."}, {"quick", nullptr, "Do not count the pictures."}},
            Run};
}
