#pragma once

#include "playback/PictureSource.h"

// A picture source of one picture that is decoded already: the cover of a file of sound.
class SinglePicture : public PictureSource
{
public:
    explicit SinglePicture(std::shared_ptr<DecodedVideoFrame> picture);

    Result SeekTo(long long time, long long earliest, StopCheck const& stop) override;
    Result Read(std::shared_ptr<DecodedVideoFrame>& read, StopCheck const& stop) override;
    long long GetEnd() const override;
    long long GetOrigin() const override;
    QString GetError() const override;
    long long GetDecodedCount() const override;

private:
    std::shared_ptr<DecodedVideoFrame> picture;
    bool isRead = false;
};
