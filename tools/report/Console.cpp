#include "tools/report/Console.h"

#include <QByteArray>
#include <QElapsedTimer>

#include <unistd.h>

#include <cstdio>
#include <mutex>

namespace {

constexpr int progressIntervalMs = 200;

std::mutex mutex; // of standard error
bool progressShown = false;

void Write(FILE* file, QByteArray const& bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), file);
}

bool IsTimeForProgress()
{
    static bool const isTerminal = isatty(STDERR_FILENO) == 1;
    static QElapsedTimer sinceLast;
    if (!isTerminal || (sinceLast.isValid() && sinceLast.elapsed() < progressIntervalMs))
        return false;
    sinceLast.start();
    return true;
}

void EraseProgress()
{
    if (progressShown)
        Write(stderr, "\r\033[K");
    progressShown = false;
}

} // namespace

void Console::WriteData(QString const& text)
{
    Write(stdout, text.toUtf8());
}

bool Console::WriteBytes(QByteArray const& bytes)
{
    Write(stdout, bytes);
    return FinishData();
}

bool Console::IsTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

bool Console::FinishData()
{
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

void Console::Say(QString const& message)
{
    std::lock_guard const lock(mutex);
    EraseProgress();
    Write(stderr, "tavolin: " + message.toUtf8() + '\n');
}

void Console::ShowProgress(QString const& message)
{
    std::lock_guard const lock(mutex);
    if (!IsTimeForProgress())
        return;
    Write(stderr, "\r\033[K" + message.toUtf8());
    progressShown = true;
}

void Console::ClearProgress()
{
    std::lock_guard const lock(mutex);
    EraseProgress();
}
