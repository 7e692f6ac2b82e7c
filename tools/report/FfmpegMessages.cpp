#include "tools/report/FfmpegMessages.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

constexpr int longestMessage = 400; // bytes

std::mutex mutex; // of what follows
int errorCount = 0;
QString firstError;

void TakeError(char const* format, va_list arguments)
{
    char text[longestMessage] = {};
    std::vsnprintf(text, sizeof text, format, arguments);
    std::lock_guard const lock(mutex);
    if (errorCount++ == 0)
        firstError = QString::fromUtf8(text).trimmed();
}

void Take(void* context, int level, char const* format, va_list arguments)
{
    constexpr int levelBits = 0xff; // colours lie above
    if ((level & levelBits) <= AV_LOG_ERROR) {
        va_list copy;
        va_copy(copy, arguments);
        TakeError(format, copy);
        va_end(copy);
    }
    av_log_default_callback(context, level, format, arguments);
}

} // namespace

FfmpegMessages::FfmpegMessages()
{
    {
        std::lock_guard const lock(mutex);
        errorCount = 0;
        firstError.clear();
    }
    av_log_set_callback(Take);
}

FfmpegMessages::~FfmpegMessages()
{
    av_log_set_callback(av_log_default_callback);
}

int FfmpegMessages::GetErrorCount() const
{
    std::lock_guard const lock(mutex);
    return errorCount;
}

QString FfmpegMessages::GetFirstError() const
{
    std::lock_guard const lock(mutex);
    return firstError;
}
