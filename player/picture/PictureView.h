#pragma once

#include "player/picture/PictureGeometry.h"

#include <QWidget>

#include <memory>

class PictureSurface;
class QImage;
struct DecodedVideoFrame;

// The part of the window that shows the picture. Dragging moves a picture larger than the view; Ctrl and the wheel zoom
// at the pointer.
class PictureView : public QWidget
{
    Q_OBJECT

public:
    // Automatic: with OpenGL where a graphics card does its work, because its imitation in software is slower than
    // Qt's painter.
    enum class Painting { Automatic, OpenGl, Painter };

    // Falls back to Painter if OpenGL does not work here.
    explicit PictureView(Painting painting, QWidget* parent = nullptr);

    bool PaintsWithOpenGl() const { return openGl; }

    // Shows the record until the next call; null, or a mark, empties the view.
    void Show(std::shared_ptr<DecodedVideoFrame const> picture);
    std::shared_ptr<DecodedVideoFrame const> GetShown() const { return shown; }

    PictureGeometry const& GetGeometry() const { return geometry; }
    void ToggleFit();         // between fitted and pixel for pixel
    void Zoom(double factor); // around the middle
    void Fit();

    // The upright picture in its own size; a null image for a mark. Any thread.
    static QImage Render(DecodedVideoFrame const& picture);

signals:
    void DoubleClicked();
    void WheelTurned(int notches); // without Ctrl, up is positive
    void PointerMoved(QPoint position);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void Place();

    bool openGl = false;
    PictureSurface* surface = nullptr; // a child widget
    std::shared_ptr<DecodedVideoFrame const> shown;
    PictureGeometry geometry;
    QPoint dragFrom;
    int wheelRest = 0; // eighths of a degree short of a notch
};
