#pragma once

#include <QJsonObject>
#include <QString>

#include <string>
#include <vector>

// Media files for tests: real ones of cameras, phones and programs, beside the checkout, and small ones made on first
// use.
namespace Clips {

bool HasReal();
QString Real(QString const& name);
QJsonObject const& RealFacts(); // the known facts of each, by file name: see the notes beside the clips

// A made clip, by name: test pictures and tones (see Media.h).
QString Made(QString const& name);

// The pattern of an image sequence of 60 PNG files, made the same way.
QString MadeSequence();

std::vector<std::string> MadeNames();      // with pictures
std::vector<std::string> DifficultNames(); // made; decoding cannot easily start in their middle
std::vector<std::string> RealMovieNames(); // those that can be decoded
std::vector<std::string> MovieNames();     // all of these, the real ones with "real/" in front
std::string TestName(std::string name);    // with "_" for what GoogleTest does not take

bool IsDamaged(std::string const& name);

// Whether every picture can be decoded without fault: the clip is neither damaged nor cut out of a longer one.
bool IsWhole(std::string const& name);

// Makes image files in a folder, named by a printf pattern, each with another plain grey: number x 8 (mod 256).
void WriteNumberedPictures(QString const& folder, QString const& pattern, std::vector<long long> const& numbers);

} // namespace Clips
