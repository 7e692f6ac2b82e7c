#pragma once

#include <QVector>
#include <QWidget>

#include <optional>

// Shows the whole media from left to right: waveform, cached span, range and position, and the time under the pointer.
// Dragging emits Previewed for each place it passes; the release emits Chosen.
class Timeline : public QWidget
{
    Q_OBJECT

public:
    // Microseconds of media time. An end before the start is an empty span.
    struct Span
    {
        long long start = 0;
        long long end = -1;
    };

    explicit Timeline(QWidget* parent = nullptr);

    void SetMedia(Span media); // empty if nothing is open
    void SetPosition(long long position);
    void SetCached(Span cached);
    void SetRange(std::optional<long long> in, std::optional<long long> out);
    void SetDamage(QVector<long long> const& times); // of pictures that could not be decoded
    void SetPeaks(QVector<quint8> const& peaks);     // over the whole media, from a WaveformReader

    long long TimeAt(int x) const; // within the media
    int XAt(long long time) const;

    QSize sizeHint() const override;

signals:
    void Previewed(long long time);
    void Chosen(long long time);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QRect Groove() const;
    void PaintWave(QPainter& painter) const;
    void PaintRange(QPainter& painter) const;
    void PaintDamage(QPainter& painter) const;
    void PaintHover(QPainter& painter) const;

    Span media;
    Span cached;
    long long position = 0;
    std::optional<long long> in;
    std::optional<long long> out;
    QVector<long long> damage;
    QVector<quint8> peaks;
    std::optional<int> hover; // x of the pointer
    bool dragging = false;
};
