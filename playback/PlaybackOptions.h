#pragma once

#include "common/Settings.h"
#include "decode/ColourSettings.h"

#include <QStringList>

// What an image sequence shows for a number that has no file, or whose file cannot be read.
enum class SequenceHoles {
    Hold,   // the picture before it
    Black,  // a black picture as large as the one before it
    Refuse, // nothing: a sequence with a missing file does not open
};

// How an engine opens and plays; given once, when it is made.
struct PlaybackOptions
{
    // Bytes of decoded pictures kept around the play position, those included that wait to be put in front of them
    // while play goes backwards. Four pictures are kept whatever it says. On top come what the decoder itself needs, a
    // preview, and the picture shown last once it is not cached any more.
    long long cacheBudget = 512LL * 1024 * 1024;

    // Pictures per second of image sequences, held to the range of Settings as every rate is.
    double sequenceRate = Settings::DEFAULT_IMAGE_SEQUENCE_FRAME_RATE;
    SequenceHoles sequenceHoles = SequenceHoles::Hold;
    int sequenceThreads = 0; // that decode a sequence; 0: as many as there are cores

    // Pictures per second of streams that say none and whose pictures bear no times, as raw ones.
    double untimedRate = 25.0;

    // Names of formats that are still images beside those of AvGlobals::IsImageFormat.
    QStringList furtherImageFormats = {QStringLiteral("bmp"),      QStringLiteral("webp"), QStringLiteral("pnm"),
                                       QStringLiteral("jpeg2000"), QStringLiteral("sgi"),  QStringLiteral("psd")};

    bool isLinearColorSpace = false; // pictures of what is opened are in linear light and become gamma-encoded

    // How pictures become RGB: as the stream says, HDR brought to SDR. See PlaybackEngine::SetColours.
    ColourSettings colours = {/*followStream=*/true, /*toneMapping=*/true, /*exact=*/false};

    bool withSound = true;          // false leaves the sound of movies alone
    bool withPictures = true;       // false plays a source that has sound by it alone: 0 is the container's 0 then
    double muteAboveSpeed = 4.0;    // a higher speed, either way, is played without sound
    long long previewRest = 150000; // microseconds without a new preview seek after which the exact picture is decoded
};
