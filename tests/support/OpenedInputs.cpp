#include "tests/support/OpenedInputs.h"

#include <dlfcn.h>

#include <atomic>

// Without FFmpeg's header, because its versions differ in a "const".

namespace {

using Open = int (*)(void** context, char const* url, void const* format, void** options);

std::atomic<int> count = 0;

} // namespace

extern "C" __attribute__((visibility("default"))) int avformat_open_input(void** context, char const* url,
                                                                          void const* format, void** options)
{
    static auto const open = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "avformat_open_input"));
    ++count;
    return open(context, url, format, options);
}

int OpenedInputs::Count()
{
    return count;
}
