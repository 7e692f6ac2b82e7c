#include "tests/tools/ToolMedia.h"

#include "tests/support/Media.h"
#include "tests/support/Reference.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/frame.h>
}

namespace {

QStringList const pictures = {"-f", "lavfi", "-i", "testsrc2=size=96x64:rate=25:duration=4"};

} // namespace

QString MovingPicture(QString const& name, QStringList const& arguments)
{
    return MakeMedia(name, pictures + arguments);
}

QString Movie(QString const& name, QStringList const& arguments)
{
    return MakeMedia(name, pictures + Tone(44100, 2, 4.0) + arguments);
}

QString Rewrapped(QString const& name, QString const& source, QStringList const& arguments)
{
    return MakeMedia(name, QStringList{"-i", source, "-c", "copy"} + arguments);
}

QString WithDamagedPictures(int count)
{
    QByteArray bytes = ReadMedia(MovingPicture("whole.avi", {"-c:v", "png"}));
    QByteArray const signature("\x89PNG");
    auto place = bytes.indexOf(signature);
    for (int i = 0; i < count && place >= 0; ++i) {
        place = bytes.indexOf(signature, place + 1);
        if (place >= 0)
            bytes.replace(place, signature.size(), "none");
    }
    return WriteMedia(QStringLiteral("damaged-%1.avi").arg(count), bytes);
}

std::vector<PlainPicture> DecodePlainly(QString const& path)
{
    ReferenceInput input(path, 0); // video
    double const tick = input.TickUs();
    std::vector<PlainPicture> decoded;
    long long start = 0;
    input.DecodeAll([&](AVFrame& frame) {
        auto const ticks = static_cast<double>(frame.best_effort_timestamp);
        if (decoded.empty() && frame.best_effort_timestamp != AV_NOPTS_VALUE)
            start = static_cast<long long>(ticks * tick);
        auto const bytes = ConvertPlainly(frame, frame.width);
        bool const hasTime = frame.best_effort_timestamp != AV_NOPTS_VALUE;
        decoded.push_back({hasTime ? static_cast<long long>(ticks * tick - static_cast<double>(start)) : -1,
                           Md5OfPicture(bytes.data(), frame.width, frame.height)});
    });
    return decoded;
}

PlainPicture ShowingAt(std::vector<PlainPicture> const& pictures, long long time)
{
    PlainPicture showing = pictures.at(0);
    for (PlainPicture const& picture : pictures) {
        if (picture.time <= time)
            showing = picture;
    }
    return showing;
}
