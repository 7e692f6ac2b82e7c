#include "player/sound/SoundLibraries.h"

#include <dlfcn.h>

namespace {

// As their headers declare them. PortAudio brings the libraries, whichever it was built with: none of them is needed to
// build or to run.
using AlsaErrorHandler = void (*)(char const* file, int line, char const* function, int error, char const* format, ...);
using JackMessageHandler = void (*)(char const* message);

void DropAlsaError(char const*, int, char const*, int, char const*, ...) {}
void DropJackMessage(char const*) {}

template <typename Handler>
void SetHandler(char const* setter, Handler handler)
{
    if (auto* const set = reinterpret_cast<void (*)(Handler)>(dlsym(RTLD_DEFAULT, setter)))
        set(handler);
}

} // namespace

void SoundLibraries::Silence()
{
    SetHandler<AlsaErrorHandler>("snd_lib_error_set_handler", DropAlsaError);
    SetHandler<JackMessageHandler>("jack_set_error_function", DropJackMessage);
    SetHandler<JackMessageHandler>("jack_set_info_function", DropJackMessage);
}
