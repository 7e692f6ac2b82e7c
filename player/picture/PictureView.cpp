#include "player/picture/PictureView.h"

#include "decode/DecodedVideoFrame.h"
#include "player/picture/OpenGlSurface.h"
#include "player/picture/PictureSurface.h"

#include <QImage>
#include <QMouseEvent>
#include <QWheelEvent>

#include <cmath>

namespace {

constexpr double zoomPerNotch = 1.25;
constexpr int notch = 120; // eighths of a degree

bool IsPicture(DecodedVideoFrame const* record)
{
    return record && record->data && record->status == 0 && record->width > 0 && record->height > 0;
}

} // namespace

PictureView::PictureView(Painting painting, QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    openGl = painting != Painting::Painter && OpenGlSurface::IsAvailable(painting == Painting::OpenGl);
    if (openGl)
        surface = new OpenGlSurface(this);
    else
        surface = new PainterSurface(this);
    surface->GetWidget()->setAttribute(Qt::WA_TransparentForMouseEvents);
}

void PictureView::Show(std::shared_ptr<DecodedVideoFrame const> picture)
{
    if (!IsPicture(picture.get()))
        picture = nullptr;
    if (picture == shown)
        return;
    shown = std::move(picture);
    if (shown)
        geometry.SetPicture(QSize(shown->width, shown->height), shown->rotation);
    surface->SetPicture(shown);
    Place();
}

void PictureView::ToggleFit()
{
    if (geometry.IsFitted())
        geometry.SetZoom(1.0, QPointF(width(), height()) * devicePixelRatioF() / 2.0);
    else
        geometry.Fit();
    Place();
}

void PictureView::Zoom(double factor)
{
    geometry.SetZoom(geometry.GetZoom() * factor, QPointF(width(), height()) * devicePixelRatioF() / 2.0);
    Place();
}

void PictureView::Fit()
{
    geometry.Fit();
    Place();
}

QImage PictureView::Render(DecodedVideoFrame const& picture)
{
    if (!IsPicture(&picture))
        return {};
    QImage const image = PictureSurface::ImageOver(picture).copy();
    return picture.rotation == 0 ? image : image.transformed(QTransform().rotate(picture.rotation));
}

void PictureView::Place()
{
    surface->SetTransform(geometry.PictureToView());
}

void PictureView::resizeEvent(QResizeEvent* /*event*/)
{
    surface->GetWidget()->setGeometry(rect());
    geometry.SetView((QSizeF(size()) * devicePixelRatioF()).toSize());
    Place();
}

void PictureView::mousePressEvent(QMouseEvent* event)
{
    dragFrom = event->pos();
}

void PictureView::mouseMoveEvent(QMouseEvent* event)
{
    emit PointerMoved(event->pos());
    if ((event->buttons() & Qt::LeftButton) == 0)
        return;
    geometry.Pan(QPointF(event->pos() - dragFrom) * devicePixelRatioF());
    dragFrom = event->pos();
    Place();
}

void PictureView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        emit DoubleClicked();
}

void PictureView::wheelEvent(QWheelEvent* event)
{
    event->accept();
    if ((event->modifiers() & Qt::ControlModifier) != 0) {
        double const notches = static_cast<double>(event->angleDelta().y()) / notch;
        geometry.SetZoom(geometry.GetZoom() * std::pow(zoomPerNotch, notches), event->position() * devicePixelRatioF());
        Place();
        return;
    }
    wheelRest += event->angleDelta().y();
    if (int const notches = wheelRest / notch; notches != 0) {
        wheelRest -= notches * notch;
        emit WheelTurned(notches);
    }
}
