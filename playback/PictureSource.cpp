#include "playback/PictureSource.h"

PictureSource::~PictureSource() = default;

void PictureSource::ReadOnlyBefore(long long) {}
