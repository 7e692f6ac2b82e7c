#include "player/picture/PainterSurface.h"

#include "decode/DecodedVideoFrame.h"
#include "player/controls/Theme.h"

#include <QPainter>

PainterSurface::PainterSurface(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QWidget* PainterSurface::GetWidget()
{
    return this;
}

void PainterSurface::SetPicture(std::shared_ptr<DecodedVideoFrame const> newPicture)
{
    picture = std::move(newPicture);
    update();
}

void PainterSurface::SetTransform(QTransform const& pictureToView)
{
    transform = pictureToView;
    update();
}

void PainterSurface::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), Theme::backdrop);
    if (!picture)
        return;
    painter.scale(1.0 / devicePixelRatioF(), 1.0 / devicePixelRatioF());
    painter.setRenderHint(QPainter::SmoothPixmapTransform, !HasHardEdges(transform));
    painter.setTransform(transform, /*combine=*/true);
    painter.drawImage(QPointF(0.0, 0.0), ImageOver(*picture));
}
