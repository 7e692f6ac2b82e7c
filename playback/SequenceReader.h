#pragma once

#include "TavolinPlaybackExport.h"

#include "playback/ImageSequence.h"
#include "playback/PictureSource.h"

#include <deque>
#include <future>

// Reads the pictures of an image sequence, each by an instance of its own, on several threads at a time and yet in
// order. A still image is a sequence of one.
class TAVOLINPLAYBACK_EXPORT SequenceReader : public PictureSource
{
public:
    // `options` gives the rate, the holes, the threads and the colour space.
    SequenceReader(ImageSequence sequence, PlaybackOptions const& options);
    ~SequenceReader() override; // waits for the pictures under way

    double GetRate() const; // pictures per second

    Result SeekTo(long long time, long long earliest, StopCheck const& stop) override;
    Result Read(std::shared_ptr<DecodedVideoFrame>& picture, StopCheck const& stop) override;
    long long GetEnd() const override;    // known from the beginning
    long long GetOrigin() const override; // 0
    QString GetError() const override;
    long long GetDecodedCount() const override;

private:
    using Picture = std::shared_ptr<DecodedVideoFrame>;

    struct UnderWay
    {
        long long index;
        std::future<Picture> picture;
    };

    long long TimeOf(long long index) const;
    long long IndexAt(long long time) const;
    long long IndexAfter(long long index) const;
    void GoTo(long long index);
    void StartMore();
    Picture TakeNext();
    Picture Black(long long index) const;

    ImageSequence sequence;
    double rate;
    SequenceHoles holes;
    size_t threads;
    bool isLinear;

    std::deque<UnderWay> underWay; // in order
    long long nextToStart = 0;     // index after the last one under way
    Picture newest;                // read, and waiting for the start of the next one
    int width = 0;                 // of the last picture, for black ones
    int height = 0;
    long long decodedCount = 0;
    QString error;
};
