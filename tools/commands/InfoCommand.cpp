#include "common/Logger.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Console.h"
#include "tools/report/Info.h"
#include "tools/report/MessageLog.h"
#include "tools/report/PictureCount.h"
#include "tools/report/SequenceFiles.h"

#include <QJsonArray>

#include <optional>

namespace {

// That the count cannot be told is no fault of the file's.
Info::Count CountOf(Source const& source, bool isQuick, MessageLog& log)
{
    Silence const silence(log);
    return isQuick ? std::nullopt : PictureCount::Of(source);
}

struct InfoRequest
{
    SourceOptions options;
    bool isQuick = false;
};

// What is described, and of a sequence one of its files.
struct Described
{
    std::unique_ptr<Source> source;
    std::optional<Source> one;
};

// Empty, having said why, where there is nothing to describe.
Described Open(MediaItem const& item, InfoRequest const& request, MessageLog& log)
{
    Described described{OpenSource(item, log, request.options), std::nullopt};
    if (!described.source || described.source->GetKind() != SourceKind::Sequence)
        return described;
    {
        Silence const silence(log); // another file may be whole
        described.one = SequenceFiles::DescribeOne(*described.source);
    }
    if (described.one)
        return described;
    Logger::GetInstance().Error(QStringLiteral("no picture of this sequence can be read"));
    return {};
}

ExitCode DescribeInText(MediaItem const& item, InfoRequest const& request, MessageLog& log)
{
    auto const [source, one] = Open(item, request, log);
    if (!source)
        return ExitCode::CannotOpen;
    Console::WriteData(one ? Info::SequenceAsText(*source, *one)
                           : Info::AsText(*source, CountOf(*source, request.isQuick, log)));
    return ExitCode::Ok;
}

ExitCode DescribeInJson(MediaItem const& item, InfoRequest const& request, MessageLog& log, QJsonArray& objects)
{
    auto const [source, one] = Open(item, request, log);
    if (!source)
        objects.append(Info::FailureAsJson(item.path, log.GetLastError(), log.GetLastErrorCode()));
    else
        objects.append(one ? Info::SequenceAsJson(*source, *one)
                           : Info::AsJson(*source, CountOf(*source, request.isQuick, log)));
    return source ? ExitCode::Ok : ExitCode::CannotOpen;
}

ExitCode RunInfo(Arguments& arguments, MessageLog& log)
{
    InfoRequest const request{arguments.Sources(), arguments.Has("quick")};
    if (arguments.AreWrong())
        return ExitCode::Usage;
    if (!arguments.Has("json"))
        return ForEachItem(arguments, [&](MediaItem const& item) { return DescribeInText(item, request, log); });

    QJsonArray objects;
    ExitCode const result =
        ForEachItem(arguments, [&](MediaItem const& item) { return DescribeInJson(item, request, log, objects); });
    WriteJson(objects);
    return result;
}

} // namespace

Command InfoCommand()
{
    return {"info",
            "describe media files: streams, sizes, rates, durations, tags",
            "FILE... [--json] [--quick]",
            "Describes each FILE: movie, sound, sound with cover art, still image, or image\n"
            "sequence. A sequence is described by its first file that can be read.\n\n"
            "The pictures of a movie are counted. For most formats this reads the file to its\n"
            "end, without decoding it; --quick gives an estimate instead. \"about\" marks an\n"
            "estimate, also for files that only decoding could count.\n\n"
            "With --json, one FILE gives one object and several give an array of them, in\n"
            "their order. \"format\" and \"streams\" have ffprobe's names and types wherever the\n"
            "meaning is the same. Our own values are in objects named \"tavolin\", with times\n"
            "in whole microseconds. A file that cannot be described has an object \"error\"\n"
            "instead of \"streams\". Only video and audio streams are listed.\n",
            {{"json", nullptr, "Describe in JSON."},
             {"quick", nullptr, "Do not count the pictures."},
             Options::fps,
             Options::stills},
            RunInfo};
}
