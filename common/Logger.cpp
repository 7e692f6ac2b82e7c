#include "common/Logger.h"

#include <QByteArray>

#include <cstdio>
#include <utility>

namespace {

void WriteToStandardError(Logger::Level level, QString const& message, int code)
{
    QByteArray line = level == Logger::Level::Error ? "Error: " : "";
    line += message.toUtf8();
    if (code != 0)
        line += " (" + QByteArray::number(code) + ")";
    line += '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
}

} // namespace

Logger::Logger() : sink(std::make_shared<Sink const>(WriteToStandardError)) {}

Logger::~Logger() = default;

Logger& Logger::GetInstance()
{
    // Never destroyed: static objects of a host may still log while the process ends.
    static Logger& instance = *new Logger;
    return instance;
}

void Logger::Error(char const* message)
{
    Write(Level::Error, QString::fromUtf8(message), 0);
}

void Logger::Error(char const* message, int code)
{
    Write(Level::Error, QString::fromUtf8(message), code);
}

void Logger::Error(QString const& message)
{
    Write(Level::Error, message, 0);
}

void Logger::Error(QString const& message, int code)
{
    Write(Level::Error, message, code);
}

void Logger::Info(QString const& message)
{
    Write(Level::Info, message, 0);
}

void Logger::SetSink(std::function<void(Logger::Level level, QString const& message, int code)> newSink)
{
    auto next = std::make_shared<Sink const>(newSink ? std::move(newSink) : Sink(WriteToStandardError));
    std::lock_guard const lock(mutex);
    sink.swap(next);
}

void Logger::Write(Level level, QString const& message, int code)
{
    std::lock_guard const lock(mutex);
    auto const current = sink;
    (*current)(level, message, code);
}
