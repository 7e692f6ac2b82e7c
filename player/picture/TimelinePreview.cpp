#include "player/picture/TimelinePreview.h"

#include "player/controls/Theme.h"
#include "player/controls/Timeline.h"

#include <QPainter>

#include <algorithm>

namespace {

constexpr QSize largestPicture(192, 108);
constexpr int frameWidth = 3;

} // namespace

TimelinePreview::TimelinePreview(Timeline& timeline, QWidget* window)
    : QWidget(window), timeline(timeline), thumbnails(largestPicture, this)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
    connect(&timeline, &Timeline::Hovered, this, &TimelinePreview::Follow);
    connect(&timeline, &Timeline::HoverEnded, this, &TimelinePreview::Hide);
    connect(&thumbnails, &Thumbnails::Made, this, [this](long long madeFor, QImage const& made) {
        if (madeFor != time)
            return;
        picture = made;
        Place();
    });
}

void TimelinePreview::SetSource(MediaItem const& item, SourceOptions const& options)
{
    hasSource = !item.path.isEmpty();
    thumbnails.SetSource(item, options);
    Hide();
}

void TimelinePreview::Hide()
{
    thumbnails.Cancel();
    picture = QImage();
    hide();
}

// The last picture stays until the next one is made: the pointer passes over many times in between.
void TimelinePreview::Follow(long long newTime, int newX)
{
    time = newTime;
    x = newX;
    if (hasSource)
        thumbnails.Request(time);
    if (!picture.isNull())
        Place();
}

void TimelinePreview::Place()
{
    resize(picture.size() + QSize(2 * frameWidth, 2 * frameWidth));
    QPoint const above = timeline.mapTo(parentWidget(), QPoint(x - width() / 2, -height()));
    move(std::clamp(above.x(), 0, std::max(0, parentWidget()->width() - width())), std::max(0, above.y()));
    show();
    raise();
    update();
}

void TimelinePreview::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), Theme::raised);
    painter.drawImage(frameWidth, frameWidth, picture);
}
