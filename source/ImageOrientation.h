#pragma once

#include <QString>

struct DecodedVideoFrame;

// How a camera held the picture that it stored: what has to be done to its pixels to see it upright. Exif's tag
// Orientation, which is TIFF's tag 274, tells it in JPEG, PNG, WebP and TIFF. FFmpeg hands it on for some of these
// formats in some of its versions, so it is read from the file here.
struct ImageOrientation
{
    bool isMirrored = false; // left and right change places first
    int rotation = 0;        // then: clockwise degrees, 0, 90, 180 or 270

    // Of the still image at `path`; upright when the file says nothing, or nothing that makes sense. Any thread.
    static ImageOrientation Of(QString const& path);

    // Mirrors the pixels of `picture` and sets its rotation; turning it is left to whoever shows it, as with movies.
    void ApplyTo(DecodedVideoFrame& picture) const;
};
