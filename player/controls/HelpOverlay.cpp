#include "player/controls/HelpOverlay.h"

#include "player/controls/KeyMap.h"
#include "player/controls/Theme.h"

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

// Where each action and each heading stands, in a column and from its top; a group is not broken between columns.
struct Place
{
    KeyMap::Action const* action;
    bool beginsGroup; // a heading stands one row above
    int column;
    double top;
};

// The number of rows and gaps of all groups, as a height.
double TotalHeight(std::vector<KeyMap::Action> const& actions)
{
    double height = 0.0;
    QLatin1String last("");
    for (auto const& action : actions) {
        height += rowHeight + (QLatin1String(action.group) != last ? rowHeight + groupGap : 0.0);
        last = QLatin1String(action.group);
    }
    return height;
}

std::vector<Place> PlacesOf(std::vector<KeyMap::Action> const& actions)
{
    std::vector<Place> places;
    double const half = TotalHeight(actions) / columns;
    QLatin1String last("");
    int column = 0;
    double top = 0.0;
    for (auto const& action : actions) {
        bool const beginsGroup = QLatin1String(action.group) != last;
        if (beginsGroup && column == 0 && top + 2.0 * rowHeight > half) {
            column = 1;
            top = 0.0;
        }
        if (beginsGroup)
            top += rowHeight + (top > 0.0 ? groupGap : 0.0);
        places.push_back({&action, beginsGroup, column, top});
        top += rowHeight;
        last = QLatin1String(action.group);
    }
    return places;
}

double HeightOf(std::vector<Place> const& places)
{
    double height = 0.0;
    for (auto const& place : places)
        height = std::max(height, place.top + rowHeight);
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
    double const height = HeightOf(PlacesOf(KeyMap::Actions())) + 2.0 * padding;
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
    for (Place const& place : PlacesOf(KeyMap::Actions())) {
        QPointF const corner = area.topLeft() + QPointF(place.column * (columnWidth + padding), place.top);
        if (place.beginsGroup) {
            painter.setFont(FontOf(font(), 12.0, true));
            painter.setPen(Theme::accent);
            painter.drawText(QRectF(corner - QPointF(0.0, rowHeight), QSizeF(columnWidth, rowHeight)), Qt::AlignVCenter,
                             QString(place.action->group).toUpper());
        }
        painter.setFont(FontOf(font(), 13.0, true));
        painter.setPen(Theme::text);
        painter.drawText(QRectF(corner, QSizeF(keyWidth, rowHeight)), Qt::AlignVCenter,
                         keys.KeysOf(place.action->action));
        painter.setFont(FontOf(font(), 13.0, false));
        painter.setPen(Theme::quietText.lighter(120));
        painter.drawText(QRectF(corner + QPointF(keyWidth, 0.0), QSizeF(columnWidth - keyWidth, rowHeight)),
                         Qt::AlignVCenter, place.action->help);
    }
}
