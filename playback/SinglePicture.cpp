#include "playback/SinglePicture.h"

#include "decode/DecodedVideoFrame.h"

#include <utility>

SinglePicture::SinglePicture(std::shared_ptr<DecodedVideoFrame> newPicture) : picture(std::move(newPicture))
{
    picture->startTime = 0;
    picture->endTime = 0;
}

PictureSource::Result SinglePicture::SeekTo(long long, long long, StopCheck const&)
{
    isRead = false;
    return Result::Picture;
}

PictureSource::Result SinglePicture::Read(std::shared_ptr<DecodedVideoFrame>& read, StopCheck const&)
{
    if (isRead)
        return Result::End;
    isRead = true;
    read = picture;
    return Result::Picture;
}

long long SinglePicture::GetEnd() const
{
    return 1;
}

long long SinglePicture::GetOrigin() const
{
    return 0;
}

QString SinglePicture::GetError() const
{
    return {};
}

long long SinglePicture::GetDecodedCount() const
{
    return 1;
}
