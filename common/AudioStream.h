#pragma once

#include "TavolinCommonExport.h"

#include <QMap>
#include <QString>

// One audio stream of a media source. If the stream cannot be opened, its record keeps the defaults and is not valid.
struct TAVOLINCOMMON_EXPORT AudioStream
{
    AudioStream(); // not valid

    bool valid = false;                   // the decoder was opened and the record filled
    int streamIndex = -1;                 // position among all streams of the container
    QString codecName;                    // the decoder's short name
    int channels = 0;                     // as coded; output has AvGlobals::maxAudioOutputChannels at most
    unsigned long long channelLayout = 0; // FFmpeg's channel mask; without one, the default for `channels`
    bool isPlanar = false;                // each channel in a plane of its own, as decoded
    int bytesPerSample = 0;               // of one channel, as decoded; output is always 16-bit
    int sampleRate = 0;                   // Hz
    int sampleFormat = 0;                 // AVSampleFormat of the decoder
    long long hostData = 0;               // set by the host, copied with the record, unused by the libraries
    QMap<QString, QString> metadata;      // tags of the stream, keys unchanged
};
