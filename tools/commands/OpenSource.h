#pragma once

#include "source/MediaItems.h"
#include "source/Source.h"

#include <QStringList>

#include <memory>
#include <optional>

class MessageLog;

// Opening what a command is given. Says on standard error what is wrong when it cannot be used; empty then.
std::unique_ptr<Source> OpenSource(MediaItem const& item, MessageLog& log, SourceOptions const& options);

// For commands that work on one source; empty also where `path` stands for several, or where its half is missing.
std::unique_ptr<Source> OpenPictures(std::optional<MediaItem> const& item, MessageLog& log,
                                     SourceOptions const& options);
std::unique_ptr<Source> OpenSound(QString const& path, MessageLog& log, int stream); // see ChooseSound
std::optional<MediaItem> FindOnlyOne(QString const& path, MediaItems::Half half, MediaItems::Rows rows);

// Has the source's sound be taken from its stream of that number, from 1; 0 leaves the choice to FFmpeg. False where
// there is none that can be decoded.
bool ChooseSound(Source& source, int number);

QList<Source::Stream> UndecodableStreams(Source const& source); // video before audio
QStringList DescribeUndecodable(Source const& source);          // a line for each of them
void SayUndecodable(Source const& source);                      // the same on standard error
