#include "tests/support/LogCapture.h"

#include <ostream>
#include <utility>

bool operator==(LogLine const& a, LogLine const& b)
{
    return a.level == b.level && a.message == b.message && a.code == b.code;
}

std::ostream& operator<<(std::ostream& stream, LogLine const& line)
{
    return stream << (line.level == Logger::Level::Error ? "Error \"" : "Info \"") << line.message.toStdString()
                  << "\" code " << line.code;
}

LogLine ErrorLine(QString const& message, int code)
{
    return {Logger::Level::Error, message, code};
}

LogLine InfoLine(QString const& message)
{
    return {Logger::Level::Info, message, 0};
}

LogCapture::LogCapture()
{
    Logger::GetInstance().SetSink([this](Logger::Level level, QString const& message, int code) {
        std::lock_guard const lock(mutex);
        lines.push_back({level, message, code});
    });
}

LogCapture::~LogCapture()
{
    Logger::GetInstance().SetSink({});
}

std::vector<LogLine> LogCapture::Lines() const
{
    std::lock_guard const lock(mutex);
    return lines;
}

std::vector<LogLine> LogCapture::Take()
{
    std::lock_guard const lock(mutex);
    return std::exchange(lines, {});
}
