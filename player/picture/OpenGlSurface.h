#pragma once

#include "player/picture/PictureSurface.h"

#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QOpenGLWidget>

// Paints the picture with OpenGL 2. The record's bytes become a texture unchanged; the GPU rotates and scales. A
// picture larger than the largest texture is scaled down first.
class OpenGlSurface : public QOpenGLWidget, public PictureSurface, private QOpenGLFunctions
{
    Q_OBJECT

public:
    explicit OpenGlSurface(QWidget* parent);
    ~OpenGlSurface() override;

    // Whether OpenGL works here, and on a graphics card unless it may be `inSoftware`. Slow: asks the graphics driver.
    static bool IsAvailable(bool inSoftware);

    QWidget* GetWidget() override { return this; }
    void SetPicture(std::shared_ptr<DecodedVideoFrame const> picture) override;
    void SetTransform(QTransform const& pictureToView) override;

protected:
    void initializeGL() override;
    void paintGL() override;

private:
    void Release();
    void UploadPicture();
    void UploadBytes(uint8_t const* bytes, QSize size);
    QMatrix4x4 TextureToScreen() const;

    std::shared_ptr<DecodedVideoFrame const> picture;
    bool uploaded = false; // `picture` is in the texture
    QTransform transform;

    std::unique_ptr<QOpenGLShaderProgram> program; // these belong to the OpenGL context
    GLuint texture = 0;
    QSize textureSize;
    GLint maxTextureSize = 0;
};
