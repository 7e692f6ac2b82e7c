#pragma once

#include "TavolinCommonExport.h"

#include <QMap>
#include <QString>

// One video stream of a media source. If the stream cannot be opened, its record keeps the defaults and is not valid.
struct TAVOLINCOMMON_EXPORT VideoStream
{
    VideoStream(); // not valid

    bool valid = false;              // the decoder was opened and the record filled
    int streamIndex = -1;            // position among all streams of the container
    QString codecName;               // the decoder's short name
    int width = 0;                   // pixels, as coded: neither the pixels' aspect ratio nor the rotation is applied
    int height = 0;                  // pixels, as coded
    float pixelAspectRatio = 0.0f;   // width of a pixel / its height
    long long startTime = 0;         // of the first picture that can be decoded, microseconds, never negative
    long long frameStep = 0;         // duration of a picture, microseconds; -1 for a still image
    double frameRate = 0.0;          // pictures per second, three decimals; -1.0 for a still image
    long long numFrames = 0;         // pictures in the stream, an estimate; 1 for a still image
    int codecDelay = 0;              // pictures that the decoder holds back; depends on its number of threads
    QMap<QString, QString> metadata; // tags of the stream, keys unchanged; "rotate" in clockwise degrees
};
