#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

struct AVStream;

// How the colours of one picture are coded: by its tags, with the usual values for an untagged picture.
struct PictureColours
{
    // ITU-T H.273. Untagged: BT.709 from 720 lines on, BT.601 below; BT.2020 with BT.2020 primaries or an HDR transfer.
    AVColorSpace matrix = AVCOL_SPC_BT709;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;  // untagged: BT.2020 with an HDR transfer
    AVChromaLocation chromaLocation = AVCHROMA_LOC_LEFT; // of subsampled formats only
    bool isFullRange = false;                            // always for RGB and JPEG formats
    bool isInterlaced = false;                           // each chroma row belongs to one field
    double peak = 0.0; // cd/m2, for an HDR transfer: of the content or the mastering display

    // `statedPeak`: the container's peak in cd/m2, for pictures without one; 0: none.
    static PictureColours Of(AVFrame const& picture, double statedPeak);

    // The peak in cd/m2 by the light level of the content, else by the mastering display; 0 when there is neither.
    static double StatedPeak(AVFrame const& picture);
    static double StatedPeak(AVStream const& stream); // by the container

    bool IsHdr() const; // PQ or HLG

    // Whether the primaries are known and differ from BT.709's.
    bool HasOtherPrimaries() const;
};
