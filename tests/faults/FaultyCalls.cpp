#include "tests/faults/FaultyCalls.h"

extern "C" {
#include <libavutil/error.h>
}

#include <cerrno>
#include <cstdint>
#include <mutex>

namespace {

struct State
{
    std::mutex mutex;
    std::string name;
    int nth = 0;
    bool every = false;
    int calls = 0;
    int failed = 0;
};

State& GetState()
{
    static State state;
    return state;
}

bool Fails(char const* name)
{
    State& state = GetState();
    std::lock_guard const lock(state.mutex);
    if (state.name != name)
        return false;
    ++state.calls;
    bool const fails = state.every ? state.calls % state.nth == 0 : state.calls == state.nth;
    state.failed += fails ? 1 : 0;
    return fails;
}

constexpr int inputError = AVERROR(EIO);
constexpr int noMemory = AVERROR(ENOMEM);

} // namespace

// FAULTY(result, function, failure, parameters, arguments). The linker defines the names __real_ and __wrap_.
// Structures are passed as void pointers, because their constness differs between FFmpeg's versions.
#define FAULTY(result, function, failure, parameters, arguments)                                                       \
    extern "C" result __attribute__((weak)) __real_##function parameters;                                              \
    extern "C" result __wrap_##function parameters;                                                                    \
    extern "C" result __wrap_##function parameters                                                                     \
    {                                                                                                                  \
        return Fails(#function) ? (failure) : __real_##function arguments;                                             \
    }

// As FFmpeg may do, a failing seek moves within the file: to the last key picture.
//
// clang-format off: the build reads one name per line.
FAULTY(int, avformat_open_input, inputError, (void** context, char const* path, void const* format, void** options),
       (context, path, format, options))
FAULTY(int, avformat_find_stream_info, inputError, (void* context, void** options), (context, options))
FAULTY(int, av_find_best_stream, inputError,
       (void* context, int type, int wanted, int related, void** decoder, int flags),
       (context, type, wanted, related, decoder, flags))
FAULTY(int, av_read_frame, inputError, (void* context, void* packet), (context, packet))
FAULTY(int, av_seek_frame, (__real_av_seek_frame(context, stream, INT64_MAX, flags), inputError),
       (void* context, int stream, int64_t time, int flags), (context, stream, time, flags))
FAULTY(int, avformat_seek_file,
       (__real_avformat_seek_file(context, stream, least, INT64_MAX, INT64_MAX, flags), inputError),
       (void* context, int stream, int64_t least, int64_t time, int64_t most, int flags),
       (context, stream, least, time, most, flags))
FAULTY(void*, avcodec_alloc_context3, nullptr, (void const* codec), (codec))
FAULTY(int, avcodec_parameters_to_context, noMemory, (void* context, void const* parameters), (context, parameters))
FAULTY(void*, avcodec_find_decoder, nullptr, (int id), (id))
FAULTY(int, avcodec_open2, noMemory, (void* context, void const* codec, void** options), (context, codec, options))
FAULTY(int, avcodec_send_packet, noMemory, (void* context, void const* packet), (context, packet))
FAULTY(int, avcodec_receive_frame, inputError, (void* context, void* frame), (context, frame))
FAULTY(void*, av_packet_alloc, nullptr, (), ())
FAULTY(void*, av_frame_alloc, nullptr, (), ())
FAULTY(void*, av_buffer_create, nullptr,
       (uint8_t * data, size_t size, void (*release)(void*, uint8_t*), void* opaque, int flags),
       (data, size, release, opaque, flags))
FAULTY(int, av_image_fill_arrays, inputError,
       (uint8_t * *planes, int* strides, uint8_t const* source, int format, int width, int height, int align),
       (planes, strides, source, format, width, height, align))
FAULTY(void*, sws_alloc_context, nullptr, (), ())
FAULTY(int, sws_init_context, noMemory, (void* context, void* source, void* target), (context, source, target))
FAULTY(int, sws_scale, inputError,
       (void* context, uint8_t const* const* source, int const* sourceStrides, int y, int height,
        uint8_t* const* target, int const* strides),
       (context, source, sourceStrides, y, height, target, strides))
FAULTY(int, sws_scale_frame, noMemory, (void* context, void* target, void const* source), (context, target, source))
FAULTY(void*, swr_alloc, nullptr, (), ())
FAULTY(int, swr_init, noMemory, (void* context), (context))
FAULTY(int, swr_convert, noMemory,
       (void* context, uint8_t** target, int targetCount, uint8_t const** source, int count),
       (context, target, targetCount, source, count))
// clang-format on

std::vector<std::string> FaultyCalls::Names()
{
    return {"avformat_open_input",
            "avformat_find_stream_info",
            "av_find_best_stream",
            "av_read_frame",
            "av_seek_frame",
            "avformat_seek_file",
            "avcodec_alloc_context3",
            "avcodec_parameters_to_context",
            "avcodec_find_decoder",
            "avcodec_open2",
            "avcodec_send_packet",
            "avcodec_receive_frame",
            "av_packet_alloc",
            "av_frame_alloc",
            "av_buffer_create",
            "av_image_fill_arrays",
            "sws_alloc_context",
            "sws_init_context",
            "sws_scale",
            "sws_scale_frame",
            "swr_alloc",
            "swr_init",
            "swr_convert"};
}

void FaultyCalls::Fail(std::string const& name, int nth, bool every)
{
    State& state = GetState();
    std::lock_guard const lock(state.mutex);
    state.name = name;
    state.nth = nth;
    state.every = every;
    state.calls = 0;
    state.failed = 0;
}

void FaultyCalls::Stop()
{
    State& state = GetState();
    std::lock_guard const lock(state.mutex);
    state.name.clear();
}

int FaultyCalls::CallCount()
{
    State& state = GetState();
    std::lock_guard const lock(state.mutex);
    return state.calls;
}

int FaultyCalls::FailedCount()
{
    State& state = GetState();
    std::lock_guard const lock(state.mutex);
    return state.failed;
}
