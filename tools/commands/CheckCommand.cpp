#include "common/TimeText.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Console.h"
#include "tools/report/Info.h"
#include "tools/report/MessageLog.h"
#include "tools/report/SourceCheck.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QString Decoded(SourceCheck const& check)
{
    QStringList found;
    if (check.GetPictureCount() > 0)
        found << QStringLiteral("%1 picture%2")
                     .arg(check.GetPictureCount())
                     .arg(check.GetPictureCount() == 1 ? QString() : QStringLiteral("s"));
    if (check.GetSoundDuration() > 0)
        found << QStringLiteral("%1 of sound").arg(TimeText::Clock(check.GetSoundDuration()));
    return found.isEmpty() ? QStringLiteral("nothing") : found.join(QStringLiteral(", "));
}

void Report(QString const& name, SourceCheck const& check)
{
    for (CheckFault const& fault : check.GetFaults())
        Console::WriteData(QStringLiteral("%1: damaged: %2\n").arg(name, fault.text));
    QString const verdict = check.GetFaults().isEmpty() ? QStringLiteral("ok") : QStringLiteral("damaged: decoded");
    Console::WriteData(QStringLiteral("%1: %2: %3\n").arg(name, verdict, Decoded(check)));
}

QJsonArray FaultsOf(SourceCheck const& check)
{
    QJsonArray faults;
    for (CheckFault const& fault : check.GetFaults()) {
        QJsonObject object{{"text", fault.text}};
        if (fault.time != CheckFault::unknownTime)
            object["time_us"] = fault.time;
        if (!fault.file.isEmpty())
            object["file"] = fault.file;
        faults.append(object);
    }
    return faults;
}

QJsonArray LeftOut(Source const& source)
{
    QJsonArray streams;
    for (Source::Stream const& stream : UndecodableStreams(source))
        streams.append(QJsonObject{{"index", stream.index},
                                   {"codec_type", stream.type == Source::StreamType::Video ? "video" : "audio"},
                                   {"codec_name", stream.codec},
                                   {"codec_tag_string", stream.tag}});
    return streams;
}

QJsonObject ReportInJson(Source const& source, SourceCheck const& check)
{
    return {{"format", QJsonObject{{"filename", source.GetName()}}},
            {"tavolin", QJsonObject{{"schema", Info::schemaVersion},
                                    {"verdict", check.GetFaults().isEmpty() ? "ok" : "damaged"},
                                    {"picture_count", check.GetPictureCount()},
                                    {"sound_duration_us", check.GetSoundDuration()},
                                    {"faults", FaultsOf(check)},
                                    {"left_out", LeftOut(source)}}}};
}

ExitCode CannotOpen(QString const& path, MessageLog const& log, QJsonArray* objects)
{
    if (objects)
        objects->append(Info::FailureAsJson(path, log.GetLastError(), log.GetLastErrorCode()));
    return ExitCode::CannotOpen;
}

// With `objects`, the report becomes one of them and is not printed.
ExitCode Check(MediaItem const& item, SourceOptions const& options, MessageLog& log, QJsonArray* objects)
{
    auto const source = OpenSource(item, log, options);
    if (!source)
        return CannotOpen(item.path, log, objects);
    SayUndecodable(*source);
    CheckWatch watch;
    watch.showProgress = Console::ShowProgress;
    SourceCheck check(
        *source, [&log] { return log.GetErrorCount(); }, watch);
    bool const isOpen = [&] {
        Silence const silence(log, source->GetKind() == SourceKind::Sequence); // its faults name the files
        return check.Run();
    }();
    if (!isOpen) {
        Console::Say(source->GetName() + QStringLiteral(": cannot be opened for decoding")); // the log has said why
        return CannotOpen(source->GetName(), log, objects);
    }
    log.EndSource();
    Console::ClearProgress();
    if (objects)
        objects->append(ReportInJson(*source, check));
    else
        Report(source->GetName(), check);
    return check.GetFaults().isEmpty() ? ExitCode::Ok : ExitCode::DecodingFailed;
}

ExitCode RunCheck(Arguments& arguments, MessageLog& log)
{
    SourceOptions options = arguments.Sources();
    options.colours = arguments.Colours(/*followsStream=*/true, /*exact=*/false);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    QJsonArray objects;
    QJsonArray* const asJson = arguments.Has("json") ? &objects : nullptr;
    ExitCode const result =
        ForEachItem(arguments, [&](MediaItem const& item) { return Check(item, options, log, asJson); });
    WriteJson(objects);
    return result;
}

} // namespace

Command CheckCommand()
{
    return {"check",
            "decode files in both directions and report damage",
            "FILE... [--json]",
            "Decodes each FILE from beginning to end, and then from end to beginning as\n"
            "playing backwards does. Prints one line with \"ok\" and what was decoded, or a\n"
            "line with \"damaged\" for each fault: errors while decoding, times that do not\n"
            "increase, missing pictures if their rate is constant, holes in the sound,\n"
            "differences between the two directions, and an end well before the stated\n"
            "length. Of an image sequence, each file is decoded once, by itself; missing,\n"
            "broken and damaged files are named.\n\n"
            "With --json, one FILE gives one object and several give an array of them, in\n"
            "their order. A file that cannot be opened has an object \"error\".\n\n"
            "The exit code is 0 if all is well, and 4 if a file is damaged.\n",
            {{"json", nullptr, "Report in JSON: one object, or an array for several files."},
             Options::fps,
             Options::stills,
             Options::Colours(/*followsStream=*/true),
             Options::noToneMapping},
            RunCheck};
}
