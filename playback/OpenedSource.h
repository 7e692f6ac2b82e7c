#pragma once

#include "TavolinPlaybackExport.h"

#include "playback/PictureSource.h"
#include "playback/PlaybackOptions.h"
#include "playback/PlaybackStatus.h"

class MediaInfo;

// A source that has been probed, and what its pictures are read by.
struct TAVOLINPLAYBACK_EXPORT OpenedSource
{
    SourceKind kind = SourceKind::None; // None: `error` says why
    QString error;                      // also what is missing from a source that opened all the same

    std::shared_ptr<MediaInfo> info;         // null for stills and sequences
    std::unique_ptr<PictureSource> pictures; // null without pictures
    bool hasSound = false;

    int width = 0; // as coded
    int height = 0;
    double frameRate = 0.0;
    long long frameStep = 0;         // microseconds, an estimate where the stream says none
    long long expectedDuration = -1; // as the container says; -1 when it does not

    // Tells what kind of source `path` is and opens it. Decoding thread: takes as long as probing takes.
    static OpenedSource Open(QString const& path, bool isSequence, PlaybackOptions const& options,
                             StopCheck const& stop);
};
