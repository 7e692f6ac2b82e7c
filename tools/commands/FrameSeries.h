#pragma once

#include "source/PictureIndex.h"
#include "source/Source.h"
#include "tools/commands/FrameRequest.h"
#include "tools/output/NamePattern.h"

#include <limits>
#include <memory>
#include <vector>

class MessageLog;

// Writes many pictures of a source, each once and to a file of its own: those that show at equal steps of time, or each
// of so many. One thread.
class FrameSeries
{
public:
    FrameSeries(Source const& source, FrameRequest const& request); // which must outlive it

    // Says what cannot be decoded and what is damaged; ends at the first file that cannot be written.
    ExitCode Write(MessageLog const& log);

private:
    // A picture, and the time up to which it stands for what was asked for.
    struct Shown
    {
        long long start;
        long long until;
    };

    ExitCode WriteAll(PictureStream& pictures);
    ExitCode WriteByTime(PictureStream& pictures);
    ExitCode WriteByCount(PictureStream& pictures);
    bool IsAskedFor(long long start) const;
    ExitCode Take(DecodedVideoFrame const& picture, long long until);
    bool IsSequence() const { return source.GetKind() == SourceKind::Sequence; }
    long long NumberOf(DecodedVideoFrame const& picture);
    ExitCode Judge(long long origin, QString const& firstError) const;
    ExitCode JudgeFiles(QVector<long long> const& lost, bool hasErrors) const;
    QStringList FindMissingFiles(long long from) const;
    QStringList FindLostFiles(QVector<long long> const& lost) const;

    Source const& source;
    FrameRequest const& request;
    NamePattern pattern;
    std::vector<Shown> shown;
    std::vector<Shown> passed; // between those that are written: one of so many may be lost there

    std::shared_ptr<PictureIndex const> index; // null where packets do not tell numbers
    std::unique_ptr<PictureStream> counter;    // reads from the beginning
    long long counted = 0;
    long long countedUpTo = std::numeric_limits<long long>::min(); // start of the last one
};
