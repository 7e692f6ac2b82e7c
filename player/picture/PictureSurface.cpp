#include "player/picture/PictureSurface.h"

#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"
#include "player/controls/Theme.h"

#include <QImage>
#include <QPainter>

#include <cmath>

namespace {

constexpr double hardEdgeZoom = 3.0; // screen pixels per pixel of the picture

} // namespace

PictureSurface::~PictureSurface() = default;

QImage PictureSurface::ImageOver(DecodedVideoFrame const& picture)
{
    return QImage(picture.data, picture.width, picture.height, PaddedRowBytes(picture.width), QImage::Format_RGB888);
}

bool PictureSurface::HasHardEdges(QTransform const& pictureToView)
{
    return std::hypot(pictureToView.m11(), pictureToView.m12()) >= hardEdgeZoom;
}

PainterSurface::PainterSurface(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
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
