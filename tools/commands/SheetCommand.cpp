#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "tools/commands/Commands.h"
#include "tools/commands/OpenSource.h"
#include "tools/output/ContactSheet.h"
#include "tools/output/PictureFile.h"
#include "tools/output/PictureSamples.h"
#include "tools/output/RgbPicture.h"
#include "tools/report/Console.h"
#include "tools/report/MessageLog.h"
#include "tools/report/SequenceFiles.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int mostColumns = 100;
constexpr int mostRows = 1000;
constexpr int mostPictures = 10000;
constexpr int smallestTileWidth = 80; // pixels; room for a time
constexpr int largestWidth = 4096;

struct SheetRequest
{
    QString path; // as given; later the source's name
    MediaItems::Rows rows = MediaItems::Rows::Sequences;
    PictureTarget target;
    TimeRange range;
    int columns = 0;
    int count = 0; // of pictures
    int width = 0; // of each
    SourceOptions options;
};

SheetRequest SheetRequestIn(Arguments& arguments)
{
    SheetRequest request;
    request.path = arguments.OnlyFile();
    request.target = arguments.PictureOutput();
    if (arguments.Has("rows") && arguments.Has("count"))
        arguments.Reject(QStringLiteral("--rows and --count do not go together"));
    request.columns = arguments.Number("columns", 1, mostColumns, 4);
    int const rows = arguments.Number("rows", 1, mostRows, 5);
    request.width = arguments.Number("width", smallestTileWidth, largestWidth, 320);
    request.count = arguments.Number("count", 1, mostPictures, request.columns * rows);
    request.range = arguments.Range();
    request.rows = arguments.Rows();
    request.options = arguments.Sources();
    request.options.colours = arguments.Colours(/*followsStream=*/true, /*exact=*/true);
    return request;
}

ExitCode Report(SheetRequest const& request, PictureSamples::Result result)
{
    switch (result) {
    case PictureSamples::Result::Done:
        return ExitCode::Ok;
    case PictureSamples::Result::CannotOpen:
        Console::Say(request.path + QStringLiteral(": cannot be opened for decoding"));
        return ExitCode::CannotOpen;
    case PictureSamples::Result::NoPicture:
        Console::Say(request.path + QStringLiteral(": no picture could be decoded"));
        return ExitCode::DecodingFailed;
    case PictureSamples::Result::NothingInRange:
        Console::Say(request.path + QStringLiteral(": there is no picture in the time asked for"));
        return ExitCode::DecodingFailed;
    }
    return ExitCode::DecodingFailed;
}

bool IsTooLarge(ContactSheet const& sheet, SheetRequest const& request)
{
    long long const width = sheet.GetWidth(request.columns);
    return width * sheet.GetHeight(request.columns, request.count) > PictureFile::mostPixels;
}

// Below the picture: its time, and of a sequence the number in its file's name. Nothing where there is only one.
QString TextFor(Source const& source, DecodedVideoFrame const& picture)
{
    if (source.HasOnePicture())
        return {};
    if (source.GetKind() != SourceKind::Sequence)
        return TimeText::PictureClock(picture.startTime, picture.endTime);
    return QString::number(SequenceFiles::NumberOf(source, SequenceFiles::IndexAt(source, picture.startTime)));
}

// Whether all files of a sequence that were asked for can be decoded; says which cannot.
bool HasFiles(Source const& source, PictureSamples const& samples)
{
    bool hasAll = true;
    long long last = -1;
    for (long long const time : samples.GetTimes()) {
        long long const index = source.GetSequence().GetIndexUpTo(SequenceFiles::IndexAt(source, time));
        bool const isNew = index != std::exchange(last, index);
        if (!isNew || !samples.GetDamage().contains(SequenceFiles::TimeOf(source, index)))
            continue;
        Console::Say(
            QStringLiteral("%1: %2 cannot be decoded").arg(source.GetName(), SequenceFiles::NameOf(source, index)));
        hasAll = false;
    }
    return hasAll;
}

ExitCode Collect(Source const& source, SheetRequest const& request, Arguments& arguments, ContactSheet& sheet)
{
    bool const hasTime = !source.HasOnePicture();
    bool isTooLarge = false;
    PictureSamples samples(source);
    auto const result = samples.Take(request.range, request.count, [&](auto const& record) {
        if (isTooLarge)
            return;
        sheet.Add(RgbPicture::FromRecord(*record).TurnedClockwise(record->rotation), TextFor(source, *record));
        isTooLarge = hasTime && IsTooLarge(sheet, request);
    });
    if (isTooLarge) {
        arguments.Reject(
            QStringLiteral("the sheet would have more than 64 million pixels; ask for fewer or smaller ones"));
        return ExitCode::Usage;
    }
    ExitCode const reported = Report(request, result);
    bool const isWhole = source.GetKind() != SourceKind::Sequence || HasFiles(source, samples);
    return reported == ExitCode::Ok && !isWhole ? ExitCode::DecodingFailed : reported;
}

ExitCode Write(ContactSheet const& sheet, SheetRequest const& request)
{
    int const columns = std::min(request.columns, sheet.GetCount());
    return WritePicture(sheet.Draw(columns), request.target,
                        QStringLiteral("%1 picture%2 in %3 column%4")
                            .arg(sheet.GetCount())
                            .arg(sheet.GetCount() == 1 ? QString() : QStringLiteral("s"))
                            .arg(columns)
                            .arg(columns == 1 ? QString() : QStringLiteral("s")));
}

ExitCode RunSheet(Arguments& arguments, MessageLog& log)
{
    SheetRequest request = SheetRequestIn(arguments);
    if (arguments.AreWrong())
        return ExitCode::Usage;
    auto const source =
        OpenPictures(FindOnlyOne(request.path, MediaItems::Half::Pictures, request.rows), log, request.options);
    if (!source)
        return ExitCode::CannotOpen;
    request.path = source->GetName();
    return WithoutErrors(log, [&] {
        Silence const silence(log, source->GetKind() == SourceKind::Sequence); // its broken files are named
        ContactSheet sheet(request.width);
        ExitCode const collected = Collect(*source, request, arguments, sheet);
        ExitCode const written = sheet.GetCount() > 0 && !arguments.AreWrong() ? Write(sheet, request) : collected;
        return written == ExitCode::Ok ? collected : written;
    });
}

} // namespace

Command SheetCommand()
{
    return {"sheet",
            "draw pictures from the whole file side by side, with times",
            "FILE -o PICTURE [--columns N] [--rows N | --count N]",
            "Divides FILE, or the range from --from to --to, into equal parts and draws the\n"
            "picture from the middle of each part, with its start time below, or the number\n"
            "in its file's name if FILE is an image sequence. Pixels are square and pictures\n"
            "are upright. No picture appears twice, so there may be fewer. A still image and\n"
            "cover art give one picture, without a time.\n\n"
            "The ending of PICTURE selects the format: .png, .jpg, .jpeg, .ppm or .pnm.\n\n"
            "The exit code is 4 if something could not be decoded (the rest is written), or\n"
            "if there is no picture between --from and --to.\n",
            {Options::PictureOutput(),
             Options::format,
             {"columns", "N", "Pictures side by side; 4 if not given."},
             {"rows", "N", "Rows of pictures; 5 if not given."},
             {"count", "N", "Pictures in all, instead of --rows."},
             {"width", "PIXELS", "Pixels of a picture in it; 320 if not given."},
             Options::from,
             Options::to,
             Options::fps,
             Options::stills,
             Options::Colours(/*followsStream=*/true),
             Options::noToneMapping},
            RunSheet};
}
