#include "player/controls/Overlays.h"

#include "common/Microseconds.h"
#include "common/TimeText.h"
#include "playback/PlaybackStatus.h"
#include "player/controls/KeyMap.h"
#include "player/controls/Theme.h"
#include "source/PictureIndex.h"

#include <QFileInfo>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace {

// The keys, at full size, in pixels.
constexpr double columnWidth = 410.0;
constexpr double keyWidth = 104.0;
constexpr double rowHeight = 21.0;
constexpr double groupGap = 12.0;
constexpr double areaPadding = 26.0;
constexpr int columns = 3;
constexpr int mostFaults = 10;

// The column of an action or heading, and its distance from the top; a group is never split between columns.
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

// The number of rows of a group without its heading, as a height.
double HeightOfGroup(std::vector<KeyMap::Action> const& actions, char const* group)
{
    auto const rows = std::count_if(actions.begin(), actions.end(),
                                    [&](auto const& action) { return QLatin1String(action.group) == group; });
    return static_cast<double>(rows) * rowHeight;
}

std::vector<Place> PlacesOf(std::vector<KeyMap::Action> const& actions)
{
    std::vector<Place> places;
    double const share = TotalHeight(actions) / columns;
    QLatin1String last("");
    int column = 0;
    double top = 0.0;
    for (auto const& action : actions) {
        bool const beginsGroup = QLatin1String(action.group) != last;
        if (beginsGroup && column + 1 < columns && top + HeightOfGroup(actions, action.group) / 2.0 > share) {
            ++column;
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

// As many as leave room for the keys.
QStringList ShownFaults(QStringList const& faults)
{
    if (faults.size() <= mostFaults)
        return faults;
    int const rest = static_cast<int>(faults.size()) - mostFaults + 1;
    return faults.mid(0, mostFaults - 1) << QString("and %1 more: see the output in the terminal.").arg(rest);
}

QFont FontOf(QFont font, double pixels, bool bold)
{
    font.setPixelSize(static_cast<int>(pixels));
    font.setBold(bold);
    return font;
}

// The statistics, in pixels.
constexpr int cardPadding = 12;
constexpr int cardRow = 19;
constexpr int cardNames = 78;
constexpr int cardWidth = 352;
constexpr double megabyte = 1024.0 * 1024.0;
constexpr double rateTolerance = 0.02; // of the rate; how far that of a short file may be from its average

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
        .arg(size, QString::number(static_cast<double>(status.cacheEnd - status.cacheStart) / secondUs, 'f', 1));
}

QString DamageText(PlaybackStatus const& status)
{
    if (status.damage.isEmpty())
        return "none found";
    return QString("%1 picture%2, first at %3")
        .arg(status.damage.size())
        .arg(status.damage.size() == 1 ? "" : "s", TimeText::ShortClock(status.damage.first(), 3));
}

// What the container says, and what its pictures come to where that is something else; empty for a still image.
QString RateText(PlaybackStatus const& status)
{
    QString told = status.frameRate > 0.0 ? QString("%1 fps").arg(status.frameRate, 0, 'g', 6) : QString();
    if (!status.index || status.kind != SourceKind::Movie)
        return told;
    PictureIndex const& index = *status.index;
    auto const length = static_cast<double>(index.EndOf(index.GetCount()) + 1 - index.TimeOf(0));
    double const average = static_cast<double>(index.GetCount()) * static_cast<double>(secondUs) / length;
    bool const isAsTold = std::abs(average - status.frameRate) <= rateTolerance * status.frameRate;
    return isAsTold || length <= 0.0 ? told : QString("%1 fps on average").arg(average, 0, 'f', 2);
}

QString PictureText(PlaybackStatus const& status)
{
    if (status.width <= 0)
        return "none";
    QStringList parts = {QString("%1 × %2").arg(status.width).arg(status.height), RateText(status)};
    parts.removeAll(QString());
    return parts.join(", ");
}

// The tone mapping, which follows the first comma of the colour description.
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

// By how much the sound heard is ahead of the picture.
QString SyncText(PlaybackStatus const& status)
{
    if (!status.soundOffset)
        return "–";
    return QString("sound %1 ms").arg(static_cast<double>(*status.soundOffset) / 1000.0, 0, 'f', 1);
}

// The welcome panel.
constexpr int panelWidth = 520;
constexpr int maxFiles = 6;
constexpr char const* overlayStyle = R"(
    QPushButton { border: none; border-radius: 4px; padding: 6px 10px; color: #92959a; }
    QPushButton:hover { background: #1b1c1e; color: #dedfe1; }
    QPushButton#open { background: #2b2d30; color: #dedfe1; padding: 8px 18px; }
    QPushButton#open:hover { background: #3a3c40; }
)";

QLabel* MakeLabel(QWidget* parent, QColor const& colour, int pixels)
{
    auto* label = new QLabel(parent);
    QFont font = label->font();
    font.setPixelSize(pixels);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
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

void HelpOverlay::SetFaults(QStringList const& newFaults)
{
    faults = newFaults;
    update();
}

void HelpOverlay::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    double const faultsHeight = faults.isEmpty() ? 0.0 : rowHeight * ShownFaults(faults).size() + groupGap;
    double const height = faultsHeight + HeightOf(PlacesOf(KeyMap::Actions())) + 2.0 * areaPadding;
    double const wide = columns * columnWidth + (columns + 1.0) * areaPadding;
    double const scale = std::min({1.0, (width() - 16.0) / wide, (this->height() - 16.0) / height});
    painter.translate(width() / 2.0, this->height() / 2.0);
    painter.scale(scale, scale);
    QRectF const card(-wide / 2.0, -height / 2.0, wide, height);
    QColor paper = Theme::panel;
    paper.setAlpha(240);
    painter.setPen(QPen(Theme::line, 1.0));
    painter.setBrush(paper);
    painter.drawRoundedRect(card, 8.0, 8.0);
    PaintFaults(painter, card.adjusted(areaPadding, areaPadding, -areaPadding, -areaPadding));
    PaintGroups(painter, card.adjusted(areaPadding, areaPadding + faultsHeight, -areaPadding, -areaPadding));
}

void HelpOverlay::PaintFaults(QPainter& painter, QRectF const& area) const
{
    painter.setFont(FontOf(font(), 13.0, false));
    painter.setPen(Theme::warning);
    double top = area.top();
    for (QString const& line : ShownFaults(faults)) {
        painter.drawText(QRectF(area.left(), top, area.width(), rowHeight), Qt::AlignVCenter,
                         painter.fontMetrics().elidedText(line, Qt::ElideRight, static_cast<int>(area.width())));
        top += rowHeight;
    }
}

void HelpOverlay::PaintGroups(QPainter& painter, QRectF const& area) const
{
    for (Place const& place : PlacesOf(KeyMap::Actions())) {
        QPointF const corner = area.topLeft() + QPointF(place.column * (columnWidth + areaPadding), place.top);
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
        {"Damage", DamageText(status)},
        {"Cache", CacheText(status)},
        {"Sync", SyncText(status)},
        {"Painting", painting},
    };
    resize(cardWidth, 2 * cardPadding + static_cast<int>(rows.size()) * cardRow);
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
    Theme::PaintCard(painter, rect());
    int y = cardPadding;
    for (auto const& [name, value] : rows) {
        painter.setPen(Theme::quietText);
        painter.drawText(QRect(cardPadding, y, cardNames, cardRow), Qt::AlignVCenter, name);
        painter.setPen(Theme::text);
        painter.drawText(QRect(cardPadding + cardNames, y, width() - cardNames - 2 * cardPadding, cardRow),
                         Qt::AlignVCenter, value);
        y += cardRow;
    }
}

WelcomePanel::WelcomePanel(QWidget* parent) : QWidget(parent)
{
    setStyleSheet(overlayStyle);
    heading = MakeLabel(this, Theme::text, 20);
    heading->setText("Drop a movie, sound, picture or folder here");
    message = MakeLabel(this, Theme::warning, 14);
    auto* open = new QPushButton("Open…  Ctrl+O", this);
    open->setObjectName("open");
    open->setFocusPolicy(Qt::NoFocus);
    connect(open, &QPushButton::clicked, this, &WelcomePanel::OpenRequested);
    files = new QVBoxLayout;
    files->setSpacing(2);

    auto* column = new QVBoxLayout;
    column->setSpacing(18);
    column->addStretch(3);
    column->addWidget(message);
    column->addWidget(heading);
    column->addWidget(open, 0, Qt::AlignHCenter);
    column->addLayout(files);
    column->addStretch(4);
    auto* row = new QHBoxLayout(this);
    row->addStretch(1);
    row->addLayout(column);
    row->addStretch(1);
    heading->setFixedWidth(panelWidth);
    message->setFixedWidth(panelWidth);
}

void WelcomePanel::Show(QString const& newMessage, QStringList const& recentFiles)
{
    message->setText(newMessage);
    message->setVisible(!newMessage.isEmpty());
    while (QLayoutItem* item = files->takeAt(0)) {
        item->widget()->deleteLater();
        delete item;
    }
    for (QString const& path : recentFiles.mid(0, maxFiles)) {
        auto* button = new QPushButton(this);
        button->setText(button->fontMetrics().elidedText(path, Qt::ElideMiddle, panelWidth - 24));
        button->setToolTip(path);
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QPushButton::clicked, this, [this, path] { emit FileRequested(path); });
        files->addWidget(button);
    }
    show();
    raise();
}

QString WelcomePanel::GetMessage() const
{
    return message->text();
}
