#pragma once

#include <QString>

struct AVFormatContext;

// The SMPTE timecode of a source's first picture, as the file says it.
struct StartTimecode
{
    QString text;      // "01:00:10:02", with ";" before the frames for drop frame; empty when the file says none
    double rate = 0.0; // frames of timecode a second; may be half of the pictures'

    // From a timecode track, a tag of a stream or of the container, or the head of the file at `path`: MPEG-1 and
    // MPEG-2 in a container without tags, DPX and OpenEXR. `pictureRate` is taken where a track says no rate.
    static StartTimecode Of(AVFormatContext const& input, QString const& path, double pictureRate);

    // Of the file of a single picture, from its head.
    static StartTimecode OfImage(QString const& path, double pictureRate);
};
