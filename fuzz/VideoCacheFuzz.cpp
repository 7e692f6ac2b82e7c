#include "fuzz/FuzzBytes.h"
#include "tests/cache/DecodedVideoWalk.h"

// The cache of pictures and its plain model, through any row of operations: they have to agree after each of them.

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    testing::GTEST_FLAG(throw_on_failure) = true;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    DecodedVideoWalk<FuzzBytes> walk{FuzzBytes(data, size)};
    while (!walk.IsOver())
        walk.Step();
    return 0;
}
