#include "player/picture/PictureView.h"

#include "decode/DecodedVideoFrame.h"
#include "player/picture/GraphicsCard.h"
#include "player/picture/OpenGlSurface.h"
#include "player/picture/PictureSurface.h"

#include <QImage>
#include <QMouseEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace {

constexpr double pictureZoomPerNotch = 1.25;
constexpr int wheelNotch = 120; // eighths of a degree

bool IsPicture(DecodedVideoFrame const* record)
{
    return record && record->data && record->status == 0 && record->width > 0 && record->height > 0;
}

QSize SizeOf(DecodedVideoFrame const& picture)
{
    return {picture.width, picture.height};
}

// The pixel of the record that `place`, in its own pixels, lies in; none beside it.
std::optional<PictureView::Pixel> PixelOf(DecodedVideoFrame const& picture, QPointF place)
{
    QPoint const pixel(static_cast<int>(std::floor(place.x())), static_cast<int>(std::floor(place.y())));
    QRect const area(QPoint(0, 0), SizeOf(picture));
    if (!area.contains(pixel))
        return std::nullopt;
    QTransform turn;
    turn.rotate(picture.rotation);
    QPointF const upright = turn.map(QPointF(pixel) + QPointF(0.5, 0.5)) - turn.mapRect(QRectF(area)).topLeft();
    return PictureView::Pixel{QPoint(static_cast<int>(upright.x()), static_cast<int>(upright.y())),
                              PictureSurface::ImageOver(picture).pixelColor(pixel)};
}

} // namespace

PictureView::PictureView(Painting painting, QWidget* parent) : QWidget(parent)
{
    setMouseTracking(true);
    bool const isWanted = painting == Painting::OpenGl || (painting == Painting::Automatic && HasGraphicsCard());
    openGl = isWanted && OpenGlSurface::IsAvailable(painting == Painting::OpenGl);
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
        geometry.SetPicture(SizeOf(*shown), shown->rotation);
    Place();
}

void PictureView::ShowSecond(std::shared_ptr<DecodedVideoFrame const> picture)
{
    if (!IsPicture(picture.get()))
        picture = nullptr;
    if (picture == second)
        return;
    second = std::move(picture);
    Place();
}

void PictureView::SetSides(Sides newSides)
{
    if (newSides == sides)
        return;
    sides = newSides;
    Place();
}

void PictureView::SetLook(PictureLook const& newLook)
{
    if (newLook == look)
        return;
    look = newLook;
    Place();
}

void PictureView::SetLowerFieldFirst(bool first, bool firstOfSecond)
{
    if (first == lowerFieldFirst && firstOfSecond == lowerFieldFirstOfSecond)
        return;
    lowerFieldFirst = first;
    lowerFieldFirstOfSecond = firstOfSecond;
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
    PictureScene scene;
    scene.look = look;
    if (IsWiped() || !ShowsSecondAt(0.0))
        scene.layers[0] = {shown, geometry.PictureToView(), lowerFieldFirst};
    if (IsWiped())
        scene.divider = static_cast<int>(std::lround(divider * width() * devicePixelRatioF()));
    if (second && sides != Sides::First)
        scene.layers[1] = {second, SecondToView(), lowerFieldFirstOfSecond};
    surface->SetScene(scene);
}

bool PictureView::IsWiped() const
{
    return second && sides == Sides::Both;
}

bool PictureView::ShowsSecondAt(double x) const
{
    if (IsWiped())
        return x >= divider * width() * devicePixelRatioF();
    return second && sides == Sides::Second;
}

QTransform PictureView::SecondToView() const
{
    return geometry.PictureToView(SizeOf(*second), second->rotation);
}

std::optional<PictureView::Pixel> PictureView::PixelAt(QPoint position) const
{
    QPointF const place = (QPointF(position) + QPointF(0.5, 0.5)) * devicePixelRatioF();
    bool const isSecond = ShowsSecondAt(place.x());
    auto const& picture = isSecond ? second : shown;
    if (!picture)
        return std::nullopt;
    QTransform const toView = isSecond ? SecondToView() : geometry.PictureToView();
    auto pixel = PixelOf(*picture, toView.inverted().map(place));
    if (pixel)
        pixel->isSecond = isSecond;
    return pixel;
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
    if (IsWiped()) {
        divider = std::clamp(static_cast<double>(event->pos().x()) / std::max(1, width()), 0.0, 1.0);
        Place();
        return;
    }
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
        double const notches = static_cast<double>(event->angleDelta().y()) / wheelNotch;
        geometry.SetZoom(geometry.GetZoom() * std::pow(pictureZoomPerNotch, notches),
                         event->position() * devicePixelRatioF());
        Place();
        return;
    }
    wheelRest += event->angleDelta().y();
    if (int const notches = wheelRest / wheelNotch; notches != 0) {
        wheelRest -= notches * wheelNotch;
        emit WheelTurned(notches);
    }
}

void PictureView::leaveEvent(QEvent* /*event*/)
{
    emit PointerLeft();
}
