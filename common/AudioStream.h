#pragma once

#include "TavolinCommonExport.h"

#include <QMap>
#include <QString>

// One audio stream of a media source. A record whose stream could not be opened stays as it was constructed, not valid.
struct TAVOLINCOMMON_EXPORT AudioStream
{
    AudioStream(); // not valid

    bool valid = false;                   // the decoder could be opened and the record was filled
    int streamIndex = -1;                 // position among all streams of the container
    QString codecName;                    // the decoder's short name
    int channels = 0;                     // as coded; output has AvGlobals::maxAudioOutputChannels at most
    unsigned long long channelLayout = 0; // FFmpeg's channel mask; the default one for `channels` where none is told
    bool isPlanar = false;                // each channel in a plane of its own, as decoded
    int bytesPerSample = 0;               // of one channel, as decoded; output is 16-bit whatever it is
    int sampleRate = 0;                   // Hz
    int sampleFormat = 0;                 // AVSampleFormat of the decoder
    long long hostData = 0;               // the host's own; copied with the record, never set or read by the libraries
    QMap<QString, QString> metadata;      // tags of the stream, keys as they stand
};
