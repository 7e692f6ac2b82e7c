#pragma once

#include <QTransform>
#include <QWidget>

#include <memory>

class QImage;
struct DecodedVideoFrame;

// The widget that paints the picture. Both implementations draw the same.
class PictureSurface
{
public:
    virtual ~PictureSurface();

    virtual QWidget* GetWidget() = 0; // the surface itself

    // The picture to paint, kept until the next call; null for none. Its bytes are not copied.
    virtual void SetPicture(std::shared_ptr<DecodedVideoFrame const> picture) = 0;

    // From picture pixels to the widget's device pixels. At high magnification pixels have hard edges.
    virtual void SetTransform(QTransform const& pictureToView) = 0;

    // An image of the record's bytes, not copied: the record must outlive it. Not for marks.
    static QImage ImageOver(DecodedVideoFrame const& picture);

    static bool HasHardEdges(QTransform const& pictureToView);
};

// Paints the picture with QPainter, for computers without OpenGL.
class PainterSurface : public QWidget, public PictureSurface
{
    Q_OBJECT

public:
    explicit PainterSurface(QWidget* parent);

    QWidget* GetWidget() override { return this; }
    void SetPicture(std::shared_ptr<DecodedVideoFrame const> picture) override;
    void SetTransform(QTransform const& pictureToView) override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::shared_ptr<DecodedVideoFrame const> picture;
    QTransform transform;
};
