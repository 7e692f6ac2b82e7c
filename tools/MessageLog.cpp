#include "tools/MessageLog.h"

#include "tools/Console.h"

extern "C" {
#include <libavutil/error.h>
}

namespace {

QString CodeText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

} // namespace

MessageLog::MessageLog()
{
    Logger::GetInstance().SetSink(
        [this](Logger::Level level, QString const& message, int code) { Take(level, message, code); });
}

MessageLog::~MessageLog()
{
    ShowRepetitions();
    Logger::GetInstance().SetSink(nullptr);
}

void MessageLog::BeginSource(QString const& name)
{
    EndSource();
    source = name;
    errorCount = 0;
    lastError.clear();
    lastErrorCode = 0;
}

void MessageLog::EndSource()
{
    ShowRepetitions();
    source.clear();
    lastLine.clear();
}

void MessageLog::Take(Logger::Level level, QString const& message, int code)
{
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
    Console::Say(source.isEmpty() ? line : source + QStringLiteral(": ") + line);
}

void MessageLog::ShowRepetitions()
{
    if (repetitions > 0)
        Console::Say(QStringLiteral("%1: the last message came %2 times more").arg(source).arg(repetitions));
    repetitions = 0;
}
