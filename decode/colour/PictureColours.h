#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

struct AVStream;

// How the colours of one picture are coded: what its tags say, and the usual where they say nothing.
struct PictureColours
{
    // ITU-T H.273. Untagged: BT.709 from 720 lines on, BT.601 below, BT.2020 with its primaries or an HDR transfer.
    AVColorSpace matrix = AVCOL_SPC_BT709;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;  // untagged: BT.2020 with an HDR transfer
    AVChromaLocation chromaLocation = AVCHROMA_LOC_LEFT; // of subsampled formats only
    bool isFullRange = false;                            // RGB and the formats of JPEG always
    bool isInterlaced = false;                           // the rows of chroma belong to one field each
    double peak = 0.0; // cd/m2, of an HDR transfer: the brightest content, or what its display could show

    // `statedPeak`: what the container says, for pictures that say nothing; 0: nothing.
    static PictureColours Of(AVFrame const& picture, double statedPeak);

    // cd/m2 as the picture's own light levels say: of the content, else of the mastering display; 0 when it says none.
    static double StatedPeak(AVFrame const& picture);
    static double StatedPeak(AVStream const& stream); // the same as the container says

    bool IsHdr() const; // PQ or HLG

    // Whether the primaries are known and others than those of BT.709.
    bool HasOtherPrimaries() const;
};
