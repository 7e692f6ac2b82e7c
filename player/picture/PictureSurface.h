#pragma once

#include <QTransform>
#include <QWidget>

#include <memory>

class QImage;
struct DecodedVideoFrame;

// What paints the picture: one widget, one of two ways. Both draw the same thing.
class PictureSurface
{
public:
    virtual ~PictureSurface();

    virtual QWidget* GetWidget() = 0; // the surface itself

    // The picture to paint, kept until the next one; null for none. Its bytes are used as they are.
    virtual void SetPicture(std::shared_ptr<DecodedVideoFrame const> picture) = 0;

    // From the picture's pixels to the widget's device pixels. Magnified so far that single pixels can be told apart,
    // they have hard edges.
    virtual void SetTransform(QTransform const& pictureToView) = 0;

    // The bytes of a record that is a picture, not copied: the record must outlive it.
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
