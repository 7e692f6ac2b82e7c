#include "player/controls/Timeline.h"

#include "common/TimeText.h"
#include "player/controls/Theme.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace {

constexpr int margin = 12;      // left and right of the groove, aligned with the controls below
constexpr int labelHeight = 18; // above the groove, for the time under the pointer
constexpr int cachedHeight = 3;
constexpr int damageWidth = 3;
constexpr int damageHeight = 9;

} // namespace

Timeline::Timeline(QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSize Timeline::sizeHint() const
{
    return {400, labelHeight + 44};
}

void Timeline::SetMedia(Span newMedia)
{
    if (newMedia.start == media.start && newMedia.end == media.end)
        return;
    media = newMedia;
    update();
}

void Timeline::SetPosition(long long newPosition)
{
    bool const moved = XAt(newPosition) != XAt(position);
    position = newPosition;
    if (moved)
        update();
}

void Timeline::SetCached(Span newCached)
{
    bool const changed = XAt(newCached.start) != XAt(cached.start) || XAt(newCached.end) != XAt(cached.end);
    cached = newCached;
    if (changed)
        update();
}

void Timeline::SetRange(std::optional<long long> newIn, std::optional<long long> newOut)
{
    if (newIn == in && newOut == out)
        return;
    in = newIn;
    out = newOut;
    update();
}

void Timeline::SetDamage(QVector<long long> const& times)
{
    if (times == damage)
        return;
    damage = times;
    update();
}

void Timeline::SetPeaks(QVector<quint8> const& newPeaks)
{
    peaks = newPeaks;
    update();
}

QRect Timeline::Groove() const
{
    return rect().adjusted(margin, labelHeight, -margin, -6);
}

long long Timeline::TimeAt(int x) const
{
    QRect const groove = Groove();
    double const part = static_cast<double>(x - groove.left()) / std::max(1, groove.width() - 1);
    auto const time = static_cast<long long>(part * static_cast<double>(media.end - media.start));
    return media.start + std::clamp(time, 0LL, std::max(0LL, media.end - media.start - 1));
}

int Timeline::XAt(long long time) const
{
    QRect const groove = Groove();
    double const length = static_cast<double>(std::max(1LL, media.end - media.start));
    double const part = std::clamp(static_cast<double>(time - media.start) / length, 0.0, 1.0);
    return groove.left() + static_cast<int>(part * (groove.width() - 1) + 0.5);
}

void Timeline::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    QRect const groove = Groove();
    painter.fillRect(rect(), Theme::panel);
    painter.fillRect(groove, Theme::raised.darker(125));
    if (media.end <= media.start)
        return;
    PaintWave(painter);
    QRect played = groove;
    played.setRight(XAt(position));
    QColor tint = Theme::accent;
    tint.setAlpha(40);
    painter.fillRect(played, tint);
    PaintRange(painter);
    if (cached.end >= cached.start)
        painter.fillRect(QRect(QPoint(XAt(cached.start), groove.bottom() - cachedHeight + 1),
                               QPoint(XAt(cached.end), groove.bottom())),
                         Theme::cached);
    PaintDamage(painter);
    painter.fillRect(XAt(position) - 1, groove.top() - 3, 2, groove.height() + 6, Theme::text);
    if (hover)
        PaintHover(painter);
}

void Timeline::PaintWave(QPainter& painter) const
{
    if (peaks.isEmpty())
        return;
    QRect const groove = Groove();
    int const here = XAt(position);
    double const middle = groove.top() + groove.height() / 2.0;
    for (int x = groove.left(); x <= groove.right(); ++x) {
        auto const first = static_cast<qint64>(x - groove.left()) * peaks.size() / groove.width();
        auto const last = static_cast<qint64>(x + 1 - groove.left()) * peaks.size() / groove.width();
        int peak = peaks[static_cast<int>(first)];
        for (qint64 i = first; i < last; ++i)
            peak = std::max<int>(peak, peaks[static_cast<int>(i)]);
        double const half = peak / 255.0 * (groove.height() / 2.0 - cachedHeight - 1);
        painter.fillRect(QRectF(x, middle - half, 1.0, 2.0 * half), x < here ? Theme::accent.darker(150) : Theme::wave);
    }
}

void Timeline::PaintRange(QPainter& painter) const
{
    QRect const groove = Groove();
    QColor shade = Theme::panel;
    shade.setAlpha(170);
    if (in) {
        painter.fillRect(QRect(groove.topLeft(), QPoint(XAt(*in) - 1, groove.bottom())), shade);
        painter.fillRect(XAt(*in), groove.top(), 2, groove.height(), Theme::range);
        painter.fillRect(XAt(*in), groove.top(), 7, 2, Theme::range);
    }
    if (out) {
        painter.fillRect(QRect(QPoint(XAt(*out) + 1, groove.top()), groove.bottomRight()), shade);
        painter.fillRect(XAt(*out) - 1, groove.top(), 2, groove.height(), Theme::range);
        painter.fillRect(XAt(*out) - 6, groove.top(), 7, 2, Theme::range);
    }
}

// At the upper edge, opposite to what is cached.
void Timeline::PaintDamage(QPainter& painter) const
{
    for (long long const time : damage)
        painter.fillRect(XAt(time) - 1, Groove().top(), damageWidth, damageHeight, Theme::damage);
}

void Timeline::PaintHover(QPainter& painter) const
{
    QRect const groove = Groove();
    int const x = std::clamp(*hover, groove.left(), groove.right());
    QColor mark = Theme::text;
    mark.setAlpha(110);
    painter.fillRect(x, groove.top(), 1, groove.height(), mark);
    QString const text = TimeText::ShortClock(TimeAt(x), 3);
    int const width = painter.fontMetrics().horizontalAdvance(text);
    int const left = std::clamp(x - width / 2, groove.left(), groove.right() - width);
    painter.setPen(Theme::text);
    painter.drawText(QRect(left, 0, width, labelHeight - 2), Qt::AlignCenter | Qt::TextDontClip, text);
}

void Timeline::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || media.end <= media.start)
        return;
    dragging = true;
    emit Previewed(TimeAt(event->pos().x()));
}

void Timeline::mouseMoveEvent(QMouseEvent* event)
{
    hover = event->pos().x();
    update();
    if (dragging)
        emit Previewed(TimeAt(*hover));
}

void Timeline::mouseReleaseEvent(QMouseEvent* event)
{
    if (!dragging || event->button() != Qt::LeftButton)
        return;
    dragging = false;
    emit Chosen(TimeAt(event->pos().x()));
}

void Timeline::leaveEvent(QEvent* /*event*/)
{
    hover.reset();
    update();
}
