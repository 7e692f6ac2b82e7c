#pragma once

#include "TavolinWidgetsExport.h"

#include <QVector>
#include <QWidget>

#include <memory>
#include <optional>

class PictureIndex;
struct PlaybackStatus;

// Shows the media from left to right: waveform, cached span, range and position, and the time under the pointer.
// Dragging emits Previewed for each place it passes; the release emits Chosen.
//
// It can show a part of the media only, down to a few pictures. The wheel zooms around the pointer, and with Shift it
// moves the part. When the position moves out of the part, the part follows.
class TAVOLINWIDGETS_EXPORT Timeline : public QWidget
{
    Q_OBJECT

public:
    // A stretch of the media. An end before the start is an empty span.
    struct Span
    {
        long long start = 0; // microseconds of media time
        long long end = -1;  // the same
    };

    // A marked moment and what is said about it.
    struct Mark
    {
        long long time = 0; // microseconds of media time
        QString note;       // shown while the pointer is on the mark
    };

    explicit Timeline(QWidget* parent = nullptr); // empty until Show or SetMedia

    // Media, position and cached span of what is open; leaves the timeline as it is while nothing is.
    void Show(PlaybackStatus const& status);

    void SetMedia(Span media);            // empty if nothing is open
    void SetPosition(long long position); // of play
    void SetCached(Span cached);          // of pictures
    // In and out points: the first moment of the range, and the first one after it.
    void SetRange(std::optional<long long> in, std::optional<long long> out);
    void SetDamage(QVector<long long> const& times); // of pictures that could not be decoded
    void SetMarks(QVector<Mark> const& marks);       // in the order of their times
    void SetPeaks(QVector<quint8> const& peaks);     // over the whole media, from a WaveformReader
    void SetPictureStep(long long step);             // microseconds from picture to picture; 0: unknown, or no pictures
    void SetIndex(std::shared_ptr<PictureIndex const> index); // of the pictures; null while it is unknown

    long long TimeAt(int x) const; // within the part shown
    int XAt(long long time) const; // beside the groove for a time outside the part shown
    Span GetPart() const;          // that is shown; `end` is its end, not its last moment
    void Zoom(double factor);      // around the position; above 1 shows less
    void ShowAll();                // of the media

    QSize sizeHint() const override; // any width, a fixed height

signals:
    void Previewed(long long time);      // dragged over this time
    void Chosen(long long time);         // released at this time
    void Hovered(long long time, int x); // the pointer has moved over it, or what lies under the pointer has
    void HoverEnded();                   // the pointer has left

private:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

    QRect Groove() const;
    long long ShortestPart() const;
    void SetPart(long long start, long long length);
    void FollowPosition();
    void ZoomAround(double place, double factor);
    void NoteHover();
    void EndHover();
    void PaintPart(QPainter& painter) const;
    void PaintPictures(QPainter& painter) const;
    void PaintWave(QPainter& painter) const;
    void PaintRange(QPainter& painter) const;
    void PaintDamage(QPainter& painter) const;
    void PaintMarks(QPainter& painter) const;
    QString NoteAt(int x) const; // of the mark there; empty without one
    void PaintHover(QPainter& painter) const;

    Span media;
    Span part; // within the media
    long long pictureStep = 0;
    std::shared_ptr<PictureIndex const> index;
    Span cached;
    long long position = 0;
    std::optional<long long> in;
    std::optional<long long> out;
    QVector<long long> damage;
    QVector<quint8> peaks;
    QVector<Mark> marks;
    std::optional<int> hover; // x of the pointer
    bool dragging = false;
};
