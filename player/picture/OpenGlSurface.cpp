#include "player/picture/OpenGlSurface.h"

#include "decode/DecodedVideoFrame.h"
#include "player/controls/Theme.h"

#include <QImage>
#include <QMatrix4x4>
#include <QOffscreenSurface>
#include <QOpenGLContext>

#include <algorithm>

namespace {

char const* const vertexShader = R"(
    attribute highp vec2 corner;
    uniform highp mat4 textureToScreen;
    varying highp vec2 place;
    void main()
    {
        place = corner;
        gl_Position = textureToScreen * vec4(corner, 0.0, 1.0);
    }
)";

char const* const fragmentShader = R"(
    uniform sampler2D picture;
    uniform highp mat3 look;
    varying highp vec2 place;
    void main()
    {
        gl_FragColor = vec4(look * texture2D(picture, place).rgb, 1.0);
    }
)";

constexpr int cornerAttribute = 0;

// By the name of OpenGL's renderer.
bool IsSoftware(QByteArray const& renderer)
{
    for (char const* name : {"llvmpipe", "softpipe", "swrast", "software rasterizer", "swiftshader", "gdi generic",
                             "microsoft basic render"}) {
        if (renderer.toLower().contains(name))
            return true;
    }
    return false;
}

} // namespace

OpenGlSurface::OpenGlSurface(QWidget* parent) : QOpenGLWidget(parent) {}

// The base class destroys the context, whose signal must not reach a half-destroyed object.
OpenGlSurface::~OpenGlSurface()
{
    if (context())
        disconnect(context(), nullptr, this, nullptr);
    Release();
}

bool OpenGlSurface::IsAvailable(bool inSoftware)
{
    QOpenGLContext context;
    if (!context.create() || context.format().majorVersion() < 2)
        return false;
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return false;
    if (!inSoftware && IsSoftware(reinterpret_cast<char const*>(context.functions()->glGetString(GL_RENDERER))))
        return false;
    QOpenGLShaderProgram program;
    bool const compiles = program.addShaderFromSourceCode(QOpenGLShader::Vertex, vertexShader) &&
                          program.addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentShader) && program.link();
    context.doneCurrent();
    return compiles;
}

void OpenGlSurface::SetScene(PictureScene const& newScene)
{
    for (std::size_t i = 0; i < textures.size(); ++i) {
        PictureScene::Layer const& before = scene.layers[i];
        PictureScene::Layer const& now = newScene.layers[i];
        bool const isSame = now.picture == before.picture && now.lowerFieldFirst == before.lowerFieldFirst &&
                            newScene.look.fields == scene.look.fields;
        textures[i].isUploaded = textures[i].isUploaded && isSame;
    }
    scene = newScene;
    update();
}

void OpenGlSurface::initializeGL()
{
    initializeOpenGLFunctions();
    // Moving to another screen can replace the context; release what belongs to the old one.
    connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, &OpenGlSurface::Release, Qt::UniqueConnection);
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxTextureSize);
    program = std::make_unique<QOpenGLShaderProgram>();
    program->addShaderFromSourceCode(QOpenGLShader::Vertex, vertexShader);
    program->addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentShader);
    program->bindAttributeLocation("corner", cornerAttribute);
    program->link();
    for (Texture& texture : textures) {
        texture = Texture();
        glGenTextures(1, &texture.name);
    }
}

void OpenGlSurface::Release()
{
    if (!program)
        return;
    makeCurrent();
    for (Texture& texture : textures) {
        glDeleteTextures(1, &texture.name);
        texture = Texture();
    }
    program.reset();
    doneCurrent();
}

void OpenGlSurface::Upload(PictureScene::Layer const& layer, Texture& texture)
{
    glBindTexture(GL_TEXTURE_2D, texture.name);
    if (texture.isUploaded)
        return;
    texture.isUploaded = true;
    QImage const image = scene.look.ImageOf(*layer.picture, layer.lowerFieldFirst);
    if (image.width() <= maxTextureSize && image.height() <= maxTextureSize) {
        UploadBytes(image.constBits(), image.size(), texture);
        return;
    }
    QImage const smaller = image.scaled(maxTextureSize, maxTextureSize, Qt::KeepAspectRatio);
    UploadBytes(smaller.constBits(), smaller.size(), texture);
}

void OpenGlSurface::UploadBytes(uint8_t const* bytes, QSize size, Texture& texture)
{
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4); // like the rows of a record and of a QImage
    if (size == texture.size) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, size.width(), size.height(), GL_RGB, GL_UNSIGNED_BYTE, bytes);
        return;
    }
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, size.width(), size.height(), 0, GL_RGB, GL_UNSIGNED_BYTE, bytes);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    texture.size = size;
}

QSize OpenGlSurface::DeviceSize() const
{
    return (QSizeF(size()) * devicePixelRatioF()).toSize();
}

// Texture coordinates run from 0 to 1, screen coordinates from -1 to 1 with y upwards.
QMatrix4x4 OpenGlSurface::TextureToScreen(PictureScene::Layer const& layer) const
{
    QMatrix4x4 screen;
    screen.ortho(0.0f, static_cast<float>(width() * devicePixelRatioF()),
                 static_cast<float>(height() * devicePixelRatioF()), 0.0f, -1.0f, 1.0f);
    QMatrix4x4 size;
    size.scale(static_cast<float>(layer.picture->width), static_cast<float>(layer.picture->height));
    return screen * QMatrix4x4(layer.toView) * size;
}

void OpenGlSurface::paintGL()
{
    glClearColor(static_cast<float>(Theme::backdrop.redF()), static_cast<float>(Theme::backdrop.greenF()),
                 static_cast<float>(Theme::backdrop.blueF()), 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    if (!program->bind())
        return;
    std::array<float, 9> const matrix = scene.look.GetMatrix();
    program->setUniformValue("picture", 0);
    program->setUniformValue("look", QMatrix3x3(matrix.data()));
    for (std::size_t i = 0; i < textures.size(); ++i) {
        if (!scene.layers[i].picture)
            continue;
        Upload(scene.layers[i], textures[i]);
        if (i == 1 && scene.divider) {
            glEnable(GL_SCISSOR_TEST);
            glScissor(*scene.divider, 0, std::max(0, DeviceSize().width() - *scene.divider), DeviceSize().height());
        }
        PaintLayer(scene.layers[i]);
    }
    program->release();
    if (scene.divider)
        PaintDivider();
    glDisable(GL_SCISSOR_TEST);
}

// Of the bound texture.
void OpenGlSurface::PaintLayer(PictureScene::Layer const& layer)
{
    GLint const filter = HasHardEdges(layer.toView) ? GL_NEAREST : GL_LINEAR;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    program->setUniformValue("textureToScreen", TextureToScreen(layer));

    static GLfloat const corners[] = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
    program->enableAttributeArray(cornerAttribute);
    program->setAttributeArray(cornerAttribute, corners, 2);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    program->disableAttributeArray(cornerAttribute);
}

void OpenGlSurface::PaintDivider()
{
    glEnable(GL_SCISSOR_TEST);
    glScissor(*scene.divider - dividerWidth / 2, 0, dividerWidth, DeviceSize().height());
    glClearColor(static_cast<float>(Theme::text.redF()), static_cast<float>(Theme::text.greenF()),
                 static_cast<float>(Theme::text.blueF()), 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
}
