#pragma once

#include <QJsonObject>
#include <QString>

class Source;

// The description of a source as JSON: ffprobe's names and types where the meaning is the same, our own values in
// objects named "tavolin".
namespace InfoJson {

QJsonObject Describe(Source const& source);

// Of a file that could not be described; `code` is FFmpeg's, 0 when there is none.
QJsonObject DescribeFailure(QString const& path, QString const& message, int code);

} // namespace InfoJson
