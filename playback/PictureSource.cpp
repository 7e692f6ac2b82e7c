#include "playback/PictureSource.h"

PictureSource::~PictureSource() = default;

void PictureSource::ReadOnlyBefore(long long) {}

long long PictureSource::GetGroupDuration() const
{
    return 0;
}
