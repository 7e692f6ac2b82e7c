#pragma once

#include "decode/ColourSettings.h"

class QCommandLineParser;

// The options --colours and --no-tone-mapping, which several commands take.
namespace ColourOptions {

void Add(QCommandLineParser& parser, bool followsStream); // what a command does when nothing is given

// What is asked for; `exact`: where the stream is followed. False, said on standard error, for another word.
bool Take(QCommandLineParser const& parser, bool followsStream, bool exact, ColourSettings& colours);

} // namespace ColourOptions
