#include "fuzz/FuzzBytes.h"
#include "tests/cache/DecodedAudioWalk.h"

// Drives the audio cache and its model through any sequence of operations; they must agree after each one.

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    testing::GTEST_FLAG(throw_on_failure) = true;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    DecodedAudioWalk<FuzzBytes> walk{FuzzBytes(data, size)};
    while (!walk.IsOver())
        walk.Step();
    return 0;
}
