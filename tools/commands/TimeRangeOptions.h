#pragma once

struct TimeRange;
class QCommandLineParser;

// The options --from and --to, the same for every command that has them.
namespace TimeRangeOptions {

void Add(QCommandLineParser& parser);

// Leaves an end that is not given as it is. False, having said why, when a value is not a time or they are in disorder.
bool Take(QCommandLineParser const& parser, TimeRange& range);

} // namespace TimeRangeOptions
