#pragma once

#include <memory>

class MediaSource;
class SourceReader;
struct DecodedVideoFrame;

// Finds the very picture that shows at a time: the last one that starts at or before it, the same one that decoding the
// whole file up to there would give. Of a still image and of cover art it is their one picture.
class PictureFinder
{
public:
    enum class Result { Found, CannotOpen, NoPicture, PastTheEnd };

    PictureFinder(MediaSource const& source, SourceReader& reader); // which must outlive it

    Result Find(long long time); // microseconds from the first picture, not negative

    // Of the last Find: the picture found, or the last one of the source when the time was past the end.
    std::shared_ptr<DecodedVideoFrame> const& GetPicture() const { return picture; }

private:
    void ReadUpTo(long long time);
    bool IsPastTheEnd(long long time) const;

    MediaSource const& source;
    SourceReader& reader;
    std::shared_ptr<DecodedVideoFrame> picture;
    bool hasOnePicture = false;
    bool hasNext = false; // a later picture was seen
};
