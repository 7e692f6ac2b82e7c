#pragma once

#include "common/Logger.h"

#include <QString>

#include <iosfwd>
#include <mutex>
#include <vector>

struct LogLine
{
    Logger::Level level = Logger::Level::Error;
    QString message;
    int code = 0; // 0: none
};

bool operator==(LogLine const& a, LogLine const& b);
std::ostream& operator<<(std::ostream& stream, LogLine const& line);

LogLine ErrorLine(QString const& message, int code = 0);
LogLine InfoLine(QString const& message);

// Captures the log during its lifetime, instead of standard error.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<LogLine> Lines() const;
    std::vector<LogLine> Take(); // and removes them

private:
    mutable std::mutex mutex;
    std::vector<LogLine> lines;
};
