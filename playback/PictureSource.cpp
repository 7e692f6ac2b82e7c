#include "playback/PictureSource.h"

PictureSource::~PictureSource() = default;

void PictureSource::ReadOnlyBefore(long long) {}

void PictureSource::SetColours(ColourSettings const&) {}

QString PictureSource::DescribeColours() const
{
    return {};
}

long long PictureSource::GetGroupDuration() const
{
    return 0;
}
