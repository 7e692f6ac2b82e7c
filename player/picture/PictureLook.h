#pragma once

#include "TavolinWidgetsExport.h"

#include <QString>

#include <array>

class QImage;
struct DecodedVideoFrame;

// How a picture is displayed: which channel, how bright, and which of its fields. A value. It never changes a record,
// so saved and copied pictures are without it.
struct TAVOLINWIDGETS_EXPORT PictureLook
{
    enum class Channels { All, Red, Green, Blue, Luma };
    enum class Fields {
        Both,    // the picture as it is
        First,   // the rows of the field that was taken first, each of them twice
        Blended, // each row with a quarter of the rows above and below
    };

    static constexpr int maxHalfStops = 16;

    Channels channels = Channels::All; // a single one is shown in grey
    int halfStops = 0;                 // of exposure, held to maxHalfStops either way
    Fields fields = Fields::Both;

    bool ChangesColours() const { return channels != Channels::All || halfStops != 0; }

    // What is displayed of the values of a pixel: a matrix of 3 x 3, row by row, whose results are clipped. Luma is
    // weighed as ITU-R BT.709 has it. A stop doubles the light of a display with a gamma of 2.2.
    std::array<float, 9> GetMatrix() const;

    // Applies the matrix to the opaque pixels of an image in Format_ARGB32_Premultiplied.
    void Apply(QImage& painted) const;

    // An image of the record with its rows as `fields` has them. Both: of the record's bytes, which must outlive it.
    QImage ImageOf(DecodedVideoFrame const& picture, bool lowerFieldFirst) const;

    QString Describe() const; // for the user; empty for the picture as it is

    friend bool operator==(PictureLook const& left, PictureLook const& right)
    {
        return left.channels == right.channels && left.halfStops == right.halfStops && left.fields == right.fields;
    }
    friend bool operator!=(PictureLook const& left, PictureLook const& right) { return !(left == right); }
};
