#pragma once

#include "TavolinCommonExport.h"

#include <QString>

#include <functional>
#include <memory>
#include <mutex>

// The process-wide log. Every operation may be called from any thread; lines of different threads never mix.
//
// A code is the negative error code of the FFmpeg call that failed. By default each message is one line on standard
// error; a host that shows or keeps messages itself sets a sink.
class TAVOLINCOMMON_EXPORT Logger
{
public:
    // Info: no failure. Error: an operation failed; its return value reports the failure too.
    enum class Level { Info, Error };

    // `code` is 0 for a message without one.
    using Sink = std::function<void(Logger::Level level, QString const& message, int code)>;

    static Logger& GetInstance(); // the only one, alive until the process ends

    // Log one message, plain text in UTF-8; `code` is the negative FFmpeg error code, if there is one.
    void Error(char const* message);
    void Error(char const* message, int code);
    void Error(QString const& message);
    void Error(QString const& message, int code);
    void Info(QString const& message);

    // Passes every later message to `sink`, on the logging thread, one message at a time; an empty sink restores
    // standard error. When SetSink returns, no other thread still runs the former sink. The sink may log and may set
    // another sink.
    void SetSink(std::function<void(Logger::Level level, QString const& message, int code)> sink);

    Logger(Logger const&) = delete;
    Logger& operator=(Logger const&) = delete;

private:
    Logger();
    ~Logger();

    void Write(Level level, QString const& message, int code);

    std::recursive_mutex mutex;       // recursive: a sink may log
    std::shared_ptr<Sink const> sink; // shared: a sink that sets another one stays alive until it returns
};
