#include "player/review/ReviewPanel.h"

#include "player/controls/Theme.h"

#include <QLabel>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int reviewWidth = 380;
constexpr int noteColumn = 3;
constexpr int timeRole = Qt::UserRole;

QString Joined(QStringList const& names)
{
    QStringList known = names;
    known.removeAll(QString());
    return known.join("  ");
}

QString NamesAt(long long time, PictureNames const& names)
{
    QStringList texts;
    for (Reading const reading : readings)
        texts << names.At(time, reading);
    return Joined(texts);
}

QString Lengths(long long from, long long to, PictureNames const& names)
{
    QStringList texts;
    for (Reading const reading : readings)
        texts << names.LengthText(from, to, reading);
    return Joined(texts);
}

} // namespace

ReviewPanel::ReviewPanel(QWidget* parent) : QWidget(parent), list(new QTreeWidget(this)), range(new QLabel(this))
{
    setFixedWidth(reviewWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(8, 8, 8, 0);
    column->addWidget(list, 1);
    column->addWidget(range);
    list->setHeaderLabels({"Time", "Timecode", "Number", "Note"});
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setFocusPolicy(Qt::NoFocus);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    range->setTextFormat(Qt::PlainText);
    range->setTextInteractionFlags(Qt::NoTextInteraction);
    connect(list, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* item) { emit Chosen(item->data(0, timeRole).toLongLong()); });
    connect(list, &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) { list->editItem(item, noteColumn); });
    connect(list, &QTreeWidget::itemChanged, this, &ReviewPanel::Take);
    connect(list->itemDelegate(), &QAbstractItemDelegate::closeEditor, this, [this] { window()->setFocus(); });
}

void ReviewPanel::Take(QTreeWidgetItem* item, int column)
{
    if (column == noteColumn)
        emit NoteChanged(item->data(0, timeRole).toLongLong(), item->text(noteColumn));
}

void ReviewPanel::ShowMarkers(Markers const& markers, PictureNames const& names)
{
    QSignalBlocker const blocker(list);
    list->clear();
    QList<QTreeWidgetItem*> items;
    for (Marker const& marker : markers.GetAll()) {
        auto* item = new QTreeWidgetItem;
        item->setData(0, timeRole, marker.time);
        for (int i = 0; i < noteColumn; ++i)
            item->setText(i, names.At(marker.time, readings[i]));
        item->setText(noteColumn, marker.note);
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        items << item;
    }
    list->addTopLevelItems(items);
    for (int i = 0; i < noteColumn; ++i)
        list->resizeColumnToContents(i);
}

void ReviewPanel::ShowRange(std::optional<long long> in, std::optional<long long> out, PictureNames const& names)
{
    QStringList lines;
    if (in)
        lines << "In  " + NamesAt(*in, names);
    if (out)
        lines << "Out  " + NamesAt(*out - 1, names);
    if (in || out)
        lines << "Length  " + Lengths(in.value_or(names.GetStart()), out.value_or(names.GetEnd()), names);
    else
        lines << "All  " + Lengths(names.GetStart(), names.GetEnd(), names);
    range->setText(lines.join('\n'));
}

QStringList ReviewPanel::GetLines() const
{
    QStringList lines;
    for (int i = 0; i < list->topLevelItemCount(); ++i) {
        QStringList texts;
        for (int column = 0; column <= noteColumn; ++column)
            texts << list->topLevelItem(i)->text(column);
        texts.removeAll(QString());
        lines << texts.join(' ');
    }
    return lines;
}

QStringList ReviewPanel::GetRangeLines() const
{
    return range->text().split('\n');
}
