#include "player/picture/PictureSurface.h"

#include "decode/DecodedVideoFrame.h"

#include <QImage>

#include <cmath>

namespace {

constexpr double hardEdgeZoom = 3.0; // screen pixels per pixel of the picture

} // namespace

PictureSurface::~PictureSurface() = default;

QImage PictureSurface::ImageOver(DecodedVideoFrame const& picture)
{
    int const stride = (3 * picture.width + 3) & ~3;
    return QImage(picture.data, picture.width, picture.height, stride, QImage::Format_RGB888);
}

bool PictureSurface::HasHardEdges(QTransform const& pictureToView)
{
    return std::hypot(pictureToView.m11(), pictureToView.m12()) >= hardEdgeZoom;
}
