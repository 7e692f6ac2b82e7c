#pragma once

#include "player/picture/PictureGeometry.h"

#include <QWidget>

#include <memory>

class PictureSurface;
class QImage;
struct DecodedVideoFrame;

// The part of the window that shows the picture: which record, how large, where. Dragging moves a
// picture that is larger than the view, Ctrl and the wheel change its size at the pointer.
class PictureView : public QWidget
{
    Q_OBJECT

public:
    enum class Painting { OpenGl, Painter };

    // With OpenGL only where this computer has it, else with the painter.
    explicit PictureView(Painting painting, QWidget* parent = nullptr);

    bool PaintsWithOpenGl() const { return openGl; }

    // Shows the record until the next call; null, and a record that is no picture, for an empty view.
    void Show(std::shared_ptr<DecodedVideoFrame const> picture);
    std::shared_ptr<DecodedVideoFrame const> GetShown() const { return shown; }

    PictureGeometry const& GetGeometry() const { return geometry; }
    void ToggleFit();         // between fitted and pixel for pixel
    void Zoom(double factor); // around the middle
    void Fit();

    // The picture as seen, upright, in its own size; null without one. Any thread.
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
    int wheelRest = 0; // eighths of a degree that are no notch yet
};
