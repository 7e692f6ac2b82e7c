#include "player/controls/StatisticsOverlay.h"

#include "playback/PlaybackStatus.h"
#include "player/controls/Theme.h"
#include "player/controls/TimeText.h"

#include <QPainter>

namespace {

constexpr int padding = 12;
constexpr int rowHeight = 19;
constexpr int nameWidth = 78;
constexpr int cardWidth = 352;
constexpr double megabyte = 1024.0 * 1024.0;

QString Megabytes(long long bytes)
{
    return QString::number(static_cast<double>(bytes) / megabyte, 'f', 1);
}

QString CacheText(PlaybackStatus const& status)
{
    QString size = QString("%1 of %2 MB").arg(Megabytes(status.cachedBytes), Megabytes(status.cacheBudget));
    if (status.cacheEnd < status.cacheStart)
        return size;
    return QString("%1, %2 s")
        .arg(size, QString::number(static_cast<double>(status.cacheEnd - status.cacheStart) / 1e6, 'f', 1));
}

QString PictureText(PlaybackStatus const& status)
{
    if (status.width <= 0)
        return "none";
    return QString("%1 × %2, %3 fps").arg(status.width).arg(status.height).arg(status.frameRate, 0, 'g', 6);
}

// What was done to the light of the picture, behind the first comma of its colours.
QString LightText(PlaybackStatus const& status)
{
    QString const done = status.colours.section(", ", 1);
    return done.isEmpty() ? QString("as coded") : done;
}

QString SoundText(PlaybackStatus const& status)
{
    if (status.channels <= 0)
        return "none";
    return QString("%1 Hz, %2").arg(status.sampleRate).arg(status.channels == 1 ? "mono" : "stereo");
}

} // namespace

StatisticsOverlay::StatisticsOverlay(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void StatisticsOverlay::Show(PlaybackStatus const& status, QString const& painting)
{
    rows = {
        {"Picture", PictureText(status)},
        {"Colours", status.colours.isEmpty() ? QString("plain") : status.colours.section(", ", 0, 0)},
        {"Light", LightText(status)},
        {"Sound", SoundText(status)},
        {"Decoding", QString("%1 pictures/s").arg(status.decodeRate, 0, 'f', 1)},
        {"Shown", QString::number(status.picturesShown)},
        {"Dropped", QString::number(status.picturesDropped)},
        {"Cache", CacheText(status)},
        {"Drift", QString("%1 ms").arg(status.drift / 1000.0, 0, 'f', 1)},
        {"Painting", painting},
    };
    resize(cardWidth, 2 * padding + static_cast<int>(rows.size()) * rowHeight);
    update();
}

QStringList StatisticsOverlay::GetLines() const
{
    QStringList lines;
    for (auto const& [name, value] : rows)
        lines << QString("%1: %2").arg(name, value);
    return lines;
}

void StatisticsOverlay::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor paper = Theme::panel;
    paper.setAlpha(225);
    painter.setPen(Qt::NoPen);
    painter.setBrush(paper);
    painter.drawRoundedRect(rect(), 6.0, 6.0);
    int y = padding;
    for (auto const& [name, value] : rows) {
        painter.setPen(Theme::quietText);
        painter.drawText(QRect(padding, y, nameWidth, rowHeight), Qt::AlignVCenter, name);
        painter.setPen(Theme::text);
        painter.drawText(QRect(padding + nameWidth, y, width() - nameWidth - 2 * padding, rowHeight), Qt::AlignVCenter,
                         value);
        y += rowHeight;
    }
}
