#include "player/Playlist.h"

#include "source/ImageFormat.h"
#include "source/ImageSequence.h"
#include "source/MediaFolder.h"

#include <QFileInfo>

Playlist::Playlist(QStringList const& paths)
{
    for (QString const& path : paths)
        Add(path);
}

void Playlist::Add(QString const& path)
{
    if (QFileInfo(path).isDir())
        AddFolder(path);
    else if (!ImageFormatOf(path).isEmpty())
        AddPicture(path);
    else
        entries.append({path, false, 0});
}

// What cannot be listed is left to the engine, which says what is wrong with it.
void Playlist::AddFolder(QString const& path)
{
    QList<MediaFolder::Entry> const found = MediaFolder::Read(path);
    bool const isSequence = found.size() == 1 && found.first().isSequence;
    if (found.isEmpty() || isSequence)
        entries.append({path, false, 0});
    else
        for (MediaFolder::Entry const& entry : found)
            entries.append({entry.path, entry.isSequence, 0});
}

// A picture without others of its row is a still image.
void Playlist::AddPicture(QString const& path)
{
    QString error;
    if (taken.contains(QFileInfo(path).absoluteFilePath()))
        return;
    ImageSequence const sequence = ImageSequence::Find(path, SequenceHoles::Hold, error);
    QStringList const files = sequence.GetFiles();
    bool const isSequence = files.size() > 1;
    entries.append({path, isSequence, isSequence ? sequence.GetIndexOf(path) : 0});
    if (!isSequence)
        return;
    for (QString const& file : files)
        taken.insert(file);
}

bool Playlist::Move(int count)
{
    int const target = current + count;
    if (target < 0 || target >= entries.size())
        return false;
    current = target;
    return true;
}
