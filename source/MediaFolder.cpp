#include "source/MediaFolder.h"

#include "source/ImageFormat.h"
#include "source/ImageSequence.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {

bool IsDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

// The digits from `at` on, without zeros in front; `at` moves behind them.
QString TakeNumber(QString const& text, int& at)
{
    while (at < text.size() && text[at] == QLatin1Char('0'))
        ++at;
    int const begin = at;
    while (at < text.size() && IsDigit(text[at]))
        ++at;
    return text.mid(begin, at - begin);
}

// Below, equal to or above 0, as the numbers at `i` and `j`, which move behind them.
int CompareNumbers(QString const& one, int& i, QString const& other, int& j)
{
    QString const left = TakeNumber(one, i);
    QString const right = TakeNumber(other, j);
    if (left.size() != right.size())
        return left.size() < right.size() ? -1 : 1;
    return left.compare(right);
}

using Suffixes = QSet<QString>;

bool HasSuffixOf(Suffixes const& suffixes, QString const& name)
{
    return suffixes.contains(QFileInfo(name).suffix().toLower());
}

// AVIF and HEIC images are read as movies of one picture.
bool IsMovie(QString const& name)
{
    static Suffixes const movies = {"264",  "265",  "3g2", "3gp",  "apng", "asf",   "avi",  "avif", "heic", "dnxhd",
                                    "dv",   "f4v",  "flv", "gif",  "gxf",  "h264",  "h265", "hevc", "ivf",  "m1v",
                                    "m2t",  "m2ts", "m2v", "m4v",  "mj2",  "mjpeg", "mjpg", "mkv",  "mov",  "mp4",
                                    "mpeg", "mpg",  "mts", "mxf",  "nut",  "obu",   "ogg",  "ogm",  "ogv",  "rm",
                                    "rmvb", "ts",   "vob", "webm", "wmv",  "wtv",   "y4m"};
    return HasSuffixOf(movies, name);
}

} // namespace

bool MediaFolder::IsSound(QString const& path)
{
    static Suffixes const sounds = {"aac",  "ac3",  "aif", "aifc", "aiff", "amr", "ape", "au",  "caf", "dts",
                                    "eac3", "flac", "m4a", "m4b",  "mka",  "mlp", "mp2", "mp3", "oga", "opus",
                                    "ra",   "spx",  "tak", "tta",  "voc",  "w64", "wav", "wma", "wv"};
    return HasSuffixOf(sounds, path);
}

bool MediaFolder::IsMovieOrSound(QString const& path)
{
    return IsMovie(path) || IsSound(path);
}

MediaFolder::Names::Names(QStringList const& names)
{
    for (QString const& name : names)
        ++rows[ImageSequence::RowOf(name)];
}

MediaFolder::Names::Names(QString const& path) : Names(QDir(path).entryList(QDir::Files, QDir::Unsorted)) {}

bool MediaFolder::Names::IsAlone(QString const& name) const
{
    QString const row = ImageSequence::RowOf(name);
    return row.isEmpty() || rows.value(row) <= 1;
}

bool MediaFolder::ComesBefore(QString const& one, QString const& other)
{
    int i = 0;
    int j = 0;
    while (i < one.size() && j < other.size()) {
        int order = 0;
        if (IsDigit(one[i]) && IsDigit(other[j]))
            order = CompareNumbers(one, i, other, j);
        else
            order = one[i++].toCaseFolded().unicode() - other[j++].toCaseFolded().unicode();
        if (order != 0)
            return order < 0;
    }
    bool const isSame = i == one.size() && j == other.size();
    return isSame ? one < other : i == one.size();
}

QList<MediaFolder::Entry> MediaFolder::Read(QString const& path)
{
    QDir const folder(QFileInfo(path).absoluteFilePath());
    QStringList names = folder.entryList(QDir::Files);
    std::sort(names.begin(), names.end(), ComesBefore);
    Names const listed(names);
    QList<Entry> entries;
    QSet<QString> taken; // files of rows
    for (QString const& name : names) {
        QString const file = folder.absoluteFilePath(name);
        if (taken.contains(file))
            continue;
        if (ImageFormatOf(file).isEmpty()) {
            if (IsMovieOrSound(name))
                entries.append({file, false});
            continue;
        }
        if (listed.IsAlone(name)) {
            entries.append({file, false});
            continue;
        }
        QString error;
        QStringList const row = ImageSequence::Find(file, SequenceHoles::Hold, error).GetFiles();
        for (QString const& member : row)
            taken.insert(member);
        entries.append({file, row.size() > 1});
    }
    return entries;
}
