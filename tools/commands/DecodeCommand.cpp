#include "common/TimeText.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "source/PictureIndexReader.h"
#include "source/SoundStream.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/commands/TimeRange.h"
#include "tools/report/Console.h"
#include "tools/report/DecodeReport.h"
#include "tools/report/MessageLog.h"
#include "tools/report/SequenceFiles.h"
#include "tools/report/SessionWalk.h"

#include <QElapsedTimer>

#include <algorithm>

namespace {

struct DecodeRequest
{
    TimeRange range;
    int soundStream = 0; // from 1; 0: the best
    bool withSums = false;
    SourceOptions options;
};

void ShowProgress(Source const& source, DecodeReport const& report)
{
    if (!report.IsEmpty())
        Console::ShowProgress(
            QStringLiteral("%1 of %2")
                .arg(TimeText::Clock(report.GetReachedTime()), TimeText::Clock(std::max(0LL, source.GetDuration()))));
}

// What a session delivers.
bool DecodeAll(Source const& source, DecodeReport& report)
{
    SessionWalk walk(source);
    if (!walk.Start())
        return false;
    report.Begin();
    for (SessionWalk::Records records; walk.Read(records); records = {}) {
        report.Take(records);
        ShowProgress(source, report);
    }
    return true;
}

bool IsSequence(Source const& source)
{
    return source.GetKind() == SourceKind::Sequence;
}

// What shows and sounds in a range. `faults`: what is wrong with files of a sequence.
bool DecodeRange(Source const& source, TimeRange const& range, DecodeReport& report, QStringList& faults)
{
    auto const pictures = source.OpenPictures();
    auto const sound = source.OpenSound();
    if (!pictures && !sound)
        return false;
    report.Begin();
    bool const isSequence = IsSequence(source);
    if (pictures && (range.HasBegin() || isSequence))
        report.SetNumbers(ReadPictureIndex(source));
    long long const from = std::max(range.from, 0LL);
    PictureStream::Picture picture;
    ReadResult result = pictures ? pictures->ReadAt(from, picture) : ReadResult::End;
    if (result == ReadResult::Got && source.IsOver(*picture, from))
        result = ReadResult::End;
    for (; result == ReadResult::Got && picture->startTime < range.to; result = pictures->Read(picture)) {
        report.TakePicture(*picture);
        ShowProgress(source, report);
    }
    if (isSequence)
        faults = SequenceFiles::DescribeFaults(source, pictures->GetDamage(), from, range.to);
    SoundStream::Frame frame;
    result = !sound             ? ReadResult::End
             : range.HasBegin() ? sound->ReadAt(from + source.GetOrigin(), frame)
                                : sound->Read(frame);
    for (; result == ReadResult::Got && source.ToMediaTime(frame->startTime) < range.to; result = sound->Read(frame)) {
        report.TakeSound(*frame);
        ShowProgress(source, report);
    }
    return true;
}

// `faults` as above. False when it cannot be opened for decoding, having said so.
bool DecodeAsked(Source const& source, TimeRange const& range, DecodeReport& report, QStringList& faults)
{
    bool const isRange = range.HasBegin() || range.HasEnd() || IsSequence(source);
    bool const isOpen = isRange ? DecodeRange(source, range, report, faults) : DecodeAll(source, report);
    if (!isOpen)
        Console::Say(source.GetName() + QStringLiteral(": cannot be opened for decoding"));
    report.Finish();
    return isOpen;
}

// The report is data, unless the sums are: then it is a message.
void ShowSummary(QString const& summary, DecodeRequest const& request)
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

ExitCode Decode(MediaItem const& item, DecodeRequest const& request, MessageLog& log)
{
    auto const source = OpenSource(item, log, request.options);
    if (!source || !ChooseSound(*source, request.soundStream))
        return ExitCode::CannotOpen;
    SayUndecodable(*source);
    QElapsedTimer timer;
    timer.start();
    int const errorsBefore = log.GetErrorCount();
    DecodeReport report(*source, request.withSums);
    QStringList faults;
    {
        Silence const silence(log, IsSequence(*source)); // its faults name the files
        if (!DecodeAsked(*source, request.range, report, faults))
            return ExitCode::CannotOpen;
    }
    log.EndSource();
    ShowSummary(report.Summary(static_cast<double>(timer.nsecsElapsed()) / 1e9), request);
    for (QString const& fault : faults)
        Console::Say(QStringLiteral("%1: %2").arg(source->GetName(), fault));
    ExitCode const result = Judge(source->GetName(), report, log.GetErrorCount() - errorsBefore);
    return source->LeavesOutAHalf() || !faults.isEmpty() ? ExitCode::DecodingFailed : result;
}

ExitCode RunDecode(Arguments& arguments, MessageLog& log)
{
    DecodeRequest request;
    request.withSums = arguments.Has("md5");
    request.soundStream = arguments.SoundStream();
    request.range = arguments.Range();
    request.options = arguments.Sources();
    request.options.colours = arguments.Colours(/*followsStream=*/false, /*exact=*/false);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    return ForEachItem(arguments, [&](MediaItem const& item) { return Decode(item, request, log); });
}

} // namespace

Command DecodeCommand()
{
    return {"decode",
            "decode whole files: counts, times, sizes, speed, MD5 sums",
            "FILE... [--md5] [--from TIME] [--to TIME]",
            "Decodes each FILE from beginning to end and reports the pictures, the sound and\n"
            "the speed. With --from and --to, counts only the pictures that show and the\n"
            "sound between these times. With --from, the report also has the numbers of the\n"
            "pictures, if the file tells them. Of an image sequence these are the numbers in\n"
            "the names of its files; missing and broken files are named.\n\n"
            "With --md5, standard output has, for each FILE, a line \"# FILE\", one line per\n"
            "picture, and then one line per frame of sound. The report goes to standard\n"
            "error.\n\n"
            "  video TIME WIDTHxHEIGHT MD5    of the RGB bytes, rows without padding\n"
            "  audio TIME SAMPLESxCHANNELS MD5    of the 16-bit samples, low byte first\n\n"
            "TIME is in microseconds from the first picture.\n\n"
            "The exit code is 4 if something could not be decoded; the rest is reported.\n",
            {{"md5", nullptr, "Print a line with an MD5 sum for each record."},
             Options::soundStream,
             Options::from,
             Options::to,
             Options::fps,
             Options::stills,
             Options::Colours(/*followsStream=*/false),
             Options::noToneMapping},
            RunDecode};
}
