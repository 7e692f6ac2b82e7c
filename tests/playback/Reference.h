#pragma once

#include "playback/PlaybackOptions.h"

#include <QByteArray>
#include <QString>

#include <vector>

// What FFmpeg, called directly and from the file's beginning to its end, makes of a file.
namespace Reference {

// What makes an engine convert as the plain call does, so that its pictures can be compared with these.
PlaybackOptions PlainOptions();

struct Picture
{
    long long time = 0; // microseconds from the first picture
    QByteArray hash;    // MurmurHash3 of the packed RGB rows, without padding
};

// Those that show at 0 or later and whose times rise. `untimedRate` is for pictures without times. Decoded once a
// process.
std::vector<Picture> DecodePictures(QString const& path, double untimedRate = 25.0);

// The same of a damaged file. FFmpeg patches up pictures by what its threads have at hand: those that do not come out
// the same each time have no hash.
std::vector<Picture> DecodeDamagedPictures(QString const& path);

QByteArray HashOf(unsigned char const* data, int width, int height, int stride);

struct Sound
{
    int channels = 0;
    int sampleRate = 0;
    std::vector<short> samples;
};

// All samples of the best stream of sound one after the other, as 16 bits, whatever their times. Those of the file that
// was asked for last are kept.
Sound const& DecodeSound(QString const& path);

QString SoundCodec(QString const& path); // of the best stream

// The container's time of the first picture of the best stream; 0 without one.
long long FirstPictureTime(QString const& path);

} // namespace Reference
