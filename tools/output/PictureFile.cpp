#include "tools/output/PictureFile.h"

#include "media/FfmpegPtr.h"
#include "tools/output/OutputFile.h"
#include "tools/output/RgbPicture.h"
#include "tools/report/Console.h"

#include <QByteArray>
#include <QFileInfo>
#include <QSaveFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <algorithm>

namespace {

enum class Format { Unknown, Png, Jpeg, Ppm };

// Near-best quality; better settings multiply the file size.
constexpr int jpegQuality = 2 * FF_QP2LAMBDA;

Format FormatOf(QString const& ending)
{
    if (ending == QLatin1String("png"))
        return Format::Png;
    if (ending == QLatin1String("jpg") || ending == QLatin1String("jpeg"))
        return Format::Jpeg;
    bool const isPpm = ending == QLatin1String("ppm") || ending == QLatin1String("pnm");
    return isPpm ? Format::Ppm : Format::Unknown;
}

QByteArray ToPpm(RgbPicture const& picture)
{
    QByteArray file = "P6\n" + QByteArray::number(picture.width) + ' ' + QByteArray::number(picture.height) + "\n255\n";
    file.append(reinterpret_cast<char const*>(picture.bytes.data()), static_cast<int>(picture.bytes.size()));
    return file;
}

FfmpegPtr<AVFrame> ToFrame(RgbPicture const& picture, AVPixelFormat format)
{
    FfmpegPtr<AVFrame> frame(av_frame_alloc());
    if (!frame)
        return nullptr;
    frame->width = picture.width;
    frame->height = picture.height;
    frame->format = format;
    if (format != AV_PIX_FMT_RGB24)
        frame->color_range = AVCOL_RANGE_JPEG;
    FfmpegPtr<SwsContext> const scaler(sws_getContext(picture.width, picture.height, AV_PIX_FMT_RGB24, picture.width,
                                                      picture.height, format, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (av_frame_get_buffer(frame.get(), 0) < 0 || !scaler)
        return nullptr;
    uint8_t const* source[4] = {picture.bytes.data(), nullptr, nullptr, nullptr};
    int const strides[4] = {static_cast<int>(picture.RowBytes()), 0, 0, 0};
    sws_scale(scaler.get(), source, strides, 0, picture.height, frame->data, frame->linesize);
    return frame;
}

FfmpegPtr<AVCodecContext> OpenEncoder(AVCodecID id, AVFrame const& frame)
{
    AVCodec const* encoder = avcodec_find_encoder(id);
    FfmpegPtr<AVCodecContext> context(encoder ? avcodec_alloc_context3(encoder) : nullptr);
    if (!context)
        return nullptr;
    context->width = frame.width;
    context->height = frame.height;
    context->pix_fmt = static_cast<AVPixelFormat>(frame.format);
    context->color_range = frame.color_range;
    context->time_base = {1, 25}; // any; encoders refuse to open without one
    context->thread_count = 1;
    context->flags |= AV_CODEC_FLAG_QSCALE;
    context->global_quality = jpegQuality;
    return avcodec_open2(context.get(), encoder, nullptr) < 0 ? nullptr : std::move(context);
}

// Empty if FFmpeg cannot encode it.
QByteArray Encode(RgbPicture const& picture, AVCodecID id, AVPixelFormat format)
{
    auto const frame = ToFrame(picture, format);
    auto const context = frame ? OpenEncoder(id, *frame) : nullptr;
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    if (!context || !packet)
        return {};
    frame->quality = jpegQuality;
    if (avcodec_send_frame(context.get(), frame.get()) < 0 || avcodec_send_frame(context.get(), nullptr) < 0 ||
        avcodec_receive_packet(context.get(), packet.get()) < 0)
        return {};
    return QByteArray(reinterpret_cast<char const*>(packet->data), packet->size);
}

QByteArray Encode(RgbPicture const& picture, Format format)
{
    switch (format) {
    case Format::Png:
        return Encode(picture, AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24);
    case Format::Jpeg:
        return Encode(picture, AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P);
    case Format::Ppm:
        return ToPpm(picture);
    default:
        return {};
    }
}

bool WriteFile(QByteArray const& bytes, QString const& path, QString& error)
{
    QSaveFile file(path);
    file.setDirectWriteFallback(true); // for a folder in which no file can be created
    if (!OutputFile::Open(file, error))
        return false;
    // commit() ignores a failed flush.
    bool const written = file.write(bytes) == bytes.size() && file.flush() && file.commit();
    if (!written)
        error = file.errorString();
    return written;
}

bool WriteToStandardOutput(QByteArray const& bytes, QString& error)
{
    if (Console::IsTerminal())
        error = QStringLiteral("a terminal cannot show pictures; redirect the output");
    else if (!Console::WriteBytes(bytes))
        error = QStringLiteral("the standard output does not take it");
    return error.isEmpty();
}

} // namespace

QStringList PictureFile::Endings()
{
    return {QStringLiteral("png"), QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("ppm"),
            QStringLiteral("pnm")};
}

QString PictureFile::EndingOf(QString const& path)
{
    return QFileInfo(path).suffix().toLower();
}

bool PictureFile::Write(RgbPicture const& picture, PictureTarget const& target, QString& error)
{
    QByteArray const bytes = Encode(picture, FormatOf(target.format));
    if (bytes.isEmpty()) {
        error = QStringLiteral("a picture of %1x%2 does not fit this format").arg(picture.width).arg(picture.height);
        return false;
    }
    return target.IsStandardOutput() ? WriteToStandardOutput(bytes, error) : WriteFile(bytes, target.path, error);
}
