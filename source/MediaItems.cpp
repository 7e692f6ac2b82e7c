#include "source/MediaItems.h"

#include "source/ImageFormat.h"
#include "source/ImageSequence.h"
#include "source/MediaFolder.h"

#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <algorithm>

namespace {

constexpr int mostNames = 5; // in a message

class Collector
{
public:
    explicit Collector(MediaItems::Rows newRows) : rows(newRows) {}

    void Add(QString const& path)
    {
        if (QFileInfo(path).isDir())
            AddFolder(path);
        else if (ImageSequence::IsPattern(path))
            AddPattern(path);
        else if (!ImageFormatOf(path).isEmpty())
            AddImage(path);
        else
            items.append({path, false, 0});
    }

    QList<MediaItem> const& GetItems() const { return items; }

private:
    bool TakesStills() const { return rows == MediaItems::Rows::Stills; }

    // What cannot be listed is left to whoever opens it.
    void AddFolder(QString const& path)
    {
        QList<MediaFolder::Entry> const found = MediaFolder::Read(path);
        bool const isSequence = found.size() == 1 && found.first().isSequence && !TakesStills();
        if (found.isEmpty() || isSequence) {
            items.append({path, false, 0});
            return;
        }
        for (MediaFolder::Entry const& entry : found) {
            if (entry.isSequence && TakesStills())
                AddEach(FilesOf(entry.path));
            else
                items.append({entry.path, entry.isSequence, 0});
        }
    }

    void AddPattern(QString const& path)
    {
        QStringList const files = FilesOf(path);
        bool const isRow =
            files.isEmpty() || !ImageFormatOf(files.first()).isEmpty() || !MediaFolder::IsMovieOrSound(files.first());
        if (files.isEmpty() || (isRow && !TakesStills()))
            items.append({path, false, 0});
        else
            AddEach(files);
    }

    // A picture without others of its row is a still image.
    void AddImage(QString const& path)
    {
        if (taken.contains(QFileInfo(path).absoluteFilePath()))
            return;
        if (TakesStills() || NamesBeside(path).IsAlone(QFileInfo(path).fileName())) {
            items.append({path, false, 0});
            return;
        }
        QString error;
        ImageSequence const sequence = ImageSequence::Find(path, SequenceHoles::Hold, error);
        QStringList const files = sequence.GetFiles();
        bool const isSequence = files.size() > 1;
        items.append({path, isSequence, isSequence ? sequence.GetIndexOf(path) : 0});
        if (!isSequence)
            return;
        for (QString const& file : files)
            taken.insert(file);
    }

    MediaFolder::Names const& NamesBeside(QString const& path)
    {
        QString const folder = QFileInfo(path).absolutePath();
        if (!folders.contains(folder))
            folders.insert(folder, MediaFolder::Names(folder));
        return *folders.constFind(folder);
    }

    void AddEach(QStringList const& files)
    {
        for (QString const& file : files)
            items.append({file, false, 0});
    }

    static QStringList FilesOf(QString const& path)
    {
        QString error;
        return ImageSequence::Find(path, SequenceHoles::Hold, error).GetFiles();
    }

    MediaItems::Rows rows;
    QList<MediaItem> items;
    QSet<QString> taken;                        // files of the sequences
    QHash<QString, MediaFolder::Names> folders; // by path
};

bool IsSequence(MediaItem const& item)
{
    return item.isSequence || ImageSequence::IsPattern(item.path);
}

bool CanBeMeant(MediaItem const& item, MediaItems::Half half)
{
    bool const isStill = !IsSequence(item) && !ImageFormatOf(item.path).isEmpty();
    bool const hasHalf = half == MediaItems::Half::Pictures ? !MediaFolder::IsSound(item.path) : !IsSequence(item);
    return hasHalf && !isStill;
}

// The file's name, of a sequence its pattern.
QString NameOf(MediaItem const& item)
{
    QString error;
    QString const pattern =
        item.isSequence ? ImageSequence::Find(item.path, SequenceHoles::Hold, error).GetPattern() : QString();
    return pattern.isEmpty() ? QFileInfo(item.path).fileName() : pattern;
}

QString ListOf(QList<MediaItem> const& items)
{
    QStringList names;
    for (MediaItem const& item : items.mid(0, mostNames))
        names << NameOf(item);
    QString const list = names.join(QStringLiteral(", "));
    auto const more = items.size() - names.size();
    return more > 0 ? QStringLiteral("%1 and %2 more").arg(list, QString::number(more)) : list;
}

} // namespace

QList<MediaItem> MediaItems::Of(QStringList const& paths, Rows rows)
{
    Collector collector(rows);
    for (QString const& path : paths)
        collector.Add(path);
    return collector.GetItems();
}

std::optional<MediaItem> MediaItems::OnlyOne(QString const& path, Half half, Rows rows, QString& error)
{
    QList<MediaItem> const items = Of({path}, rows);
    if (items.size() == 1)
        return items.first();
    QList<MediaItem> meant;
    std::copy_if(items.begin(), items.end(), std::back_inserter(meant),
                 [half](MediaItem const& item) { return CanBeMeant(item, half); });
    if (meant.size() == 1)
        return meant.first();
    error = QStringLiteral("stands for several files, name one of them: ") + ListOf(meant.isEmpty() ? items : meant);
    return std::nullopt;
}
