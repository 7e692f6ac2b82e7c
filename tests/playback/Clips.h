#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <string>
#include <vector>

// Media files for tests: real ones that lie beside the checkout, and small ones made when first asked for.
namespace Clips {

bool HasReal();
QString Real(QString const& name);

// Made by the ffmpeg program from test pictures and tones, once a build folder.
QString Made(QString const& name);

// An MP4 of these with another name for one of its codecs ("avc1", "mp4a") that no decoder answers to, nor to what a
// box "esds" says of it.
QString WithoutDecoder(QString const& name, QByteArray const& codec);

// The pattern of a row of numbered PNG files, 60 of them, made the same way.
QString MadeSequence();

std::vector<std::string> MadeNames();      // with pictures
std::vector<std::string> DifficultNames(); // made, too: hard to enter in the middle
std::vector<std::string> RealMovieNames(); // that can be decoded

bool IsDamaged(std::string const& name);

// Files in a folder, named by a printf pattern, each of another plain grey: number x 8 (mod 256).
void WriteNumberedPictures(QString const& folder, QString const& pattern, std::vector<long long> const& numbers);

} // namespace Clips
