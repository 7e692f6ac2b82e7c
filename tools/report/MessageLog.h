#pragma once

#include "common/Logger.h"

#include <QString>

#include <mutex>

// Takes the library's messages for as long as it lives: shows them on standard error, each with the source that it is
// about and runs of one message counted, and remembers the errors. One at a time; messages may come on any thread.
class MessageLog
{
public:
    MessageLog();
    ~MessageLog();
    MessageLog(MessageLog const&) = delete;
    MessageLog& operator=(MessageLog const&) = delete;

    void BeginSource(QString const& name); // starts the count of errors again
    void EndSource();

    int GetErrorCount() const; // of this source
    QString GetLastError() const;
    int GetLastErrorCode() const; // FFmpeg's, 0 without one

private:
    void Take(Logger::Level level, QString const& message, int code);
    void ShowRepetitions();

    mutable std::mutex mutex; // of everything below
    QString source;
    QString lastLine;
    int repetitions = 0; // of lastLine, not shown yet
    int errorCount = 0;
    QString lastError;
    int lastErrorCode = 0;
};

// Counts the errors that FFmpeg reports for as long as it lives. Its decoders mend a good deal of damage by guessing
// and tell of it in no other way. What is to be seen of the messages stays as it was. One at a time; any thread may
// report.
class FfmpegMessages
{
public:
    FfmpegMessages();
    ~FfmpegMessages();
    FfmpegMessages(FfmpegMessages const&) = delete;
    FfmpegMessages& operator=(FfmpegMessages const&) = delete;

    int GetErrorCount() const;
    QString GetFirstError() const; // without a line's end; empty when there was none
};
