#pragma once

#include "player/picture/PictureLook.h"

#include <QTransform>
#include <QWidget>

#include <array>
#include <memory>
#include <optional>

class QImage;
struct DecodedVideoFrame;

// What a surface paints: one picture, or two of which the second one lies above the first.
struct PictureScene
{
    struct Layer
    {
        std::shared_ptr<DecodedVideoFrame const> picture; // null: nothing; its bytes are not copied
        QTransform toView;                                // from picture pixels to the widget's device pixels
        bool lowerFieldFirst = false;                     // of two fields
    };

    std::array<Layer, 2> layers;
    std::optional<int> divider; // device pixels from the left; the second picture is painted right of it only
    PictureLook look;           // of both
};

// The widget that paints the picture. Both implementations draw the same. At high magnification pixels have hard edges.
class PictureSurface
{
public:
    virtual ~PictureSurface();

    virtual QWidget* GetWidget() = 0; // the surface itself

    virtual void SetScene(PictureScene const& scene) = 0; // painted until the next call

    // An image of the record's bytes, not copied: the record must outlive it. Not for marks.
    static QImage ImageOver(DecodedVideoFrame const& picture);

    static bool HasHardEdges(QTransform const& pictureToView);

    static constexpr int dividerWidth = 2; // device pixels
};

// Paints the picture with QPainter, for computers without OpenGL.
class PainterSurface : public QWidget, public PictureSurface
{
    Q_OBJECT

public:
    explicit PainterSurface(QWidget* parent);

    QWidget* GetWidget() override { return this; }
    void SetScene(PictureScene const& scene) override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void PaintLayers(QPainter& painter) const;

    PictureScene scene;
    std::array<QImage, 2> images; // of the layers, whose bytes they mostly are
};
