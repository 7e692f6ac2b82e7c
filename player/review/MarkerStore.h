#pragma once

#include "player/review/Markers.h"

#include <QString>

// Keeps the markers of files between sessions, each in a small file of its own in the user's data folder. The oldest
// are forgotten when there are too many. What cannot be read counts as no markers.
namespace MarkerStore {

constexpr int mostFiles = 500;

Markers Load(QString const& movie);                      // path, as it was opened
bool Save(QString const& movie, Markers const& markers); // none: removes the file. False when it cannot be written

QString Folder();

} // namespace MarkerStore
