#pragma once

// How decoded pictures become RGB.
struct ColourSettings
{
    // False: convert as ITU-R BT.601 in limited range, the converter's defaults, whatever the stream is tagged with;
    // the bytes are the same in every version of the library. True: convert by the stream's tags, or by the usual
    // values for an untagged stream.
    bool followStream = false;

    // Whether PQ and HLG are tone-mapped to SDR. When false, their values are shown as if they were SDR. Only with
    // followStream.
    bool toneMapping = true;

    // Whether 8-bit 4:2:0 and 4:2:2 are interpolated and rounded as exactly as all other formats, at three times the
    // cost of the quick converter. Only with followStream.
    bool exact = false;

    friend bool operator==(ColourSettings const& left, ColourSettings const& right)
    {
        return left.followStream == right.followStream && left.toneMapping == right.toneMapping &&
               left.exact == right.exact;
    }
    friend bool operator!=(ColourSettings const& left, ColourSettings const& right) { return !(left == right); }
};
