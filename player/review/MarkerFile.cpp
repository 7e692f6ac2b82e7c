#include "player/review/MarkerFile.h"

#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "player/review/Markers.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStringList>

#include <cmath>

namespace {

constexpr int mostRows = Markers::mostMarkers + 2; // and both ends of the range
constexpr int mostColumns = 100;
constexpr int schemaVersion = 1;
char const* const columnNames[] = {"kind", "time", "number", "timecode", "note"};

QString NameOf(MarkerRow::Kind kind)
{
    return kind == MarkerRow::Kind::In ? "in" : kind == MarkerRow::Kind::Out ? "out" : "marker";
}

// Anything else is a marker.
MarkerRow::Kind KindNamed(QString const& name)
{
    QString const word = name.trimmed().toLower();
    return word == "in" ? MarkerRow::Kind::In : word == "out" ? MarkerRow::Kind::Out : MarkerRow::Kind::Marker;
}

QString Quoted(QString text)
{
    bool const needsQuotes = text.contains(',') || text.contains('"') || text.contains('\n') || text.contains('\r');
    return needsQuotes ? '"' + text.replace("\"", "\"\"") + '"' : text;
}

// The records of a CSV file, each a list of its first fields. Inside quotes commas and line ends belong to the field.
// False when a quote is not closed.
class CsvReader
{
public:
    explicit CsvReader(QString const& newText) : text(newText) {}

    bool IsAtEnd() const { return place >= text.size(); }

    bool ReadRecord(QStringList& fields)
    {
        fields.clear();
        do {
            QString field;
            if (!ReadField(field))
                return false;
            if (fields.size() < mostColumns)
                fields << field;
        } while (Take(','));
        Take('\r');
        Take('\n');
        return true;
    }

private:
    bool Take(char character)
    {
        bool const isNext = place < text.size() && text[place] == character;
        place += isNext ? 1 : 0;
        return isNext;
    }

    bool ReadField(QString& field)
    {
        if (Take('"'))
            return ReadQuoted(field);
        int const first = place;
        while (place < text.size() && text[place] != ',' && text[place] != '\r' && text[place] != '\n')
            ++place;
        field = text.mid(first, place - first);
        return true;
    }

    bool ReadQuoted(QString& field)
    {
        while (place < text.size()) {
            int const quote = static_cast<int>(text.indexOf('"', place));
            if (quote < 0)
                return false;
            field += text.mid(place, quote - place);
            place = quote + 1;
            if (!Take('"'))
                return place >= text.size() || text[place] == ',' || text[place] == '\r' || text[place] == '\n';
            field += '"';
        }
        return false;
    }

    QString const text;
    int place = 0;
};

std::optional<long long> ParseNumber(QString const& text)
{
    bool isNumber = false;
    long long const number = text.trimmed().remove('#').toLongLong(&isNumber);
    return isNumber && number >= 0 ? std::optional<long long>(number) : std::nullopt;
}

// A row without any name of a picture, or beyond the most, is counted and passed over.
void Add(MarkerFile::Content& content, MarkerRow const& row)
{
    bool const namesPicture = row.time || row.number || !row.timecode.isEmpty();
    if (namesPicture && content.rows.size() < mostRows)
        content.rows << row;
    else
        ++content.unreadable;
}

MarkerRow RowOf(QStringList const& header, QStringList const& fields)
{
    MarkerRow row;
    for (int i = 0; i < header.size() && i < fields.size(); ++i) {
        QString const& field = fields[i];
        if (header[i] == "kind")
            row.kind = KindNamed(field);
        else if (header[i] == "time")
            row.time = TimeText::Parse(field.trimmed());
        else if (header[i] == "number")
            row.number = ParseNumber(field);
        else if (header[i] == "timecode")
            row.timecode = field.trimmed();
        else if (header[i] == "note")
            row.note = field;
    }
    return row;
}

QJsonObject ObjectOf(MarkerRow const& row)
{
    QJsonObject object;
    if (row.time)
        object["time"] = TimeText::Seconds(*row.time);
    if (row.number)
        object["number"] = *row.number;
    if (!row.timecode.isEmpty())
        object["timecode"] = row.timecode;
    if (row.kind == MarkerRow::Kind::Marker)
        object["note"] = row.note;
    return object;
}

std::optional<long long> TimeIn(QJsonValue const& value)
{
    constexpr double farthest = 9e12; // seconds; beyond it they are no time in microseconds
    if (!value.isDouble())
        return TimeText::Parse(value.toString());
    double const seconds = value.toDouble();
    bool const isTime = std::isfinite(seconds) && std::fabs(seconds) < farthest;
    return isTime ? std::optional<long long>(std::llround(seconds * secondUs)) : std::nullopt;
}

std::optional<long long> NumberIn(QJsonValue const& value)
{
    constexpr double farthest = 9e15; // whole numbers are exact below it
    if (!value.isDouble())
        return ParseNumber(value.toString());
    double const number = value.toDouble();
    bool const isNumber = number >= 0.0 && number < farthest;
    return isNumber ? std::optional<long long>(static_cast<long long>(number)) : std::nullopt;
}

void AddObject(MarkerFile::Content& content, MarkerRow::Kind kind, QJsonValue const& value)
{
    QJsonObject const object = value.toObject();
    Add(content, {kind, TimeIn(object["time"]), NumberIn(object["number"]), object["timecode"].toString().trimmed(),
                  object["note"].toString()});
}

} // namespace

bool MarkerFile::IsName(QString const& path)
{
    return path.endsWith(".csv", Qt::CaseInsensitive) || path.endsWith(".json", Qt::CaseInsensitive);
}

QByteArray MarkerFile::ToCsv(QVector<MarkerRow> const& rows)
{
    QString text = QStringList(std::begin(columnNames), std::end(columnNames)).join(',') + "\r\n";
    for (MarkerRow const& row : rows)
        text +=
            QStringList({NameOf(row.kind), row.time ? TimeText::Seconds(*row.time) : QString(),
                         row.number ? QString::number(*row.number) : QString(), Quoted(row.timecode), Quoted(row.note)})
                .join(',') +
            "\r\n";
    return text.toUtf8();
}

QByteArray MarkerFile::ToJson(QVector<MarkerRow> const& rows, QString const& movie)
{
    QJsonArray markers;
    QJsonObject object{{"schema", schemaVersion}, {"file", movie}};
    for (MarkerRow const& row : rows) {
        if (row.kind == MarkerRow::Kind::Marker)
            markers.append(ObjectOf(row));
        else
            object[NameOf(row.kind)] = ObjectOf(row);
    }
    object["markers"] = markers;
    return QJsonDocument(object).toJson();
}

MarkerFile::Content MarkerFile::FromCsv(QByteArray const& bytes)
{
    Content content;
    QString text = QString::fromUtf8(bytes);
    if (text.startsWith(QChar::ByteOrderMark))
        text.remove(0, 1);
    CsvReader reader(text);
    QStringList header;
    bool isWhole = reader.ReadRecord(header);
    for (QString& name : header)
        name = name.trimmed().toLower();
    if (!header.contains("time") && !header.contains("number") && !header.contains("timecode")) {
        content.fault = "its first line has no column \"time\", \"number\" or \"timecode\".";
        return content;
    }
    QStringList fields;
    while (isWhole && !reader.IsAtEnd()) {
        isWhole = reader.ReadRecord(fields);
        if (isWhole && fields != QStringList(QString()))
            Add(content, RowOf(header, fields));
    }
    if (!isWhole)
        return {{}, {}, 0, "a quotation mark is missing or misplaced."};
    return content;
}

MarkerFile::Content MarkerFile::FromJson(QByteArray const& bytes)
{
    Content content;
    QJsonParseError error;
    QJsonObject const object = QJsonDocument::fromJson(bytes, &error).object();
    if (error.error != QJsonParseError::NoError)
        content.fault = QString("it is no JSON (%1).").arg(error.errorString());
    else if (!object["markers"].isArray())
        content.fault = "it has no list \"markers\".";
    if (!content.fault.isEmpty())
        return content;
    content.movie = object["file"].toString();
    if (object.contains("in"))
        AddObject(content, MarkerRow::Kind::In, object["in"]);
    if (object.contains("out"))
        AddObject(content, MarkerRow::Kind::Out, object["out"]);
    for (auto const& marker : object["markers"].toArray())
        AddObject(content, MarkerRow::Kind::Marker, marker);
    return content;
}

MarkerFile::Content MarkerFile::Read(QString const& path)
{
    if (!QFileInfo(path).isFile()) // reading from a pipe would wait for whoever writes
        return {{}, {}, 0, "it is no file."};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, {}, 0, QString("it cannot be read (%1).").arg(file.errorString())};
    QByteArray const bytes = file.read(mostBytes + 1);
    if (bytes.size() > mostBytes)
        return {{}, {}, 0, "it is larger than 16 MiB."};
    return path.endsWith(".json", Qt::CaseInsensitive) ? FromJson(bytes) : FromCsv(bytes);
}

QString MarkerFile::Write(QString const& path, QVector<MarkerRow> const& rows, QString const& movie)
{
    QByteArray const bytes = path.endsWith(".json", Qt::CaseInsensitive) ? ToJson(rows, movie) : ToCsv(rows);
    QSaveFile file(path);
    bool const isWritten = file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
    return isWritten ? QString() : file.errorString();
}
