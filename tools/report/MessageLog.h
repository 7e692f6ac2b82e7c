#pragma once

#include "common/Logger.h"

#include <QString>

#include <mutex>

// While it exists, prints the library's messages on standard error, with the name of the current source, and remembers
// the errors. Repeated messages are counted. Only one object at a time; messages may come from any thread.
class MessageLog
{
public:
    MessageLog();
    ~MessageLog();
    MessageLog(MessageLog const&) = delete;
    MessageLog& operator=(MessageLog const&) = delete;

    void BeginSource(QString const& name); // resets the error count
    void EndSource();

    void SetSilent(bool silent); // whether messages are dropped instead, because what is tried may fail

    int GetErrorCount() const; // of this source
    QString GetLastError() const;
    int GetLastErrorCode() const; // FFmpeg's, 0 without one

private:
    void Take(Logger::Level level, QString const& message, int code);
    void ShowRepetitions();

    mutable std::mutex mutex; // of everything below
    bool isSilent = false;
    QString source;
    QString lastLine;
    int repetitions = 0; // of lastLine, not printed yet
    int errorCount = 0;
    QString lastError;
    int lastErrorCode = 0;
};

// While it exists, the log is silent.
class Silence
{
public:
    // `isWanted`: otherwise nothing changes.
    explicit Silence(MessageLog& newLog, bool isWanted = true) : log(newLog) { log.SetSilent(isWanted); }
    ~Silence() { log.SetSilent(false); }
    Silence(Silence const&) = delete;
    Silence& operator=(Silence const&) = delete;

private:
    MessageLog& log;
};

// While it exists, counts the errors that FFmpeg logs. FFmpeg's decoders conceal much damage and report it in no other
// way. Which messages are printed does not change. Only one object at a time; messages may come from any thread.
class FfmpegMessages
{
public:
    FfmpegMessages();
    ~FfmpegMessages();
    FfmpegMessages(FfmpegMessages const&) = delete;
    FfmpegMessages& operator=(FfmpegMessages const&) = delete;

    int GetErrorCount() const;
    QString GetFirstError() const; // without the line break; empty if there is none
};
