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
    // Info: worth knowing. Error: an operation failed, and its result says so as well.
    enum class Level { Info, Error };

    // `code` is 0 when the message came without one.
    using Sink = std::function<void(Logger::Level level, QString const& message, int code)>;

    static Logger& GetInstance(); // the only one, alive until the process ends

    // One message, plain text in UTF-8; `code` is the negative FFmpeg code, left out when there is none.
    void Error(char const* message);
    void Error(char const* message, int code);
    void Error(QString const& message);
    void Error(QString const& message, int code);
    void Info(QString const& message); // a message that is no failure

    // Hands every later message to `sink`, on the thread that logs it, one at a time; an empty sink restores standard
    // error. On return no other thread is inside the former sink. The sink may log and may set another sink.
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
