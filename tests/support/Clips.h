#pragma once

#include <QJsonObject>
#include <QString>

#include <string>
#include <vector>

// Media files for tests: real ones of cameras, phones and programs, which lie beside the checkout, and small ones made
// when first asked for.
namespace Clips {

bool HasReal();
QString Real(QString const& name);
QJsonObject const& RealFacts(); // what is known of each, by file name: see the notes beside the clips

// By its name: made from test pictures and tones (see Media.h).
QString Made(QString const& name);

// The pattern of a row of numbered PNG files, 60 of them, made the same way.
QString MadeSequence();

std::vector<std::string> MadeNames();      // with pictures
std::vector<std::string> DifficultNames(); // made, too: hard to enter in the middle
std::vector<std::string> RealMovieNames(); // that can be decoded

bool IsDamaged(std::string const& name);

// Files in a folder, named by a printf pattern, each of another plain grey: number x 8 (mod 256).
void WriteNumberedPictures(QString const& folder, QString const& pattern, std::vector<long long> const& numbers);

} // namespace Clips
