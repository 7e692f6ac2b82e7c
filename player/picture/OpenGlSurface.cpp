#include "player/picture/OpenGlSurface.h"

#include "decode/DecodedVideoFrame.h"
#include "player/controls/Theme.h"

#include <QImage>
#include <QMatrix4x4>
#include <QOffscreenSurface>
#include <QOpenGLContext>

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
    varying highp vec2 place;
    void main()
    {
        gl_FragColor = vec4(texture2D(picture, place).rgb, 1.0);
    }
)";

constexpr int cornerAttribute = 0;

// By what OpenGL calls the one who draws.
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

void OpenGlSurface::SetPicture(std::shared_ptr<DecodedVideoFrame const> newPicture)
{
    picture = std::move(newPicture);
    uploaded = false;
    update();
}

void OpenGlSurface::SetTransform(QTransform const& pictureToView)
{
    transform = pictureToView;
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
    glGenTextures(1, &texture);
    textureSize = QSize();
    uploaded = false;
}

void OpenGlSurface::Release()
{
    if (texture == 0)
        return;
    makeCurrent();
    glDeleteTextures(1, &texture);
    texture = 0;
    program.reset();
    doneCurrent();
}

void OpenGlSurface::UploadPicture()
{
    glBindTexture(GL_TEXTURE_2D, texture);
    if (uploaded)
        return;
    uploaded = true;
    if (picture->width <= maxTextureSize && picture->height <= maxTextureSize) {
        UploadBytes(picture->data, QSize(picture->width, picture->height));
        return;
    }
    QImage const smaller = ImageOver(*picture).scaled(maxTextureSize, maxTextureSize, Qt::KeepAspectRatio);
    UploadBytes(smaller.constBits(), smaller.size());
}

void OpenGlSurface::UploadBytes(uint8_t const* bytes, QSize size)
{
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4); // like the rows of a record and of a QImage
    if (size == textureSize) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, size.width(), size.height(), GL_RGB, GL_UNSIGNED_BYTE, bytes);
        return;
    }
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, size.width(), size.height(), 0, GL_RGB, GL_UNSIGNED_BYTE, bytes);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    textureSize = size;
}

// Texture coordinates run from 0 to 1, screen coordinates from -1 to 1 with y upwards.
QMatrix4x4 OpenGlSurface::TextureToScreen() const
{
    QMatrix4x4 screen;
    screen.ortho(0.0f, static_cast<float>(width() * devicePixelRatioF()),
                 static_cast<float>(height() * devicePixelRatioF()), 0.0f, -1.0f, 1.0f);
    QMatrix4x4 size;
    size.scale(static_cast<float>(picture->width), static_cast<float>(picture->height));
    return screen * QMatrix4x4(transform) * size;
}

void OpenGlSurface::paintGL()
{
    glClearColor(static_cast<float>(Theme::backdrop.redF()), static_cast<float>(Theme::backdrop.greenF()),
                 static_cast<float>(Theme::backdrop.blueF()), 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    if (!picture || !program->bind())
        return;
    UploadPicture();
    GLint const filter = HasHardEdges(transform) ? GL_NEAREST : GL_LINEAR;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);

    program->setUniformValue("picture", 0);
    program->setUniformValue("textureToScreen", TextureToScreen());

    static GLfloat const corners[] = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
    program->enableAttributeArray(cornerAttribute);
    program->setAttributeArray(cornerAttribute, corners, 2);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    program->disableAttributeArray(cornerAttribute);
    program->release();
}
