#pragma once

// How decoded pictures become RGB.
struct ColourSettings
{
    // False: by the converter's defaults, ITU-R BT.601 in limited range, whatever the stream says. The bytes are the
    // same with every version of the library. True: as the stream says, or as is usual for streams that say nothing.
    bool followStream = false;

    // Whether PQ and HLG become SDR. When false, their values are shown as if they were SDR. Only with followStream.
    bool toneMapping = true;

    // Whether 8-bit 4:2:0 and 4:2:2 are interpolated and rounded as exactly as everything else, at three times the
    // cost of the quick converter. Only with followStream.
    bool exact = false;

    friend bool operator==(ColourSettings const& left, ColourSettings const& right)
    {
        return left.followStream == right.followStream && left.toneMapping == right.toneMapping &&
               left.exact == right.exact;
    }
    friend bool operator!=(ColourSettings const& left, ColourSettings const& right) { return !(left == right); }
};
