#pragma once

#include "player/picture/PictureSurface.h"

#include <QImage>
#include <QWidget>

// Paints the picture with QPainter, for computers without OpenGL.
class PainterSurface : public QWidget, public PictureSurface
{
    Q_OBJECT

public:
    explicit PainterSurface(QWidget* parent);

    QWidget* GetWidget() override;
    void SetPicture(std::shared_ptr<DecodedVideoFrame const> picture) override;
    void SetTransform(QTransform const& pictureToView) override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::shared_ptr<DecodedVideoFrame const> picture; // owns the bytes of `image` unless that is a corrected copy
    QTransform transform;
};
