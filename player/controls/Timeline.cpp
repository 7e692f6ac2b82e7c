#include "player/controls/Timeline.h"

#include "common/TimeText.h"
#include "playback/PlaybackStatus.h"
#include "player/controls/Theme.h"
#include "source/PictureIndex.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace {

constexpr int margin = 12;      // left and right of the groove, aligned with the controls below
constexpr int labelHeight = 18; // above the groove, for the time under the pointer
constexpr int cachedHeight = 3;
constexpr int damageWidth = 3;
constexpr int damageHeight = 9;
constexpr int markHeight = 4;           // of a mark's triangle, and how near the pointer has to be
constexpr int partHeight = 3;           // of the bar that tells which part is shown
constexpr int pictureMark = 5;          // height of the mark where a picture begins
constexpr int narrowestPicture = 4;     // pixels; narrower ones get no marks
constexpr int widestPicture = 8;        // pixels; the part shown is not made shorter
constexpr long long stepOfSound = 8000; // microseconds; takes the place of a picture's where there is none
constexpr double zoomPerNotch = 1.25;
constexpr double movedPerNotch = 0.1; // of the part shown
constexpr int notch = 120;            // eighths of a degree
constexpr double farBeside = 10000.0; // pixels; so far beside the groove lies all that is not shown

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

void Timeline::Show(PlaybackStatus const& status)
{
    if (status.state == PlaybackState::Closed || status.state == PlaybackState::Opening)
        return;
    SetMedia({status.start, status.start + status.duration});
    SetPictureStep(status.width > 0 ? status.frameStep : 0);
    SetIndex(status.index);
    SetPosition(status.position);
    SetCached({status.cacheStart, status.cacheEnd});
    SetDamage(status.damage);
}

void Timeline::SetMedia(Span newMedia)
{
    if (newMedia.start == media.start && newMedia.end == media.end)
        return;
    bool const isAll = part.start == media.start && part.end == media.end;
    bool const isOther = newMedia.start != media.start || newMedia.end < part.end;
    media = newMedia;
    if (isAll || isOther)
        part = media;
    update();
}

void Timeline::SetPictureStep(long long step)
{
    pictureStep = step;
}

void Timeline::SetIndex(std::shared_ptr<PictureIndex const> newIndex)
{
    if (newIndex == index)
        return;
    index = std::move(newIndex);
    update();
}

void Timeline::SetPosition(long long newPosition)
{
    if (newPosition == position)
        return;
    bool const moved = XAt(newPosition) != XAt(position);
    position = newPosition;
    FollowPosition();
    if (moved)
        update();
}

// By whole parts, so that the timeline stands still in between.
void Timeline::FollowPosition()
{
    long long const length = part.end - part.start;
    if (dragging || length <= 0 || (position >= part.start && position < part.end))
        return;
    bool const isNext = position >= part.end && position < part.end + length;
    bool const isBefore = position < part.start && position >= part.start - length;
    if (isNext)
        SetPart(position - length / 20, length);
    else if (isBefore)
        SetPart(position - length + length / 20, length);
    else
        SetPart(position - length / 2, length);
}

Timeline::Span Timeline::GetPart() const
{
    return part;
}

// The shortest part in which a picture is at most so wide.
long long Timeline::ShortestPart() const
{
    long long const step = pictureStep > 0 ? pictureStep : stepOfSound;
    return std::max(1LL, step * Groove().width() / widestPicture);
}

void Timeline::SetPart(long long start, long long length)
{
    long long const all = media.end - media.start;
    if (all <= 0)
        return;
    length = std::clamp(length, std::min(ShortestPart(), all), all);
    part.start = std::clamp(start, media.start, media.end - length);
    part.end = part.start + length;
    NoteHover();
    update();
}

void Timeline::Zoom(double factor)
{
    FollowPosition();
    auto const length = static_cast<double>(std::max(1LL, part.end - part.start));
    ZoomAround(static_cast<double>(position - part.start) / length, factor);
}

// `place`: of what stays where it is, 0 at the start of the part shown to 1 at its end.
void Timeline::ZoomAround(double place, double factor)
{
    auto const length = static_cast<double>(part.end - part.start);
    double const shown = std::max(length / factor, static_cast<double>(ShortestPart()));
    double const start = static_cast<double>(part.start) + std::clamp(place, 0.0, 1.0) * (length - shown);
    SetPart(std::llround(start), std::llround(shown));
}

void Timeline::ShowAll()
{
    SetPart(media.start, media.end - media.start);
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

void Timeline::SetMarks(QVector<Mark> const& newMarks)
{
    marks = newMarks;
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
    double const place = static_cast<double>(x - groove.left()) / std::max(1, groove.width() - 1);
    auto const time = static_cast<long long>(place * static_cast<double>(part.end - part.start));
    return part.start + std::clamp(time, 0LL, std::max(0LL, part.end - part.start - 1));
}

int Timeline::XAt(long long time) const
{
    QRect const groove = Groove();
    double const length = static_cast<double>(std::max(1LL, part.end - part.start));
    double const x = static_cast<double>(time - part.start) / length * (groove.width() - 1);
    return groove.left() + static_cast<int>(std::floor(std::clamp(x, -farBeside, farBeside) + 0.5));
}

void Timeline::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    QRect const groove = Groove();
    painter.fillRect(rect(), Theme::panel);
    painter.fillRect(groove, Theme::raised.darker(125));
    if (media.end <= media.start)
        return;
    painter.setClipRect(groove.adjusted(0, -3, 0, 3));
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
    PaintPictures(painter);
    PaintDamage(painter);
    PaintMarks(painter);
    painter.fillRect(XAt(position) - 1, groove.top() - 3, 2, groove.height() + 6, Theme::text);
    painter.setClipping(false);
    PaintPart(painter);
    if (hover)
        PaintHover(painter);
}

// Where each picture begins, once they can be told apart; a longer mark for one at which decoding can begin.
void Timeline::PaintPictures(QPainter& painter) const
{
    if (!index)
        return;
    QRect const groove = Groove();
    long long const first = index->NumberAt(part.start);
    long long const last = index->NumberAt(part.end - 1);
    if ((last - first + 1) * narrowestPicture > groove.width())
        return;
    for (long long number = first; number <= last; ++number) {
        int const height = index->IsKey(number) ? 2 * pictureMark : pictureMark;
        painter.fillRect(XAt(index->TimeOf(number)), groove.top(), 1, height, Theme::quietText);
    }
}

// Where the part shown lies in the whole.
void Timeline::PaintPart(QPainter& painter) const
{
    if (part.start == media.start && part.end == media.end)
        return;
    QRect const groove = Groove();
    double const scale = groove.width() / static_cast<double>(media.end - media.start);
    double const left = static_cast<double>(part.start - media.start) * scale;
    double const width = std::max(2.0, static_cast<double>(part.end - part.start) * scale);
    painter.fillRect(QRectF(groove.left(), groove.bottom() + 2, groove.width(), partHeight), Theme::raised);
    painter.fillRect(QRectF(groove.left() + left, groove.bottom() + 2, width, partHeight), Theme::quietText);
}

void Timeline::PaintWave(QPainter& painter) const
{
    if (peaks.isEmpty())
        return;
    QRect const groove = Groove();
    int const here = XAt(position);
    double const middle = groove.top() + groove.height() / 2.0;
    auto const peakAt = [&](int x) { // its number, of the peaks over the whole media
        double const place = static_cast<double>(x - groove.left()) / groove.width();
        double const time =
            static_cast<double>(part.start - media.start) + place * static_cast<double>(part.end - part.start);
        auto const number = static_cast<int>(time / static_cast<double>(media.end - media.start) * peaks.size());
        return std::clamp<int>(number, 0, static_cast<int>(peaks.size()) - 1);
    };
    for (int x = groove.left(); x <= groove.right(); ++x) {
        int const last = peakAt(x + 1);
        int peak = peaks[peakAt(x)];
        for (int i = peakAt(x); i < last; ++i)
            peak = std::max<int>(peak, peaks[i]);
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

void Timeline::PaintMarks(QPainter& painter) const
{
    QRect const groove = Groove();
    int last = -1;
    for (Mark const& mark : marks) {
        int const x = XAt(mark.time);
        if (x == last)
            continue; // the same place
        last = x;
        painter.fillRect(x, groove.top(), 1, groove.height(), Theme::mark);
        for (int row = 0; row < markHeight; ++row) // a small triangle that points down
            painter.fillRect(x - markHeight + row, groove.top() + row, 2 * (markHeight - row) + 1, 1, Theme::mark);
    }
}

QString Timeline::NoteAt(int x) const
{
    auto const isNear = [&](Mark const& mark) { return std::abs(XAt(mark.time) - x) <= markHeight; };
    auto const found = std::find_if(marks.begin(), marks.end(), isNear);
    return found == marks.end() ? QString() : found->note;
}

void Timeline::PaintHover(QPainter& painter) const
{
    QRect const groove = Groove();
    int const x = std::clamp(*hover, groove.left(), groove.right());
    QColor mark = Theme::text;
    mark.setAlpha(110);
    painter.fillRect(x, groove.top(), 1, groove.height(), mark);
    QString const note = NoteAt(x);
    QString const text = TimeText::ShortClock(TimeAt(x), 3) + (note.isEmpty() ? QString() : "  " + note);
    int const width = std::min(painter.fontMetrics().horizontalAdvance(text), groove.width());
    int const left = std::clamp(x - width / 2, groove.left(), groove.right() - width + 1);
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
    NoteHover();
    if (dragging)
        emit Previewed(TimeAt(*hover));
}

void Timeline::NoteHover()
{
    if (hover && media.end > media.start)
        emit Hovered(TimeAt(*hover), std::clamp(*hover, Groove().left(), Groove().right()));
}

void Timeline::mouseReleaseEvent(QMouseEvent* event)
{
    if (!dragging || event->button() != Qt::LeftButton)
        return;
    dragging = false;
    emit Chosen(TimeAt(event->pos().x()));
}

void Timeline::wheelEvent(QWheelEvent* event)
{
    event->accept();
    QPointF const notches = QPointF(event->angleDelta()) / notch;
    bool const moves = (event->modifiers() & Qt::ShiftModifier) != 0 || notches.y() == 0.0;
    if (!moves) {
        double const place = (event->position().x() - Groove().left()) / std::max(1, Groove().width() - 1);
        ZoomAround(place, std::pow(zoomPerNotch, notches.y()));
        return;
    }
    auto const length = static_cast<double>(part.end - part.start);
    double const distance = -(notches.x() + notches.y()) * movedPerNotch * length;
    SetPart(part.start + static_cast<long long>(distance), part.end - part.start);
}

void Timeline::leaveEvent(QEvent* /*event*/)
{
    EndHover();
}

void Timeline::hideEvent(QHideEvent* /*event*/)
{
    EndHover();
}

void Timeline::EndHover()
{
    hover.reset();
    update();
    emit HoverEnded();
}
