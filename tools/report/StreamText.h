#pragma once

#include <QString>

struct AudioStream;
struct VideoStream;

// Values of stream records in the notation of FFmpeg's own tools.
namespace StreamText {

QString CodecName(QString const& decoderName); // the codec: "mp3" for the decoder "mp3float"
QString CodecLongName(QString const& decoderName);
QString SampleFormat(AudioStream const& stream);  // "fltp", empty when there is none
QString ChannelLayout(AudioStream const& stream); // "5.1(side)", empty when it has no name
QString FrameRate(VideoStream const& stream);     // "2997/100": the rate in thousandths as a fraction, "0/0" for none
QString AspectRatio(VideoStream const& stream);   // of the pixels: "64:45"

} // namespace StreamText
