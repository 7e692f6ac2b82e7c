#include "media/MediaInfo.h"

#include "common/Microseconds.h"

#include <QFileInfo>

#include <cstdint>
#include <limits>

namespace {

constexpr long long hundredthUs = 10000;

template <typename Stream>
void CopyStream(QList<Stream> const& streams, int index, Stream& out)
{
    for (Stream const& stream : streams) {
        if (stream.streamIndex == index) {
            out = stream;
            return;
        }
    }
}

long long RoundedToHundredths(long long time)
{
    constexpr long long half = hundredthUs / 2;
    return time < std::numeric_limits<long long>::max() - (half - 1) ? time + half : time;
}

} // namespace

MediaInfo::MediaInfo(QString const& path) : filePath(path), id(QUuid::createUuid()) {}

MediaInfo::~MediaInfo() = default;

bool MediaInfo::IsInitialized() const
{
    return initialized;
}

QUuid const& MediaInfo::GetID() const
{
    return id;
}

QUuid const& MediaInfo::GetSourceID() const
{
    return sourceId;
}

QString MediaInfo::GetFilePath() const
{
    return filePath;
}

QString MediaInfo::GetFileName() const
{
    return QFileInfo(filePath).fileName();
}

long long MediaInfo::GetStartTime() const
{
    return isImage || videoStreams.isEmpty() ? 0 : videoStreams.first().startTime;
}

bool MediaInfo::IsImage() const
{
    return isImage;
}

long long MediaInfo::GetDuration() const
{
    return isImage && !videoStreams.isEmpty() ? videoStreams.first().frameStep : duration;
}

double MediaInfo::GetDurationInSeconds() const
{
    return static_cast<double>(GetDuration()) / secondUs;
}

QString MediaInfo::GetDurationAsString() const
{
    long long const time = RoundedToHundredths(GetDuration());
    auto const seconds = static_cast<int32_t>(time / secondUs);
    // Both values may exceed 32 bits and wrap; their difference fits again.
    auto const fraction = static_cast<int32_t>(static_cast<uint32_t>(time) -
                                               static_cast<uint32_t>(seconds) * static_cast<uint32_t>(secondUs));
    auto const field = [](qlonglong value, QString const& pattern) { return pattern.arg(value, 2, 10, QChar('0')); };
    QString text = QStringLiteral("%1:%2:%3.%4");
    text = field(seconds / 3600, text);
    text = field(seconds / 60 % 60, text);
    text = field(seconds, text);
    return field(fraction / hundredthUs, text);
}

bool MediaInfo::IsLinearColorSpace() const
{
    return isLinearColorSpace;
}

long long MediaInfo::GetFrameStep() const
{
    return videoStreams.isEmpty() ? 0 : videoStreams.first().frameStep;
}

long long MediaInfo::GetNumFrames() const
{
    return videoStreams.isEmpty() ? 0 : videoStreams.first().numFrames;
}

double MediaInfo::GetFrameRate() const
{
    return videoStreams.isEmpty() ? 0.0 : videoStreams.first().frameRate;
}

int MediaInfo::GetVideoWidth() const
{
    return videoStreams.isEmpty() ? 0 : videoStreams.first().width;
}

int MediaInfo::GetVideoHeight() const
{
    return videoStreams.isEmpty() ? 0 : videoStreams.first().height;
}

bool MediaInfo::IsVideoRotated() const
{
    if (videoStreams.isEmpty())
        return false;
    QString const rotation = videoStreams.first().metadata.value(QStringLiteral("rotate"));
    return rotation == QLatin1String("90") || rotation == QLatin1String("270");
}

int MediaInfo::GetNumAudioStreams() const
{
    return static_cast<int>(audioStreams.size());
}

int MediaInfo::GetNumVideoStreams() const
{
    return static_cast<int>(videoStreams.size());
}

void MediaInfo::GetAudioStream(int index, AudioStream& out) const
{
    CopyStream(audioStreams, index, out);
}

void MediaInfo::GetVideoStream(int index, VideoStream& out) const
{
    CopyStream(videoStreams, index, out);
}

QList<AudioStream> const& MediaInfo::GetAudioStreams() const
{
    return audioStreams;
}

QList<VideoStream> const& MediaInfo::GetVideoStreams() const
{
    return videoStreams;
}

void MediaInfo::DebugPrint() const {}
