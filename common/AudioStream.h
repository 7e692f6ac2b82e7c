#pragma once

#include "TavolinCommonExport.h"

#include <QMap>
#include <QString>

// One audio stream of a media source. A record whose stream could not be opened stays as it was constructed, not valid.
struct TAVOLINCOMMON_EXPORT AudioStream
{
    AudioStream();

    bool valid = false;
    int streamIndex = -1; // position among all streams of the container
    QString codecName;    // the decoder's short name
    int channels = 0;
    unsigned long long channelLayout = 0; // FFmpeg channel mask
    bool isPlanar = false;
    int bytesPerSample = 0;
    int sampleRate = 0;     // Hz
    int sampleFormat = 0;   // AVSampleFormat of the decoder
    long long hostData = 0; // the host's own; copied with the record, never set or read by the libraries
    QMap<QString, QString> metadata;
};
