#pragma once

#include "player/picture/Thumbnails.h"

#include <QWidget>

class Timeline;

// A small picture of the time under the pointer, above the timeline.
class TimelinePreview : public QWidget
{
    Q_OBJECT

public:
    TimelinePreview(Timeline& timeline, QWidget* window); // which the timeline lies in

    // Of a movie or a sequence; an empty path stands for neither.
    void SetSource(MediaItem const& item, SourceOptions const& options);
    void Hide();

    QImage GetPicture() const { return picture; } // shown, null when there is none yet
    long long GetTime() const { return time; }    // microseconds, under the pointer

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Follow(long long time, int x);
    void Place();

    Timeline& timeline;
    Thumbnails thumbnails;
    bool hasSource = false;
    long long time = 0;
    int x = 0; // of the pointer, in the timeline
    QImage picture;
};
