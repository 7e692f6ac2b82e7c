#pragma once

#include "TavolinWidgetsExport.h"
#include "player/picture/PictureGeometry.h"
#include "player/picture/PictureLook.h"

#include <QColor>
#include <QWidget>

#include <memory>
#include <optional>

class PictureSurface;
class QImage;
struct DecodedVideoFrame;

// The part of the window that shows the picture, or two pictures of the same size on the screen: one of them at a time,
// or the first one left of a divider and the second one right of it. Dragging moves the divider, or a picture larger
// than the view; Ctrl and the wheel zoom at the pointer.
class TAVOLINWIDGETS_EXPORT PictureView : public QWidget
{
    Q_OBJECT

public:
    // Automatic: with OpenGL where a graphics card does its work, because its imitation in software is slower than
    // Qt's painter.
    enum class Painting { Automatic, OpenGl, Painter };
    // Which of two pictures is shown; Both: with a divider between them.
    enum class Sides { First, Second, Both };

    // A pixel of a picture shown, as its record has it: before any change for display.
    struct Pixel
    {
        QPoint place;          // in the upright picture, from 0
        QColor colour;         // 8 bits a channel
        bool isSecond = false; // of the second picture
    };

    // Falls back to Painter if OpenGL does not work here.
    explicit PictureView(Painting painting, QWidget* parent = nullptr);

    bool PaintsWithOpenGl() const { return openGl; } // otherwise with QPainter

    // Shows the record until the next call; null, or a mark, empties the view.
    void Show(std::shared_ptr<DecodedVideoFrame const> picture);
    std::shared_ptr<DecodedVideoFrame const> GetShown() const { return shown; }

    // The second picture; null, or a mark, for none.
    void ShowSecond(std::shared_ptr<DecodedVideoFrame const> picture);
    std::shared_ptr<DecodedVideoFrame const> GetSecond() const { return second; }

    void SetSides(Sides sides);                   // as long as there is a second picture
    Sides GetSides() const { return sides; }      // First by default
    double GetDivider() const { return divider; } // 0 at the left edge of the view to 1 at the right one

    void SetLook(PictureLook const& look);                   // of both pictures; changes the display only
    void SetLowerFieldFirst(bool first, bool firstOfSecond); // of the pictures that have fields

    PictureGeometry const& GetGeometry() const { return geometry; } // where the first picture is placed
    void ToggleFit();                                               // between fitted and pixel for pixel
    void Zoom(double factor);                                       // around the middle
    void Fit();                                                     // shows the whole picture

    std::optional<Pixel> PixelAt(QPoint position) const; // of the view

    // The upright picture in its own size; a null image for a mark. Any thread.
    static QImage Render(DecodedVideoFrame const& picture);

signals:
    void DoubleClicked();               // with the left button
    void WheelTurned(int notches);      // without Ctrl, up is positive
    void PointerMoved(QPoint position); // in the view
    void PointerLeft();                 // it is no longer over the view

private:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void leaveEvent(QEvent* event) override;

    void Place();
    bool IsWiped() const;
    bool ShowsSecondAt(double x) const; // device pixels
    QTransform SecondToView() const;

    bool openGl = false;
    PictureSurface* surface = nullptr; // a child widget
    std::shared_ptr<DecodedVideoFrame const> shown;
    std::shared_ptr<DecodedVideoFrame const> second;
    Sides sides = Sides::First;
    double divider = 0.5;
    PictureLook look;
    bool lowerFieldFirst = false;
    bool lowerFieldFirstOfSecond = false;
    PictureGeometry geometry;
    QPoint dragFrom;
    int wheelRest = 0; // eighths of a degree short of a notch
};
