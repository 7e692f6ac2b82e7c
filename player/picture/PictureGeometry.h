#pragma once

#include "TavolinWidgetsExport.h"

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QTransform>

// Places a picture in its view: fitted, or zoomed around a point, rotated as its record says. All lengths are device
// pixels: at zoom 1 one picture pixel covers one screen pixel.
class TAVOLINWIDGETS_EXPORT PictureGeometry
{
public:
    static constexpr double minZoom = 1.0 / 64.0; // screen pixels per picture pixel
    static constexpr double maxZoom = 64.0;       // the same

    void SetView(QSize size);                          // device pixels
    void SetPicture(QSize size, int clockwiseDegrees); // as stored, and how it is turned upright

    void Fit();                              // shows the whole picture as large as possible, also after size changes
    bool IsFitted() const { return fitted; } // not zoomed

    // Screen pixels per picture pixel. The picture's point at `anchor` stays there.
    void SetZoom(double zoom, QPointF anchor);
    double GetZoom() const { return fitted ? FittingZoom() : zoom; }

    void Pan(QPointF distance); // no effect on a fitted picture

    // From picture pixels, with (0, 0) at the upper left before rotation, to view pixels.
    QTransform PictureToView() const;

    // The same for another picture, which is stretched over the upright picture's place.
    QTransform PictureToView(QSize other, int clockwiseDegrees) const;

private:
    QSize TurnedSize() const;
    QRectF PlaceInView() const;
    double FittingZoom() const;
    void KeepInView();

    QSize view;
    QSize picture;
    int degrees = 0;
    bool fitted = true;
    double zoom = 1.0;
    QPointF offset; // from the view's centre to the picture's
};
