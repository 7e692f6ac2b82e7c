#include "python/Reports.h"

#include "common/Logger.h"
#include "python/Video.h"
#include "source/Source.h"
#include "tools/commands/OpenSource.h"
#include "tools/report/Info.h"
#include "tools/report/PictureCount.h"
#include "tools/report/SequenceFiles.h"
#include "tools/report/SourceCheck.h"

#include <QJsonDocument>

extern "C" {
#include <libavutil/log.h>
}

#include <pthread.h>

#include <chrono>
#include <mutex>
#include <new>

namespace {

constexpr auto patience = std::chrono::milliseconds(50);

// Errors of the library on this thread so far, and the last one's text.
struct Logged
{
    int count = 0;
    QString last;
};

thread_local Logged logged;
std::timed_mutex checks;

// A forked process has none of the threads that hold the lock or wait for it.
void RenewChecks()
{
    new (&checks) std::timed_mutex;
}

// With the sentence that the command prints when it cannot be used.
[[noreturn]] void Refuse(QString const& path, QString const& why)
{
    throw Video::OpenError((why.contains(path) ? why : path + QStringLiteral(": ") + why).toStdString());
}

// As the commands open it.
Source Open(QString const& path, Reports::Opening const& opening)
{
    int const before = logged.count;
    SourceOptions options;
    options.sequenceRate = opening.sequenceRate;
    Source source = Video::OpenSource(path, opening.isSequence, options);
    if (source.GetKind() == SourceKind::Sequence)
        return source;
    if (!source.IsDescribed())
        Refuse(path, logged.count > before ? logged.last : source.GetError());
    if (!source.HasStreams())
        Refuse(path, QStringLiteral("there are no pictures and no sound in it"));
    return source;
}

QByteArray DescribeSequence(QString const& path, Source const& source)
{
    auto const one = SequenceFiles::DescribeOne(source);
    if (!one)
        Refuse(path, QStringLiteral("no picture of this sequence can be read"));
    return QJsonDocument(Info::SequenceAsJson(source, *one)).toJson(QJsonDocument::Compact);
}

} // namespace

void Reports::CollectMessages()
{
    av_log_set_level(AV_LOG_QUIET);
    pthread_atfork(nullptr, nullptr, RenewChecks);
    Logger::GetInstance().SetSink([](Logger::Level level, QString const& message, int) {
        if (level != Logger::Level::Error)
            return;
        ++logged.count;
        logged.last = message;
    });
}

QByteArray Reports::Describe(QString const& path, Opening const& opening, bool isQuick)
{
    Source const source = Open(path, opening);
    if (source.GetKind() == SourceKind::Sequence)
        return DescribeSequence(path, source);
    auto const count = isQuick ? std::nullopt : PictureCount::Of(source);
    return QJsonDocument(Info::AsJson(source, count)).toJson(QJsonDocument::Compact);
}

Reports::CheckReport Reports::Check(QString const& path, Opening const& opening, StopCheck const& stop)
{
    std::unique_lock lock(checks, std::defer_lock);
    while (!lock.try_lock_for(patience)) {
        if (stop())
            throw PictureSpan::Interrupted();
    }
    Source const source = Open(path, opening);
    bool isStopped = false;
    CheckWatch watch;
    watch.stop = [&] { return isStopped = isStopped || stop(); };
    SourceCheck check(
        source, [] { return logged.count; }, watch);
    bool const isOpen = check.Run();
    if (isStopped)
        throw PictureSpan::Interrupted();
    if (!isOpen)
        Refuse(path, QStringLiteral("cannot be opened for decoding"));
    CheckReport report{{}, check.GetPictureCount(), check.GetSoundDuration()};
    for (CheckFault const& fault : check.GetFaults())
        report.faults.push_back({fault.text.toStdString(), fault.time});
    return report;
}
