#include "player/controls/ElidedLabel.h"

#include <QPainter>

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

void ElidedLabel::Show(QString const& newText)
{
    if (newText == text())
        return;
    setText(newText);
    UpdateToolTip();
}

bool ElidedLabel::IsCut() const
{
    return fontMetrics().horizontalAdvance(text()) > contentsRect().width();
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::UpdateToolTip()
{
    setToolTip(IsCut() ? text() : QString());
}

void ElidedLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    UpdateToolTip();
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(contentsRect(), Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width()));
}
