#include "source/Source.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "source/ImageFormat.h"
#include "source/ImageSequence.h"
#include "source/MoviePictures.h"
#include "source/SequencePictures.h"

#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace {

constexpr double second = 1000000.0;

// One picture that is decoded already: the cover of a file of sound.
class SinglePicture : public PictureStream
{
public:
    explicit SinglePicture(Picture newPicture) : picture(std::move(newPicture))
    {
        picture->startTime = 0;
        picture->endTime = 0;
    }

    ReadResult ReadNear(long long, long long, Picture& read, StopCheck const&) override
    {
        isRead = true;
        read = picture;
        return ReadResult::Got;
    }

    ReadResult Read(Picture& read, StopCheck const& stop) override
    {
        return isRead ? ReadResult::End : ReadNear(0, 0, read, stop);
    }

    long long GetEnd() const override { return 1; }
    long long GetDecodedCount() const override { return 1; }

private:
    Picture picture;
    bool isRead = false;
};

Source Failed(QString const& error)
{
    Source source;
    source.error = error;
    return source;
}

template <typename Stream>
bool HasValid(QList<Stream> const& streams)
{
    return std::any_of(streams.begin(), streams.end(), [](Stream const& stream) { return stream.valid; });
}

bool IsStillFormat(QString const& format, SourceOptions const& options)
{
    return AvGlobals::IsImageFormat(format) || options.furtherImageFormats.contains(format);
}

// A cover is a stream of one picture in a file of sound, at a rate that no movie has.
bool IsCover(MediaInfo const& info, SourceOptions const& options)
{
    if (!HasValid(info.GetAudioStreams()) || info.GetNumVideoStreams() == 0)
        return false;
    VideoStream const& stream = info.GetVideoStreams().first();
    bool const isImage = IsStillFormat(stream.codecName, options) || stream.codecName == QLatin1String("gif");
    return isImage && stream.frameRate > Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE;
}

// Some image decoders hold their one picture back until the end of the file.
std::shared_ptr<DecodedVideoFrame> ReadCover(std::shared_ptr<MediaInfo> const& info, ColourSettings const& colours,
                                             StopCheck const& stop)
{
    MediaInstance instance;
    instance.SetColours(colours);
    instance.Initialize(info, 0);
    QList<std::shared_ptr<DecodedVideoFrame>> pictures;
    while (pictures.isEmpty() && instance.HasPacket() && !stop()) {
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;
        if (instance.IsAudioPacket())
            instance.PrepareNextPacket(false);
        else
            instance.DecodeOnePacket(sounds, pictures, -1);
    }
    bool const isPicture = !pictures.isEmpty() && pictures.first()->data && pictures.first()->status == 0;
    return isPicture ? pictures.first() : nullptr;
}

Source OpenImages(QString const& path, bool isSequence, SourceOptions const& options)
{
    Source source;
    ImageSequence sequence =
        isSequence ? ImageSequence::Find(path, options.sequenceHoles, source.error) : ImageSequence::FromFile(path);
    if (sequence.IsEmpty())
        return source;
    source.kind = isSequence ? SourceKind::Sequence : SourceKind::Still;
    auto reader = std::make_unique<SequencePictures>(std::move(sequence), options);
    source.frameRate = isSequence ? reader->GetRate() : 0.0;
    source.frameStep = static_cast<long long>(second / reader->GetRate());
    source.expectedDuration = isSequence ? reader->GetEnd() : 0;
    source.pictures = std::move(reader);
    return source;
}

// The rate of the stream, or the one that pictures without times are given.
void TakeRate(Source& source, SourceOptions const& options)
{
    source.width = source.info->GetVideoWidth();
    source.height = source.info->GetVideoHeight();
    source.frameRate = std::max(source.info->GetFrameRate(), 0.0);
    source.frameStep = source.info->GetFrameStep() > 0 ? source.info->GetFrameStep()
                                                       : static_cast<long long>(second / options.untimedRate);
}

void OpenMovie(Source& source, SourceOptions const& options)
{
    auto reader = std::make_unique<MoviePictures>(source.info, options.untimedRate, options.colours);
    if (reader->Open()) {
        source.kind = SourceKind::Movie;
        source.pictures = std::move(reader);
        TakeRate(source, options);
    } else if (source.hasSound) {
        source.kind = SourceKind::Sound;
        source.error = QStringLiteral("The pictures of \"%1\" cannot be decoded.").arg(source.info->GetFileName());
    } else {
        source.error =
            QStringLiteral("\"%1\" holds a stream for which there is no decoder.").arg(source.info->GetFileName());
    }
}

void LeaveOutUndecodable(Source& source)
{
    auto const whole = std::exchange(source.info, MediaReader::WithoutUndecodable(source.info));
    QString const name = source.info->GetFileName();
    if (source.info->GetNumAudioStreams() < whole->GetNumAudioStreams())
        source.error = QStringLiteral("There is no decoder for the sound of \"%1\".").arg(name);
    else if (source.info->GetNumVideoStreams() < whole->GetNumVideoStreams())
        source.error = QStringLiteral("There is no decoder for the pictures of \"%1\".").arg(name);
}

void OpenSound(Source& source, bool hasCover, ColourSettings const& colours, StopCheck const& stop)
{
    source.kind = SourceKind::Sound;
    auto const cover = hasCover ? ReadCover(source.info, colours, stop) : nullptr;
    if (!cover)
        return;
    source.kind = SourceKind::SoundWithCover;
    source.width = cover->width;
    source.height = cover->height;
    source.pictures = std::make_unique<SinglePicture>(cover);
}

} // namespace

Source Source::Open(QString const& path, bool isSequence, SourceOptions const& options, StopCheck const& stop)
{
    if (isSequence || ImageSequence::IsPattern(path))
        return OpenImages(path, true, options);
    QFileInfo const file(path);
    if (!file.exists())
        return Failed(QStringLiteral("There is no file \"%1\".").arg(path));
    if (!file.isFile() || !file.isReadable())
        return Failed(QStringLiteral("\"%1\" cannot be read.").arg(path));
    if (file.size() == 0)
        return Failed(QStringLiteral("\"%1\" is empty.").arg(path));
    if (IsStillFormat(ImageFormatOf(path), options))
        return OpenImages(path, false, options);

    Source source;
    source.info = std::make_shared<MediaInfo>(path);
    source.info->isLinearColorSpace = options.isLinearColorSpace;
    if (!MediaReader::ParseMedia(source.info))
        return Failed(QStringLiteral("\"%1\" is not a media file that can be read.").arg(path));
    LeaveOutUndecodable(source);
    source.hasSound = HasValid(source.info->GetAudioStreams());
    source.expectedDuration = source.info->GetDuration();
    bool const hasCover = IsCover(*source.info, options);
    if (!hasCover && HasValid(source.info->GetVideoStreams()))
        OpenMovie(source, options);
    else if (source.hasSound)
        OpenSound(source, hasCover, options.colours, stop);
    else
        source.error = QStringLiteral("\"%1\" holds neither pictures nor sound that can be decoded.").arg(path);
    return source;
}
