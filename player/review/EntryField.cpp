#include "player/review/EntryField.h"

#include "player/controls/Theme.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>

#include <algorithm>

namespace {

constexpr int fieldWidth = 150;
constexpr int leastFieldWidth = 80;
constexpr int faultMargin = 6;

} // namespace

EntryField::EntryField(QWidget* parent)
    : QWidget(parent), caption(new QLabel(this)), edit(new QLineEdit(this)), fault(new QLabel(parent->window()))
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(caption);
    row->addWidget(edit);
    edit->setMinimumWidth(leastFieldWidth);
    edit->setMaximumWidth(fieldWidth);
    edit->installEventFilter(this);
    fault->setTextFormat(Qt::PlainText);
    fault->setMargin(faultMargin);
    fault->setAutoFillBackground(true);
    QPalette palette = fault->palette();
    palette.setColor(QPalette::WindowText, Theme::warning);
    palette.setColor(QPalette::Window, Theme::raised);
    fault->setPalette(palette);
    fault->hide();
    connect(edit, &QLineEdit::textEdited, fault, &QLabel::hide);
    hide();
}

void EntryField::Ask(QString const& newCaption, QString const& line, Taker const& newTaker)
{
    caption->setText(newCaption);
    fault->hide();
    edit->setText(line);
    edit->selectAll();
    taker = newTaker;
    show();
    emit Opened();
    edit->setFocus();
}

void EntryField::Close()
{
    if (!IsOpen())
        return;
    hide();
    fault->hide();
    window()->setFocus();
}

// Above the field, where there is room for a sentence, on several lines in a narrow window.
void EntryField::ShowFault(QString const& sentence)
{
    int const room = window()->width();
    fault->setText(sentence);
    fault->setWordWrap(false);
    QSize const line = fault->sizeHint();
    fault->setWordWrap(line.width() > room);
    fault->resize(line.width() > room ? QSize(room, fault->heightForWidth(room)) : line);
    QPoint const above = mapTo(window(), QPoint(0, -fault->height()));
    fault->move(std::clamp(above.x(), 0, room - fault->width()), std::max(0, above.y()));
    fault->show();
    fault->raise();
}

QString EntryField::GetFault() const
{
    return fault->isVisible() ? fault->text() : QString();
}

void EntryField::Take()
{
    QString const answer = taker(edit->text());
    if (answer.isEmpty())
        Close();
    else
        ShowFault(answer);
}

bool EntryField::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    int const key = static_cast<QKeyEvent*>(event)->key();
    if (key == Qt::Key_Escape)
        Close();
    else if (key == Qt::Key_Return || key == Qt::Key_Enter)
        Take();
    else
        return QWidget::eventFilter(watched, event);
    return true;
}

// What the line does not use must not reach the window, where it would play or move.
void EntryField::keyPressEvent(QKeyEvent* event)
{
    event->accept();
}
