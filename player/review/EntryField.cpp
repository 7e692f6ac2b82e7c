#include "player/review/EntryField.h"

#include "player/controls/Theme.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>

namespace {

constexpr int fieldWidth = 150;

} // namespace

EntryField::EntryField(QWidget* parent)
    : QWidget(parent), caption(new QLabel(this)), edit(new QLineEdit(this)), fault(new QLabel(this))
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(caption);
    row->addWidget(edit);
    row->addWidget(fault);
    edit->setFixedWidth(fieldWidth);
    edit->installEventFilter(this);
    fault->setTextFormat(Qt::PlainText);
    QPalette palette = fault->palette();
    palette.setColor(QPalette::WindowText, Theme::warning);
    fault->setPalette(palette);
    connect(edit, &QLineEdit::textEdited, fault, &QLabel::clear);
    hide();
}

void EntryField::Ask(QString const& newCaption, QString const& line, Taker const& newTaker)
{
    caption->setText(newCaption);
    fault->clear();
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
    window()->setFocus();
    emit Closed();
}

void EntryField::Take()
{
    QString const answer = taker(edit->text());
    if (answer.isEmpty())
        Close();
    else
        fault->setText(answer);
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
