#pragma once

#include "source/PictureIndex.h"
#include "source/SoundStreamInfo.h"
#include "source/SourceOptions.h"

#include <QList>
#include <QString>
#include <QVector>

#include <memory>
#include <optional>

class MediaInfo;

// What an engine is doing.
enum class PlaybackState {
    Closed,  // nothing open, or what was asked for could not be opened: see `error`
    Opening, // not yet a picture or a sound to begin with
    Paused,  // the position stands still
    Playing, // the position moves, either way
    Ended,   // played up to an end of the media; a seek, or a speed the other way, goes on from there
};

// What an engine tells about itself at one moment. Times are microseconds of media time, where 0 is the first picture
// (or, in a file of sound, the container's 0).
struct PlaybackStatus
{
    PlaybackState state = PlaybackState::Closed; // what it is doing
    SourceKind kind = SourceKind::None;          // of what is open
    QString path;                                // as it was given to Open
    QString error; // the last error of the open source, one sentence for the user; empty without an error

    long long position = 0;     // not before the start, and not after the end once that is known
    long long start = 0;        // below 0 where the sound begins before the first picture
    long long duration = 0;     // from `start` to the end; 0 while nobody knows it
    bool durationKnown = false; // false: as the container says, until an end of the stream has been reached
    double speed = 0.0;         // 0 while paused, below 0 backwards
    double volume = 1.0;        // as set by SetVolume
    bool muted = false;         // as set by SetMuted
    bool waiting = false;       // the clock stands still until the first picture (and sound) of a new place is decoded

    // Of the pictures, as coded and not yet turned; 0 without pictures.
    int width = 0;             // pixels
    int height = 0;            // pixels
    double frameRate = 0.0;    // pictures per second, 0 when the stream says none
    long long frameStep = 0;   // microseconds from picture to picture; an estimate where the rate varies
    long long firstNumber = 0; // of an image sequence: in the name of the file whose picture comes first

    // Times of pictures that could not be decoded, or only in part, in rising order; of those that have been reached so
    // far, and not more than a thousand. The picture before a lost one stays in its place.
    QVector<long long> damage;

    // The SMPTE timecode of the first picture as the source says it ("01:00:10;02" for drop frame), and how many of its
    // frames a second has, which may be half of the pictures'; empty and 0 when the source says none.
    QString timecode;
    double timecodeRate = 0.0;

    // The true numbers and times of all pictures; null for sound, and as long as it is not known, which for a movie
    // takes as long as reading the file. Some files never tell: no picture has a number then.
    std::shared_ptr<PictureIndex const> index;
    bool lowerFieldFirst = false; // of two fields in a picture, the lower one was taken first

    // What the last picture was converted from, in FFmpeg's names, and what was done to its light; empty when its
    // colours are not followed.
    QString colours;

    // Of the sound at output; 0 without sound. The sound of a movie opens after its first picture, so that these may
    // still be 0 when the state is no longer Opening.
    int channels = 0;
    int sampleRate = 0; // Hz

    // All streams of sound in the file, and which of them plays, counted from 0; empty and -1 without sound.
    QList<SoundStreamInfo> soundStreams;
    int soundStream = -1;
    bool isSoundChanging = false; // another one has been asked for and does not play yet

    // For a host that decodes the sound itself: the description of the open file, read-only, and the container's time
    // of media time 0. Null and 0 without sound.
    std::shared_ptr<MediaInfo> soundInfo;
    long long origin = 0;

    long long cacheStart = 0; // first and last moment for which a picture is cached;
    long long cacheEnd = -1;  // the end lies before the start when none is
    // Bytes of decoded pictures, cached or about to be cached, and their budget. They never exceed it, except that four
    // pictures are always kept. After SetCacheBudget both change once room has been made. A preview does not count, nor
    // does a picture on show that is no longer cached.
    long long cachedBytes = 0;
    long long cacheBudget = 0;
    long long soundStart = 0; // the same for sound
    long long soundEnd = -1;  // and its end

    long long picturesShown = 0;   // different pictures handed out since Open
    long long picturesDropped = 0; // whose time passed while playing without being handed out
    long long picturesDecoded = 0; // that came out of the decoder
    double decodeRate = 0.0;       // pictures per second of decoding, over the last second or so of it

    // Microseconds by which the sound heard is ahead of the picture on show, as of the last GetPicture: 0 while the
    // picture on show belongs to the sound, below 0 where the sound is behind it. Empty unless both play.
    std::optional<long long> soundOffset;

    // Microseconds by which the sound output is ahead of the time source since play last started, sought or turned: how
    // far the two clocks have drifted apart. Play follows the sound output, so nobody sees it. 0 again when an output
    // that had stood still continues.
    double drift = 0.0;
};
