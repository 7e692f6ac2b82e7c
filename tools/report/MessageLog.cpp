#include "tools/report/MessageLog.h"

#include "tools/report/Console.h"

#include <QFileInfo>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cstdarg>
#include <cstdio>

namespace {

QString CodeText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

// The message with the source's path in it once: in the place where the library names the file, or before it.
QString Naming(QString const& source, QString message)
{
    if (source.isEmpty())
        return message;
    QFileInfo const file(source);
    QString const quoted = QLatin1Char('"') + file.fileName() + QLatin1Char('"');
    QString const inText = QStringLiteral(": %1 (").arg(file.fileName());
    if (message.contains(file.absoluteFilePath()))
        return message.replace(file.absoluteFilePath(), source);
    if (message.contains(source) && source.contains(QLatin1Char('/')))
        return message;
    if (message.contains(quoted))
        return message.replace(quoted, QLatin1Char('"') + source + QLatin1Char('"'));
    if (message.contains(inText))
        return message.replace(inText, QStringLiteral(": %1 (").arg(source));
    return source + QStringLiteral(": ") + message;
}

} // namespace

MessageLog::MessageLog()
{
    Logger::GetInstance().SetSink(
        [this](Logger::Level level, QString const& message, int code) { Take(level, message, code); });
}

MessageLog::~MessageLog()
{
    Logger::GetInstance().SetSink(nullptr);
    ShowRepetitions();
}

void MessageLog::BeginSource(QString const& name)
{
    EndSource();
    std::lock_guard const lock(mutex);
    source = name;
    errorCount = 0;
    lastError.clear();
    lastErrorCode = 0;
}

void MessageLog::EndSource()
{
    std::lock_guard const lock(mutex);
    ShowRepetitions();
    source.clear();
    lastLine.clear();
}

void MessageLog::SetSilent(bool silent)
{
    std::lock_guard const lock(mutex);
    isSilent = silent;
}

int MessageLog::GetErrorCount() const
{
    std::lock_guard const lock(mutex);
    return errorCount;
}

QString MessageLog::GetLastError() const
{
    std::lock_guard const lock(mutex);
    return lastError;
}

int MessageLog::GetLastErrorCode() const
{
    std::lock_guard const lock(mutex);
    return lastErrorCode;
}

void MessageLog::Take(Logger::Level level, QString const& message, int code)
{
    std::lock_guard const lock(mutex);
    if (isSilent)
        return;
    if (level == Logger::Level::Error) {
        ++errorCount;
        lastError = message;
        lastErrorCode = code;
    }
    QString const line = code == 0 ? message : QStringLiteral("%1 (%2)").arg(message, CodeText(code));
    if (line == lastLine) {
        ++repetitions;
        return;
    }
    ShowRepetitions();
    lastLine = line;
    Console::Say(Naming(source, line));
}

void MessageLog::ShowRepetitions()
{
    if (repetitions == 1)
        Console::Say(QStringLiteral("%1: the last message came once more").arg(source));
    else if (repetitions > 1)
        Console::Say(
            QStringLiteral("%1: the last message came %2 times more").arg(source, QString::number(repetitions)));
    repetitions = 0;
}

namespace {

constexpr int longestMessage = 400; // bytes

std::mutex ffmpegMutex; // of what follows
int ffmpegErrorCount = 0;
QString firstFfmpegError;

void TakeFfmpegError(char const* format, va_list arguments)
{
    char text[longestMessage] = {};
    std::vsnprintf(text, sizeof text, format, arguments);
    std::lock_guard const lock(ffmpegMutex);
    if (ffmpegErrorCount++ == 0)
        firstFfmpegError = QString::fromUtf8(text).trimmed();
}

void TakeFfmpegMessage(void* context, int level, char const* format, va_list arguments)
{
    constexpr int levelBits = 0xff; // higher bits select a colour
    if ((level & levelBits) <= AV_LOG_ERROR) {
        va_list copy;
        va_copy(copy, arguments);
        TakeFfmpegError(format, copy);
        va_end(copy);
    }
    av_log_default_callback(context, level, format, arguments);
}

} // namespace

FfmpegMessages::FfmpegMessages()
{
    {
        std::lock_guard const lock(ffmpegMutex);
        ffmpegErrorCount = 0;
        firstFfmpegError.clear();
    }
    av_log_set_callback(TakeFfmpegMessage);
}

FfmpegMessages::~FfmpegMessages()
{
    av_log_set_callback(av_log_default_callback);
}

int FfmpegMessages::GetErrorCount() const
{
    std::lock_guard const lock(ffmpegMutex);
    return ffmpegErrorCount;
}

QString FfmpegMessages::GetFirstError() const
{
    std::lock_guard const lock(ffmpegMutex);
    return firstFfmpegError;
}
