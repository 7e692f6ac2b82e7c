#include "tools/commands/FrameRequest.h"

#include "common/TimeText.h"
#include "common/Timecode.h"
#include "decode/DecodedVideoFrame.h"
#include "tools/output/NamePattern.h"
#include "tools/output/RgbPicture.h"
#include "tools/report/Console.h"

#include <QFileInfo>

namespace {

// "2.5" is a time, "10p" a number of pictures.
void TakeStep(Arguments& arguments, FrameRequest& request)
{
    QString const text = arguments.Text("every");
    bool isNumber = true;
    if (text.endsWith(QLatin1Char('p')))
        request.pictureStep = text.left(text.size() - 1).toInt(&isNumber);
    else
        request.timeStep = arguments.Time("every", 0);
    bool const isSome = request.pictureStep > 0 && (request.timeStep > 0 || text.endsWith(QLatin1Char('p')));
    if (arguments.Has("every") && (!isNumber || !isSome))
        arguments.Reject(QStringLiteral("--every is a time above 0, or a number of pictures such as 10p"));
}

} // namespace

FrameRequest FrameRequest::From(Arguments& arguments)
{
    FrameRequest request;
    request.path = arguments.OnlyFile();
    request.isSeries = arguments.Has("every") || arguments.Has("from") || arguments.Has("to");
    int const choices = (arguments.Has("at") ? 1 : 0) + (arguments.Has("number") ? 1 : 0) + (request.isSeries ? 1 : 0);
    if (choices > 1)
        arguments.Reject(QStringLiteral("--at, --number, and --every with --from and --to exclude each other"));
    request.isNamed = choices == 0;
    if (request.isNamed && !QFileInfo(request.path).isFile())
        request.RejectUntold(arguments);
    if (Timecode::IsMeantBy(arguments.Text("at")))
        request.timecode = arguments.Text("at");
    else
        request.time = arguments.Time("at", 0);
    if (arguments.Has("number"))
        request.number = arguments.LargeNumber("number");
    TakeStep(arguments, request);
    request.range = arguments.Range();
    request.target = arguments.PictureOutput();
    if (request.isSeries && !request.target.IsStandardOutput() && !NamePattern(request.target.path).HasPlace())
        arguments.Reject(QStringLiteral("for several pictures, the name after -o needs a place for their number or "
                                        "time: shot-%04d.png or shot-%t.png"));
    request.asStored = arguments.Has("as-stored");
    request.rows = arguments.Rows();
    request.options = arguments.Sources();
    request.options.colours = arguments.Colours(/*followsStream=*/true, /*exact=*/true);
    return request;
}

void FrameRequest::RejectUntold(Arguments& arguments)
{
    arguments.Reject(QStringLiteral("frame needs --at TIME, --number N, or --every, --from or --to"));
}

ExitCode FrameRequest::Write(DecodedVideoFrame const& picture, PictureTarget const& to, QString const& name) const
{
    int const degrees = asStored ? 0 : picture.rotation;
    if (degrees % 90 != 0)
        Console::Say(QStringLiteral("to be turned by %1 degrees, which is left to the viewer").arg(degrees));
    return WritePicture(
        RgbPicture::FromRecord(picture).TurnedClockwise(degrees), to,
        QStringLiteral("%1 at %2 (%3us)")
            .arg(name, TimeText::PictureClock(picture.startTime, picture.endTime), QString::number(picture.startTime)));
}

void FrameRequest::SayDamaged(long long start, QString const& reason) const
{
    Console::Say(QStringLiteral("%1: the picture at %2 is damaged%3")
                     .arg(path, TimeText::PictureClock(start, start),
                          reason.isEmpty() ? QString() : QStringLiteral(": ") + reason));
}

void FrameRequest::SayLost(long long start) const
{
    Console::Say(
        QStringLiteral("%1: the picture at %2 cannot be decoded").arg(path, TimeText::PictureClock(start, start)));
}
