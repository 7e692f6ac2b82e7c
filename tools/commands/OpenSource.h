#pragma once

#include "source/Source.h"

#include <QStringList>

class MessageLog;

// Opening the file that a command is given. Says on standard error what is wrong when it cannot be used; empty then.
std::unique_ptr<Source> OpenSource(QString const& path, MessageLog& log, ColourSettings const& colours = {});
std::unique_ptr<Source> OpenPictures(QString const& path, MessageLog& log, ColourSettings const& colours); // or empty
std::unique_ptr<Source> OpenSound(QString const& path, MessageLog& log);                                   // without

// Has the source's sound be taken from its stream of that number, from 1; 0 leaves the choice to FFmpeg. False where
// there is none that can be decoded.
bool ChooseSound(Source& source, int number);

QList<Source::Stream> UndecodableStreams(Source const& source); // video before audio
QStringList DescribeUndecodable(Source const& source);          // a line for each of them
void SayUndecodable(Source const& source);                      // the same on standard error
