#pragma once

#include <QPointF>
#include <QSize>
#include <QTransform>

// Where a picture lies in its view: fitted, or at a chosen size around a chosen point, turned as its record says. All
// lengths are device pixels, so that a zoom of 1 shows each pixel of the picture as one of the screen.
class PictureGeometry
{
public:
    static constexpr double minZoom = 1.0 / 64.0;
    static constexpr double maxZoom = 64.0;

    void SetView(QSize size);
    void SetPicture(QSize size, int clockwiseDegrees);

    void Fit(); // whole picture, as large as the view allows, and so when either of them changes its size
    bool IsFitted() const { return fitted; }

    // Screen pixels per pixel of the picture. The point of the picture that lies at `anchor` stays there.
    void SetZoom(double zoom, QPointF anchor);
    double GetZoom() const { return fitted ? FittingZoom() : zoom; }

    void Pan(QPointF distance); // a fitted picture stays where it is

    // From the picture's pixels, with (0, 0) at its upper left before it is turned, to the view's.
    QTransform PictureToView() const;

private:
    QSize TurnedSize() const;
    double FittingZoom() const;
    void KeepInView();

    QSize view;
    QSize picture;
    int degrees = 0;
    bool fitted = true;
    double zoom = 1.0;
    QPointF offset; // of the picture's middle from the view's
};
