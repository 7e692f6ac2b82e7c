#pragma once

#include "source/ImageSequence.h"
#include "source/PictureStream.h"

#include <deque>
#include <future>
#include <memory>

class MediaInfo;

// Reads the pictures of an image sequence, each by an instance of its own, on several threads at a time and yet in
// order. The first file that is read is probed, and its description serves the others, too; a file that turns out to be
// of another kind is probed by itself. A still image is a sequence of one.
class SequencePictures : public PictureStream
{
public:
    // `options` gives the rate, the holes, the threads, the colour space and the colours. `described`: what is known
    // of one of the files, or null.
    SequencePictures(ImageSequence sequence, SourceOptions const& options,
                     std::shared_ptr<MediaInfo> const& described = nullptr);
    ~SequencePictures() override; // waits for the pictures under way

    static double RateFor(SourceOptions const& options); // pictures per second
    static long long TimeOf(long long index, double rate);

    void SetColours(ColourSettings const& colours) override;
    QString DescribeColours() const override;
    ReadResult ReadNear(long long time, long long earliest, Picture& picture, StopCheck const& stop) override;
    ReadResult Read(Picture& picture, StopCheck const& stop = neverStop) override;
    long long GetEnd() const override; // known from the beginning
    QString GetError() const override;
    QVector<long long> GetDamage() const override; // of the files that cannot be read
    long long GetDecodedCount() const override;

private:
    class Describer;

    struct UnderWay
    {
        long long index;
        std::future<Picture> picture;
    };

    long long TimeOf(long long index) const { return TimeOf(index, rate); }
    long long IndexAt(long long time) const;
    long long IndexAfter(long long index) const;
    void GoTo(long long index);
    void StartMore();
    Picture TakeNext();
    ReadResult TakeNewest(Picture& picture);
    Picture Black(long long index) const;

    ImageSequence sequence;
    double rate;
    SequenceHoles holes;
    size_t threads;
    bool isLinear;
    ColourSettings colours;
    std::shared_ptr<Describer> describer;

    std::deque<UnderWay> underWay; // in order
    long long nextToStart = 0;     // index after the last one under way
    Picture newest;                // read, and waiting for the start of the next one
    int width = 0;                 // of the last picture, for black ones
    int height = 0;
    long long decodedCount = 0;
    QString error;
    DamageTimes damage;
};
