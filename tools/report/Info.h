#pragma once

#include <QJsonObject>
#include <QString>

class MediaSource;

// The output of `tavolin info`.
namespace Info {

QString AsText(MediaSource const& source); // a few lines; the last one ends with a line break

// ffprobe's names and types where the meaning is the same, our own values in objects named "tavolin".
QJsonObject AsJson(MediaSource const& source);

// Of a file that could not be described; `code` is FFmpeg's, 0 when there is none.
QJsonObject FailureAsJson(QString const& path, QString const& message, int code);

} // namespace Info
