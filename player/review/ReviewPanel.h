#pragma once

#include "player/review/Markers.h"
#include "player/review/PictureNames.h"

#include <QWidget>

#include <optional>

class QLabel;
class QTreeWidget;
class QTreeWidgetItem;

// The list of markers beside the picture, below it the range with its length: each by time, timecode and number. A
// click goes there; a double click on a note edits it. Does not take the keyboard but for that.
class ReviewPanel : public QWidget
{
    Q_OBJECT

public:
    explicit ReviewPanel(QWidget* parent);

    void ShowMarkers(Markers const& markers, PictureNames const& names);

    // `out`: the first moment after the range; what is absent is the start or the end of the media.
    void ShowRange(std::optional<long long> in, std::optional<long long> out, PictureNames const& names);

    QStringList GetLines() const;      // of the list: time, timecode, number and note with spaces between them
    QStringList GetRangeLines() const; // in, out and length

signals:
    void Chosen(long long time);
    void NoteChanged(long long time, QString const& note);

private:
    void Take(QTreeWidgetItem* item, int column);

    QTreeWidget* list;
    QLabel* range;
};
