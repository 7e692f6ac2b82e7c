#include "common/TimeText.h"
#include "media/MediaInfo.h"
#include "tools/MediaSource.h"
#include "tools/SourceReader.h"
#include "tools/commands/Commands.h"
#include "tools/report/Console.h"
#include "tools/report/DecodeReport.h"
#include "tools/report/MessageLog.h"

#include <QElapsedTimer>

#include <algorithm>

namespace {

// Interleaving: sound may be stored this much before its picture.
constexpr long long soundLeadUs = 1000000;

struct Request
{
    TimeRange range;
    bool withSums = false;
    ColourSettings colours;
};

bool Start(SourceReader& reader, MediaSource const& source, TimeRange const& range)
{
    if (!range.HasBegin() || source.HasCoverOnly())
        return reader.StartOver();
    return reader.StartAt(source.HasSound() ? std::max(0LL, range.from - soundLeadUs) : range.from);
}

void ShowProgress(MediaSource const& source, DecodeReport const& report)
{
    if (!report.IsEmpty())
        Console::ShowProgress(QStringLiteral("%1 of %2")
                                  .arg(TimeText::Clock(report.GetReachedTime()),
                                       TimeText::Clock(std::max(0LL, source.GetInfo()->GetDuration()))));
}

// The report is data, unless the sums are: then it is a message.
void ShowSummary(QString const& summary, Request const& request)
{
    if (!request.withSums) {
        Console::WriteData(summary);
        return;
    }
    for (QString const& line : summary.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        Console::Say(line);
}

ExitCode Judge(QString const& path, DecodeReport const& report, int errors)
{
    if (report.IsEmpty())
        Console::Say(path + QStringLiteral(": nothing was decoded in the time asked for"));
    if (errors > 0)
        Console::Say(QStringLiteral("%1: damaged, or not fully readable: %2 error%3 while decoding")
                         .arg(path, QString::number(errors), errors == 1 ? QString() : QStringLiteral("s")));
    return report.IsEmpty() || errors > 0 ? ExitCode::DecodingFailed : ExitCode::Ok;
}

ExitCode Decode(QString const& path, Request const& request, MessageLog& log)
{
    auto const source = OpenSource(path, log);
    if (!source)
        return ExitCode::CannotOpen;
    SayUndecodable(*source);
    source->SetColours(request.colours);
    SourceReader reader(*source);
    QElapsedTimer timer;
    timer.start();
    if (!Start(reader, *source, request.range)) {
        Console::Say(path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    }
    int const errorsBefore = log.GetErrorCount();
    if (request.withSums)
        Console::WriteData(QStringLiteral("# %1\n").arg(path));
    DecodeReport report(*source, request.range, request.withSums);
    SourceReader::Records records;
    while (!report.IsRangeDone() && reader.Read(records)) {
        report.Take(records);
        records = {};
        ShowProgress(*source, report);
    }
    report.Finish();
    log.EndSource();
    ShowSummary(report.Summary(static_cast<double>(timer.nsecsElapsed()) / 1e9), request);
    ExitCode const result = Judge(path, report, log.GetErrorCount() - errorsBefore);
    return source->LeavesOutAHalf() ? ExitCode::DecodingFailed : result;
}

ExitCode Run(Arguments& arguments, MessageLog& log)
{
    Request request;
    request.withSums = arguments.Has("md5");
    request.range = arguments.Range();
    request.colours = arguments.Colours(/*followsStream=*/false, /*exact=*/false);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    return ForEachFile(arguments, [&](QString const& path) { return Decode(path, request, log); });
}

} // namespace

Command DecodeCommand()
{
    return {"decode",
            "decode all of it: counts, times, sizes, speed, MD5 sums",
            "FILE... [--md5] [--from TIME] [--to TIME]",
            "Decodes each FILE from its beginning to its end and reports the pictures, the\n"
            "sound and how long it took. With --from and --to, only the pictures that show\n"
            "between these times and the sound between them are counted; decoding begins\n"
            "where the file allows it.\n\n"
            "With --md5, standard output holds one line for each picture, then one for each\n"
            "frame of sound, after a line \"# FILE\"; the report goes to standard error:\n\n"
            "  video TIME WIDTHxHEIGHT MD5    of the RGB bytes, rows without padding\n"
            "  audio TIME SAMPLESxCHANNELS MD5    of the 16-bit samples, low byte first\n\n"
            "TIME is in microseconds from the first picture.\n\n"
            "Exit code 4 when something could not be decoded, even if the rest was.\n",
            {{"md5", nullptr, "Print a line with an MD5 sum for each record."},
             Options::from,
             Options::to,
             Options::Colours(/*followsStream=*/false),
             Options::noToneMapping},
            Run};
}
