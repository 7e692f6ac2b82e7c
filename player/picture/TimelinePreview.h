#pragma once

#include "player/picture/Thumbnails.h"

#include <QWidget>

class Timeline;
struct PlaybackStatus;

// A small picture of the time under the pointer, above the timeline.
class TimelinePreview : public QWidget
{
    Q_OBJECT

public:
    TimelinePreview(Timeline& timeline, QWidget* window); // which the timeline lies in

    // Of what has been opened.
    void SetSource(PlaybackStatus const& status, bool isSequence, SourceOptions const& options);
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
    QString path; // of what is open, when it has pictures
    long long time = 0;
    int x = 0; // of the pointer, in the timeline
    QImage picture;
};
