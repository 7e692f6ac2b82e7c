#pragma once

#include "source/MediaItems.h"
#include "source/Source.h"

#include <QStringList>

#include <memory>
#include <optional>

class MessageLog;

// Opens the source of a command. If it cannot be used, prints the reason on standard error and returns null.
std::unique_ptr<Source> OpenSource(MediaItem const& item, MessageLog& log, SourceOptions const& options);

// For commands on one source: null also without a source, and if it has no pictures, or no sound.
std::unique_ptr<Source> OpenPictures(std::optional<MediaItem> const& item, MessageLog& log,
                                     SourceOptions const& options);
std::unique_ptr<Source> OpenSound(QString const& path, MessageLog& log, int stream); // see ChooseSound
std::optional<MediaItem> FindOnlyOne(QString const& path, MediaItems::Half half, MediaItems::Rows rows);

// Selects the source's stream of sound of that number, from 1; 0 leaves the choice to FFmpeg. If that stream does not
// exist or cannot be decoded, prints that and returns false.
bool ChooseSound(Source& source, int number);

QList<Source::Stream> UndecodableStreams(Source const& source); // video before audio
QStringList DescribeUndecodable(Source const& source);          // a line for each of them
void SayUndecodable(Source const& source);                      // the same on standard error
