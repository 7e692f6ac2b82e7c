#pragma once

#include "playback/PictureFeeder.h"
#include "playback/PictureNumbers.h"
#include "playback/PlayState.h"
#include "playback/PlaybackOptions.h"
#include "playback/PlaybackStatus.h"
#include "playback/SoundFeeder.h"
#include "source/MediaItems.h"
#include "source/Source.h"

// The open source: its description, and the feeders that keep its pictures and sound decoded. The decoding thread
// makes, feeds and destroys it; other threads look into it under the lock of the state of play.
struct MediaFeed
{
    // Opens pictures, or the sound of a source without pictures; takes as long as probing and decoding the first
    // picture takes. Null when nothing can be played. `error`: why, or what is missing from what can be played; empty
    // when nothing is.
    static std::unique_ptr<MediaFeed> Open(MediaItem const& item, PlaybackOptions const& options, long long budget,
                                           StopCheck const& stop, QString& error);

    // Frees no sound on the output thread, which may still be filling a block from it.
    ~MediaFeed();

    // Opens the stream of sound of that number, see SourceOptions; null when it cannot be decoded.
    std::unique_ptr<SoundFeeder> OpenSound(int soundStream, StopCheck const& stop) const;

    // Decoding thread, once pictures are open: begins to number them.
    void StartNumbers(IndexThreads& threads);

    // Does the most urgent piece of work; false when there is nothing to do for `asked`.
    bool Work(PlayNeed const& asked, AskNeed const& ask);

    // Whether the picture for `asked` and so many microseconds of sound are decoded, or known not to exist.
    bool IsReady(PlayNeed const& asked, long long soundAhead) const;

    PlayRange GetRange() const;
    void FillStatus(PlaybackStatus& status, bool forwards) const;

    Source source;
    SourceKind kind = SourceKind::None;      // Sound, too, where the pictures are left out or cannot be decoded
    std::unique_ptr<PictureNumbers> numbers; // of the pictures; null until it has been started
    std::unique_ptr<PictureFeeder> pictures; // null without pictures
    std::unique_ptr<SoundFeeder> sound;      // null without sound
    QList<SoundStreamInfo> soundStreams;     // of the container
    bool soundPending = false;               // the sound of a movie is opened after its first picture

    int width = 0;  // pixels, of the pictures as coded
    int height = 0; // pixels

private:
    PlayNeed WithSoundToItsEnd(PlayNeed need) const;
    void FillPictures(PlaybackStatus& status) const;
    void FillSound(PlaybackStatus& status, bool forwards) const;
    bool OpenPictures(long long budget, StopCheck const& stop);
};
