#include "source/PictureStream.h"

PictureStream::~PictureStream() = default;

ReadResult PictureStream::ReadAt(long long time, Picture& picture, StopCheck const& stop)
{
    return ReadNear(time, time, picture, stop);
}

void PictureStream::ReadOnlyBefore(long long) {}

void PictureStream::SetColours(ColourSettings const&) {}

QString PictureStream::DescribeColours() const
{
    return {};
}

long long PictureStream::GetOrigin() const
{
    return 0;
}

long long PictureStream::GetGroupDuration() const
{
    return 0;
}

QString PictureStream::GetError() const
{
    return {};
}

QVector<long long> PictureStream::GetDamage() const
{
    return {};
}
