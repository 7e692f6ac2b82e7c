#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

// One line of a file of markers: a marker, or one end of the range. Each names a picture; `Out` names the last one of
// the range.
struct MarkerRow
{
    enum class Kind { Marker, In, Out };

    Kind kind = Kind::Marker;
    std::optional<long long> time; // microseconds of media time
    std::optional<long long> number;
    QString timecode; // empty without
    QString note;
};

// Markers and the range as a file, in CSV by RFC 4180 with a header line, or as one JSON object; docs/player.md
// describes both. Written with what is known of time, number and timecode; read with at least one of them.
namespace MarkerFile {

constexpr qint64 mostBytes = 16 * 1024 * 1024;

// The content of a file of markers, of any program. With a `fault`, one sentence, there are no rows.
struct Content
{
    QVector<MarkerRow> rows; // mostRows at most
    QString movie;           // name of the file that they were made for; empty when it is not told
    int unreadable = 0;      // entries passed over: they name no picture, or are too many
    QString fault;
};

bool IsName(QString const& path); // by the ending: .csv or .json

QByteArray ToCsv(QVector<MarkerRow> const& rows);
QByteArray ToJson(QVector<MarkerRow> const& rows, QString const& movie);

Content FromCsv(QByteArray const& bytes);
Content FromJson(QByteArray const& bytes);

// Either one, by the ending.
Content Read(QString const& path);
QString Write(QString const& path, QVector<MarkerRow> const& rows, QString const& movie); // a fault, or empty

} // namespace MarkerFile
