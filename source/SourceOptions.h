#pragma once

#include "common/Settings.h"
#include "decode/ColourSettings.h"

#include <QStringList>

// What a source is.
enum class SourceKind {
    None,           // nothing
    Movie,          // pictures, with sound or without
    Sound,          // sound alone
    SoundWithCover, // a file of sound whose one picture is the cover
    Still,          // one picture
    Sequence,       // numbered pictures in files of their own
};

// What an image sequence shows for a number that has no file, or whose file cannot be read.
enum class SequenceHoles {
    Hold,   // the picture before it
    Black,  // a black picture as large as the one before it
    Refuse, // nothing: a sequence with a missing file does not open
};

// How a source is opened and its pictures are made.
struct SourceOptions
{
    // Pictures per second of image sequences, held to the range of Settings as every rate is.
    double sequenceRate = Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE;
    SequenceHoles sequenceHoles = SequenceHoles::Hold;
    int sequenceThreads = 0; // that decode a sequence; 0: as many as there are cores

    int movieThreads = 0; // pictures of a movie that are decoded at the same time; 0: as many as FFmpeg chooses

    // Pictures per second of streams that say none and whose pictures bear no times, as raw ones.
    double untimedRate = 25.0;

    // Which stream of sound is read, counted among those from 0; -1, and one that cannot be decoded or does not exist:
    // the one that FFmpeg thinks best.
    int soundStream = -1;

    // FFmpeg's names of the formats of single pictures beside those of AvGlobals::IsImageFormat. GIF and the like are
    // movies, and so are several pictures one behind the other in a file.
    QStringList furtherImageFormats = {"bmp",   "dds", "fits", "hdr",     "jpeg2000", "jpegls",  "jpegxl", "pam", "pbm",
                                       "pcx",   "pfm", "pgm",  "pgmyuv",  "phm",      "photocd", "pictor", "ppm", "psd",
                                       "qdraw", "qoi", "sgi",  "sunrast", "webp",     "xbm",     "xpm",    "xwd"};

    // Pictures are in linear light and get gamma-encoded. Those of OpenEXR always are.
    bool isLinearColorSpace = false;

    // How pictures become RGB: as the stream says, HDR brought to SDR.
    ColourSettings colours = {/*followStream=*/true, /*toneMapping=*/true, /*exact=*/false};
};
