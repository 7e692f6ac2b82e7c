#include "player/picture/PictureSurface.h"

#include "decode/DecodedVideoFrame.h"
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
    return PictureLook().ImageOf(picture, /*lowerFieldFirst=*/false);
}

bool PictureSurface::HasHardEdges(QTransform const& pictureToView)
{
    return std::hypot(pictureToView.m11(), pictureToView.m12()) >= hardEdgeZoom;
}

PainterSurface::PainterSurface(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void PainterSurface::SetScene(PictureScene const& newScene)
{
    for (std::size_t i = 0; i < images.size(); ++i) {
        PictureScene::Layer const& layer = newScene.layers[i];
        bool const isSame = layer.picture == scene.layers[i].picture && newScene.look.fields == scene.look.fields &&
                            layer.lowerFieldFirst == scene.layers[i].lowerFieldFirst;
        if (!layer.picture)
            images[i] = QImage();
        else if (!isSame)
            images[i] = newScene.look.ImageOf(*layer.picture, layer.lowerFieldFirst);
    }
    scene = newScene;
    update();
}

void PainterSurface::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), Theme::backdrop);
    painter.scale(1.0 / devicePixelRatioF(), 1.0 / devicePixelRatioF());
    if (!scene.look.ChangesColours()) {
        PaintLayers(painter);
    } else {
        QImage painted((QSizeF(size()) * devicePixelRatioF()).toSize(), QImage::Format_ARGB32_Premultiplied);
        painted.fill(Qt::transparent); // where there is no picture
        QPainter inner(&painted);
        PaintLayers(inner);
        inner.end();
        scene.look.Apply(painted);
        painter.drawImage(0, 0, painted);
    }
    if (scene.divider)
        painter.fillRect(*scene.divider - dividerWidth / 2, 0, dividerWidth,
                         static_cast<int>(std::ceil(height() * devicePixelRatioF())), Theme::text);
}

void PainterSurface::PaintLayers(QPainter& painter) const
{
    for (std::size_t i = 0; i < images.size(); ++i) {
        if (images[i].isNull())
            continue;
        painter.save();
        if (i == 1 && scene.divider)
            painter.setClipRect(
                QRectF(*scene.divider, 0, width() * devicePixelRatioF(), height() * devicePixelRatioF()));
        QTransform const& transform = scene.layers[i].toView;
        painter.setRenderHint(QPainter::SmoothPixmapTransform, !HasHardEdges(transform));
        painter.setTransform(transform, /*combine=*/true);
        painter.drawImage(QPointF(0.0, 0.0), images[i]);
        painter.restore();
    }
}
