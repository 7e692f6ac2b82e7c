#include "common/AudioStream.h"

AudioStream::AudioStream() = default;
