#include "player/PainterSurface.h"

#include "decode/DecodedVideoFrame.h"
#include "player/Theme.h"

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
    image = QImage();
    picture = std::move(newPicture);
    update();
}

void PainterSurface::SetTransform(QTransform const& pictureToView)
{
    transform = pictureToView;
    update();
}

void PainterSurface::SetCorrection(ColourCorrection const& newCorrection)
{
    correction = newCorrection;
    image = QImage();
    update();
}

QImage const& PainterSurface::Image()
{
    if (!image.isNull())
        return image;
    image = ImageOver(*picture);
    if (correction.IsIdentity())
        return image;
    QImage corrected(picture->width, picture->height, QImage::Format_RGB888);
    for (int row = 0; row < picture->height; ++row)
        correction.Apply(image.constScanLine(row), corrected.scanLine(row), picture->width);
    image = corrected;
    return image;
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
    painter.drawImage(QPointF(0.0, 0.0), Image());
}
