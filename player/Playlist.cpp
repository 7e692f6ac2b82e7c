#include "player/Playlist.h"

Playlist::Playlist(QStringList const& paths) : entries(MediaItems::Of(paths)) {}

bool Playlist::Move(int count)
{
    int const target = current + count;
    if (target < 0 || target >= entries.size())
        return false;
    current = target;
    return true;
}
