#pragma once

#include "player/picture/PictureSurface.h"

#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QOpenGLWidget>

// Paints the picture with OpenGL 2. The record's bytes become a texture unchanged; the GPU rotates, scales and applies
// the look. A picture larger than the largest texture is scaled down first.
class OpenGlSurface : public QOpenGLWidget, public PictureSurface, private QOpenGLFunctions
{
    Q_OBJECT

public:
    explicit OpenGlSurface(QWidget* parent);
    ~OpenGlSurface() override;

    // Whether OpenGL works here, and on a graphics card unless it may be `inSoftware`. Slow: asks the graphics driver.
    static bool IsAvailable(bool inSoftware);

    QWidget* GetWidget() override { return this; }
    void SetScene(PictureScene const& scene) override;

protected:
    void initializeGL() override;
    void paintGL() override;

private:
    struct Texture
    {
        GLuint name = 0;
        QSize size;
        bool isUploaded = false; // the layer's picture is in it
    };

    void Release();
    void Upload(PictureScene::Layer const& layer, Texture& texture);
    void UploadBytes(uint8_t const* bytes, QSize size, Texture& texture);
    void PaintLayer(PictureScene::Layer const& layer);
    void PaintDivider();
    QSize DeviceSize() const;
    QMatrix4x4 TextureToScreen(PictureScene::Layer const& layer) const;

    PictureScene scene;
    std::array<Texture, 2> textures; // of the layers

    std::unique_ptr<QOpenGLShaderProgram> program; // belongs to the OpenGL context, as the textures do
    GLint maxTextureSize = 0;
};
