#include "player/HelpOverlay.h"

#include "player/KeyMap.h"
#include "player/Theme.h"

#include <QPainter>

#include <algorithm>

namespace {

// At full size, in pixels.
constexpr double columnWidth = 430.0;
constexpr double keyWidth = 104.0;
constexpr double rowHeight = 21.0;
constexpr double groupGap = 12.0;
constexpr double padding = 26.0;
constexpr int columns = 2;

// The height of all groups with their headings; a group is not broken between columns.
double HeightOf(std::vector<KeyMap::Action> const& actions, char const* group)
{
    auto const rows = std::count_if(actions.begin(), actions.end(), [group](auto const& action) {
        return QLatin1String(action.group) == QLatin1String(group);
    });
    return static_cast<double>(rows + 1) * rowHeight + groupGap;
}

double TotalHeight(std::vector<KeyMap::Action> const& actions)
{
    double height = 0.0;
    QLatin1String last("");
    for (auto const& action : actions) {
        if (QLatin1String(action.group) != last)
            height += HeightOf(actions, action.group);
        last = QLatin1String(action.group);
    }
    return height;
}

QFont FontOf(QFont font, double pixels, bool bold)
{
    font.setPixelSize(static_cast<int>(pixels));
    font.setBold(bold);
    return font;
}

} // namespace

HelpOverlay::HelpOverlay(KeyMap const& keys, QWidget* parent) : QWidget(parent), keys(keys)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

QStringList HelpOverlay::GetLines() const
{
    QStringList lines;
    for (auto const& action : KeyMap::Actions())
        lines << QString("%1: %2").arg(keys.KeysOf(action.action), action.help);
    return lines;
}

void HelpOverlay::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // The tallest group may overhang the half, so the columns have room for it.
    double const height = TotalHeight(KeyMap::Actions()) / columns + 3.0 * rowHeight + 2.0 * padding;
    double const wide = columns * columnWidth + 3.0 * padding;
    double const scale = std::min({1.0, (width() - 16.0) / wide, (this->height() - 16.0) / height});
    painter.translate(width() / 2.0, this->height() / 2.0);
    painter.scale(scale, scale);
    QRectF const card(-wide / 2.0, -height / 2.0, wide, height);
    QColor paper = Theme::panel;
    paper.setAlpha(240);
    painter.setPen(QPen(Theme::line, 1.0));
    painter.setBrush(paper);
    painter.drawRoundedRect(card, 8.0, 8.0);
    PaintGroups(painter, card.adjusted(padding, padding, -padding, -padding));
}

void HelpOverlay::PaintGroups(QPainter& painter, QRectF const& area) const
{
    auto const& actions = KeyMap::Actions();
    double const columnEnd = area.top() + TotalHeight(actions) / columns;
    QPointF place = area.topLeft();
    QLatin1String last("");
    for (auto const& action : actions) {
        if (QLatin1String(action.group) != last) {
            if (!last.isEmpty() && last.size() > 0)
                place.ry() += groupGap;
            bool const halfDone = place.x() == area.left() && place.y() + rowHeight > columnEnd;
            if (halfDone)
                place = QPointF(area.left() + columnWidth + padding, area.top());
            painter.setFont(FontOf(font(), 12.0, true));
            painter.setPen(Theme::accent);
            painter.drawText(QRectF(place, QSizeF(columnWidth, rowHeight)), Qt::AlignVCenter,
                             QString(action.group).toUpper());
            place.ry() += rowHeight;
            last = QLatin1String(action.group);
        }
        painter.setFont(FontOf(font(), 13.0, true));
        painter.setPen(Theme::text);
        painter.drawText(QRectF(place, QSizeF(keyWidth, rowHeight)), Qt::AlignVCenter, keys.KeysOf(action.action));
        painter.setFont(FontOf(font(), 13.0, false));
        painter.setPen(Theme::quietText.lighter(120));
        painter.drawText(QRectF(place.x() + keyWidth, place.y(), columnWidth - keyWidth, rowHeight), Qt::AlignVCenter,
                         action.help);
        place.ry() += rowHeight;
    }
}
