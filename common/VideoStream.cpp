#include "common/VideoStream.h"

VideoStream::VideoStream() = default;
