#pragma once

#include "decode/ColourSettings.h"
#include "python/PictureSpan.h"

#include <QString>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

class SoundStream;
class Source;
struct DecodedAudioFrame;
struct SourceOptions;

// What a Python program opens, without Python: a movie, sound, a still image or an image sequence. Times are
// microseconds of media time, where 0 is the first picture (in a file of sound, the container's 0). Any thread; calls
// wait for each other. Work that its check stops throws PictureSpan::Interrupted; a closed video throws Closed. After a
// fork, the new process has none of the threads that decode: there every call throws Forked, but Describe and Close.
class Video
{
public:
    using Picture = PictureSpan::Picture;

    // Each text is a whole sentence that names the file.
    struct OpenError : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };
    struct DecodeError : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };
    struct OutOfRange : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };
    struct Closed
    {};
    struct Forked
    {};

    struct Options
    {
        long long cacheBytes = 0;  // of pictures that are kept
        bool isSequence = false;   // a single file stands for the row that it belongs to
        double sequenceRate = 0.0; // pictures per second
        std::string holes;         // "hold", "black" or "refuse": what stands for a missing file
        ColourSettings colours;
    };

    struct Description
    {
        QString path;
        std::string kind; // "movie", "sound", "sound with cover art", "still image" or "sequence"
        bool hasPictures = false;
        bool hasSound = false;
        int width = 0;          // pixels of the first picture, the pixels' aspect ratio applied, not turned
        int height = 0;         // the same
        int rotation = 0;       // clockwise degrees by which to turn the pictures
        double frameRate = 0.0; // pictures per second; 0 when the stream says none
        int channels = 0;
        int sampleRate = 0; // Hz
    };

    struct Sound
    {
        std::vector<short> samples; // interleaved
        int channels = 0;
    };

    // What a path stands for, as everything here opens it: a file for itself, a pattern for its sequence, a folder for
    // the one thing in it that can be meant (see MediaItems). `isSequence`: a file stands for its row. Throws OpenError
    // where a folder does not tell.
    static Source OpenSource(QString const& path, bool isSequence, SourceOptions const& options);

    // Throws OpenError when there is nothing in it that can be decoded.
    Video(QString const& path, Options const& options, StopCheck const& stop);
    ~Video();

    Description const& Describe() const { return description; } // also when closed

    // When the last picture, or the sound of a file without pictures, is gone: as the container says until an end of
    // the stream has been reached. -1 when nobody knows yet; 0 for a still image.
    long long GetDuration() const;

    // The one that shows at `time`. The last one shows until the file ends, and that of a still image at any time.
    Picture At(long long time, StopCheck const& stop);     // throws OutOfRange, DecodeError
    Picture FindAt(long long time, StopCheck const& stop); // null where At throws OutOfRange
    Picture FindLast(StopCheck const& stop);
    Picture Step(DecodedVideoFrame const& picture, long long count, StopCheck const& stop);       // throws OutOfRange
    Picture FindNeighbour(DecodedVideoFrame const& picture, bool isLater, StopCheck const& stop); // null at an end

    // The samples from `from` up to `to`, at the source's rate, silence where it has none; at `speed` some are left out
    // or come twice, below 0 they come last to first. Ends with the sound, and begins at the container's 0 at the
    // earliest. Throws DecodeError when there is no sound, or none begins for many minutes.
    Sound ReadSound(long long from, long long to, double speed, StopCheck const& stop);

    // Releases everything but the pictures that are held elsewhere. After a fork, nothing.
    void Close();

private:
    std::unique_lock<std::mutex> Lock() const;
    bool IsForked() const;
    void OpenSound(Source const& source);
    void OpenPictures(Source const& source, long long cacheBytes, StopCheck const& stop);
    PictureSpan& OpenedPictures() const;
    SoundStream& OpenedSound() const;
    Picture Find(long long time, StopCheck const& stop);
    bool IsPastEnd(long long time) const;
    long long Distance(long long time, DecodedAudioFrame const& frame, int rate) const;
    bool IsOnePicture() const;
    QString RangeText() const;
    std::string Sentence(QString const& text) const;

    long long const process; // that opened it
    Description description;
    long long expectedDuration = -1;

    mutable std::mutex mutex; // of the following
    bool isClosed = false;
    std::unique_ptr<PictureSpan> pictures;
    std::unique_ptr<SoundStream> sound;
};
