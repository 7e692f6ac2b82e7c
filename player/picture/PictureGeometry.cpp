#include "player/picture/PictureGeometry.h"

#include <algorithm>
#include <cmath>

namespace {

QSize Turned(QSize size, int clockwiseDegrees)
{
    QTransform turn;
    turn.rotate(clockwiseDegrees);
    return turn.mapRect(QRectF(QPointF(), QSizeF(size))).size().toSize();
}

} // namespace

void PictureGeometry::SetView(QSize size)
{
    view = size;
    KeepInView();
}

void PictureGeometry::SetPicture(QSize size, int clockwiseDegrees)
{
    picture = size;
    degrees = clockwiseDegrees;
    KeepInView();
}

void PictureGeometry::Fit()
{
    fitted = true;
    offset = QPointF();
}

void PictureGeometry::SetZoom(double newZoom, QPointF anchor)
{
    double const before = GetZoom();
    zoom = std::clamp(newZoom, minZoom, maxZoom);
    fitted = false;
    QPointF const fromMiddle = anchor - QPointF(view.width() / 2.0, view.height() / 2.0);
    offset = fromMiddle - (fromMiddle - offset) * (zoom / before);
    KeepInView();
}

void PictureGeometry::Pan(QPointF distance)
{
    if (fitted)
        return;
    offset += distance;
    KeepInView();
}

QTransform PictureGeometry::PictureToView() const
{
    return PictureToView(picture, degrees);
}

QTransform PictureGeometry::PictureToView(QSize other, int clockwiseDegrees) const
{
    QRectF const place = PlaceInView();
    QSizeF const turned = QSizeF(Turned(other, clockwiseDegrees));
    QTransform transform;
    transform.translate(place.x() + place.width() / 2.0, place.y() + place.height() / 2.0);
    if (!turned.isEmpty())
        transform.scale(place.width() / turned.width(), place.height() / turned.height());
    transform.rotate(clockwiseDegrees);
    transform.translate(-other.width() / 2.0, -other.height() / 2.0);
    return transform;
}

// Of the upright picture.
QRectF PictureGeometry::PlaceInView() const
{
    QSizeF const turned = QSizeF(TurnedSize()) * GetZoom();
    // Whole pixels for the upper left corner make zoom 1 exact.
    QPointF const corner(std::floor(view.width() / 2.0 + offset.x() - turned.width() / 2.0),
                         std::floor(view.height() / 2.0 + offset.y() - turned.height() / 2.0));
    return {corner, turned};
}

QSize PictureGeometry::TurnedSize() const
{
    return Turned(picture, degrees);
}

double PictureGeometry::FittingZoom() const
{
    QSize const turned = TurnedSize();
    if (turned.isEmpty() || view.isEmpty())
        return 1.0;
    return std::min(static_cast<double>(view.width()) / turned.width(),
                    static_cast<double>(view.height()) / turned.height());
}

// Keeps the view filled by a larger picture, and a smaller one centred.
void PictureGeometry::KeepInView()
{
    if (fitted)
        return;
    QSizeF const turned = QSizeF(TurnedSize()) * zoom;
    double const roomX = std::max(0.0, (turned.width() - view.width()) / 2.0);
    double const roomY = std::max(0.0, (turned.height() - view.height()) / 2.0);
    offset.setX(std::clamp(offset.x(), -roomX, roomX));
    offset.setY(std::clamp(offset.y(), -roomY, roomY));
}
