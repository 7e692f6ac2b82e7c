#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

class Source;

// The output of `tavolin info`, and what other commands' JSON has in common with it.
namespace Info {

// Of the JSON of all commands: it rises when a name changes its meaning or is removed.
constexpr int schemaVersion = 1;

// `count`: of the pictures; empty when it is not known exactly.
using Count = std::optional<long long>;

QString AsText(Source const& source, Count count); // a few lines; the last one ends with a line break

// ffprobe's names and types where the meaning is the same, our own values in objects named "tavolin".
QJsonObject AsJson(Source const& source, Count count);

// Of an image sequence; `one` is one of its files, opened by itself.
QString SequenceAsText(Source const& source, Source const& one);
QJsonObject SequenceAsJson(Source const& source, Source const& one);

// Of a file that could not be described; `code` is FFmpeg's, 0 when there is none.
QJsonObject FailureAsJson(QString const& path, QString const& message, int code);

} // namespace Info
