#pragma once

#include <QJsonObject>
#include <QString>

class MediaSource;

// What `tavolin info` tells of a source.
namespace Info {

QString AsText(MediaSource const& source); // for people: a few lines, the last one ended

// ffprobe's names and types where the meaning is the same, our own values in objects named "tavolin".
QJsonObject AsJson(MediaSource const& source);

// Of a file that could not be described; `code` is FFmpeg's, 0 when there is none.
QJsonObject FailureAsJson(QString const& path, QString const& message, int code);

} // namespace Info
