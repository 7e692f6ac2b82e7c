#include "source/ImageSequence.h"

#include "source/ImageFormat.h"

#include <QDir>
#include <QFileInfo>
#include <QPair>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <iterator>
#include <optional>

namespace {

// Numbers for each file; beyond that the files belong to no sequence. Times of the last picture stay within 64 bits.
constexpr long long mostNumbersPerFile = 1000;

// A file's name around its number.
struct NumberedName
{
    QString prefix;
    QString digits;
    QString suffix;
};

// What the names of one row have in common. `width`: digits to which numbers are filled with zeros; 1 is no filling.
struct Row
{
    QDir folder;
    QString prefix;
    QString suffix;
    int width = 1;
};

struct FoundRow
{
    QMap<long long, QString> files; // by number
    QString pattern;
};

std::optional<NumberedName> SplitAtLastNumber(QString const& fileName)
{
    static QRegularExpression const lastNumber(QStringLiteral("^(.*?)(\\d{1,18})(\\D*)\\z"),
                                               QRegularExpression::DotMatchesEverythingOption);
    // The digits of an extension ("jp2") are not the number, unless there is no other.
    int const dot = fileName.lastIndexOf(QLatin1Char('.'));
    QString const base = dot > 0 ? fileName.left(dot) : fileName;
    auto const match = lastNumber.match(base);
    if (!match.hasMatch())
        return std::nullopt;
    return NumberedName{match.captured(1), match.captured(2), match.captured(3) + fileName.mid(base.size())};
}

// Plain digits alone, and so many that they fit 64 bits.
bool IsNumber(QString const& digits)
{
    bool const isPlain = std::all_of(digits.begin(), digits.end(), [](QChar digit) {
        return digit >= QLatin1Char('0') && digit <= QLatin1Char('9');
    });
    return isPlain && !digits.isEmpty() && digits.size() <= 18;
}

bool IsFilled(QString const& digits)
{
    return digits.size() > 1 && digits.startsWith(QLatin1Char('0'));
}

// A number belongs to a row of a width when it is written as the row writes it.
bool FitsWidth(QString const& digits, int width)
{
    return digits.size() == width || (digits.size() > width && !IsFilled(digits));
}

std::optional<Row> RowOfPattern(QString const& path)
{
    static QRegularExpression const pattern(QStringLiteral("^([^%#]*)(?:%(?:0(\\d{1,2}))?d|(#+))([^%#]*)\\z"));
    QFileInfo const file(path);
    auto const match = pattern.match(file.fileName());
    if (!match.hasMatch())
        return std::nullopt;
    int const hashes = static_cast<int>(match.captured(3).size());
    int const width = hashes > 0 ? hashes : qMax(match.captured(2).toInt(), 1);
    return Row{QDir(file.absolutePath()), match.captured(1), match.captured(4), width};
}

QMap<long long, QString> FilesOfRow(Row const& row)
{
    QMap<long long, QString> files;
    for (QString const& name : row.folder.entryList(QDir::Files)) {
        auto const length = name.size() - row.prefix.size() - row.suffix.size();
        if (length < 1 || !name.startsWith(row.prefix) || !name.endsWith(row.suffix))
            continue;
        QString const digits = name.mid(row.prefix.size(), length);
        if (IsNumber(digits) && FitsWidth(digits, row.width))
            files.insert(digits.toLongLong(), row.folder.filePath(name));
    }
    return files;
}

// The width to which the row of `name` is filled: of a number that shows it by its zeros, or of any shorter one that
// does. 1000 alone may go on from 0999 or from 999.
int WidthOfRow(QDir const& folder, NumberedName const& name)
{
    if (IsFilled(name.digits))
        return static_cast<int>(name.digits.size());
    for (QString const& other : folder.entryList(QDir::Files)) {
        auto const split = SplitAtLastNumber(other);
        bool const isOfRow = split && split->prefix == name.prefix && split->suffix == name.suffix;
        if (isOfRow && IsFilled(split->digits) && split->digits.size() <= name.digits.size())
            return static_cast<int>(split->digits.size());
    }
    return 1;
}

Row RowOfFile(QString const& path, NumberedName const& name)
{
    QDir const folder(QFileInfo(path).absolutePath());
    return Row{folder, name.prefix, name.suffix, WidthOfRow(folder, name)};
}

bool IsSparse(QMap<long long, QString> const& files)
{
    return files.size() > 1 && files.lastKey() - files.firstKey() >= mostNumbersPerFile * files.size();
}

// Empty where a sign of patterns stands in the name.
QString PatternOf(Row const& row)
{
    QString const around = row.prefix + row.suffix;
    if (around.contains(QLatin1Char('%')) || around.contains(QLatin1Char('#')))
        return {};
    QString const width = row.width > 1 ? QLatin1Char('0') + QString::number(row.width) : QString();
    return row.prefix + QLatin1Char('%') + width + QLatin1Char('d') + row.suffix;
}

// The row of the file at `path`, or that file alone.
FoundRow FindRowOfFile(QString const& path, NumberedName const& name)
{
    Row const row = RowOfFile(path, name);
    auto const files = FilesOfRow(row);
    if (IsSparse(files) || files.isEmpty())
        return {{{name.digits.toLongLong(), path}}, {}};
    return {files, files.size() > 1 ? PatternOf(row) : QString()};
}

FoundRow FindLongestRow(QString const& path)
{
    FoundRow longest;
    QSet<QPair<QString, QString>> done; // rows looked at, by what stands around their numbers
    for (QString const& name : QDir(path).entryList(QDir::Files, QDir::Name)) {
        auto const split = SplitAtLastNumber(name);
        if (!split || done.contains({split->prefix, split->suffix}))
            continue;
        QString const file = QDir(path).absoluteFilePath(name);
        if (ImageFormatOf(file).isEmpty())
            continue;
        done.insert({split->prefix, split->suffix});
        FoundRow const found = FindRowOfFile(file, *split);
        if (found.files.size() > longest.files.size())
            longest = found;
    }
    return longest;
}

FoundRow FindRow(QString const& path)
{
    auto const row = RowOfPattern(path);
    if (row && !QFileInfo::exists(path))
        return {FilesOfRow(*row), QFileInfo(path).fileName()};
    if (QFileInfo(path).isDir())
        return FindLongestRow(path);
    if (!QFileInfo(path).isFile())
        return {};
    auto const name = SplitAtLastNumber(QFileInfo(path).fileName());
    return name ? FindRowOfFile(path, *name) : FoundRow{{{0, path}}, {}};
}

} // namespace

bool ImageSequence::IsPattern(QString const& path)
{
    return QFileInfo(path).isDir() || (RowOfPattern(path) && !QFileInfo::exists(path));
}

ImageSequence ImageSequence::Find(QString const& path, SequenceHoles holes, QString& error)
{
    FoundRow const row = FindRow(path);
    ImageSequence sequence;
    sequence.files = row.files;
    sequence.pattern = row.pattern;
    if (sequence.IsEmpty()) {
        error = QStringLiteral("No numbered image was found for \"%1\".").arg(path);
        return {};
    }
    if (IsSparse(sequence.files)) {
        error = QStringLiteral("The numbers of \"%1\" lie too far apart for a sequence.").arg(path);
        return {};
    }
    if (holes != SequenceHoles::Refuse || sequence.GetCount() == sequence.files.size())
        return sequence;
    long long missing = sequence.GetFirstNumber();
    while (sequence.files.contains(missing))
        ++missing;
    error = QStringLiteral("Picture %1 of the sequence \"%2\" is missing.").arg(missing).arg(path);
    return {};
}

QString ImageSequence::RowOf(QString const& fileName)
{
    auto const name = SplitAtLastNumber(fileName);
    return name ? name->prefix + QLatin1Char('/') + name->suffix : QString();
}

ImageSequence ImageSequence::FromFile(QString const& path)
{
    ImageSequence sequence;
    sequence.files.insert(0, path);
    return sequence;
}

bool ImageSequence::IsEmpty() const
{
    return files.isEmpty();
}

long long ImageSequence::GetCount() const
{
    return files.isEmpty() ? 0 : files.lastKey() - files.firstKey() + 1;
}

long long ImageSequence::GetFirstNumber() const
{
    return files.isEmpty() ? 0 : files.firstKey();
}

QString ImageSequence::GetFile(long long index) const
{
    return files.value(GetFirstNumber() + index);
}

QStringList ImageSequence::GetFiles() const
{
    return files.values();
}

QString ImageSequence::GetPattern() const
{
    return pattern;
}

long long ImageSequence::GetIndexOf(QString const& path) const
{
    QString const wanted = QFileInfo(path).absoluteFilePath();
    auto const isWanted = [&](QString const& file) { return QFileInfo(file).absoluteFilePath() == wanted; };
    auto const found = std::find_if(files.begin(), files.end(), isWanted);
    return found == files.end() ? -1 : found.key() - GetFirstNumber();
}

long long ImageSequence::GetIndexAfter(long long index) const
{
    auto const next = files.upperBound(GetFirstNumber() + index);
    return next == files.constEnd() ? GetCount() : next.key() - GetFirstNumber();
}

long long ImageSequence::GetIndexUpTo(long long index) const
{
    auto const next = files.upperBound(GetFirstNumber() + index);
    return next == files.constBegin() ? 0 : std::prev(next).key() - GetFirstNumber();
}
