// Compares the two ways in which the view shows pictures, Qt's painter and OpenGL: pictures of 3840x2160 a second, each
// of them another one, in windows of two sizes. Without a graphics card OpenGL is imitated in software:
//
//     LIBGL_ALWAYS_SOFTWARE=1 xvfb-run -s "-screen 0 1920x1080x24" PaintBench [ROUNDS]

#include "bench/cache/PairedTimes.h"

#include "decode/DecodedVideoFrame.h"
#include "player/picture/PictureView.h"

#include <QApplication>
#include <QSurfaceFormat>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int width = 3840;
constexpr int height = 2160;
constexpr int picturesPerRound = 10;
constexpr int defaultRounds = 11;

using Picture = std::shared_ptr<DecodedVideoFrame>;

// A gradient that moves from picture to picture.
Picture MakePicture(int number)
{
    auto picture = std::make_shared<DecodedVideoFrame>();
    picture->width = width;
    picture->height = height;
    picture->size = 3 * width * height;
    picture->data = new uint8_t[static_cast<std::size_t>(picture->size)];
    for (int y = 0; y < height; ++y)
        std::memset(picture->data + 3 * width * y, (y + 16 * number) % 256, 3 * width);
    return picture;
}

void ShowAll(PictureView& view, std::array<Picture, 4> const& pictures)
{
    for (int i = 0; i < picturesPerRound; ++i) {
        view.Show(pictures[static_cast<std::size_t>(i) % pictures.size()]);
        QCoreApplication::sendPostedEvents(); // paints, and brings it to the screen
        QCoreApplication::processEvents();
    }
}

// Two windows on the screen at a time would be in each other's way. The first pictures of a window cost more.
double NanosecondsIn(PictureView& view, PictureView& other, std::array<Picture, 4> const& pictures)
{
    other.hide();
    view.show();
    ShowAll(view, pictures);
    return NanosecondsOf([&] { ShowAll(view, pictures); });
}

} // namespace

int main(int argc, char** argv)
{
    QSurfaceFormat format;
    format.setSwapInterval(0); // no waiting for the screen
    QSurfaceFormat::setDefaultFormat(format);
    QApplication const application(argc, argv);
    int const rounds = argc > 1 ? std::max(std::atoi(argv[1]), 1) : defaultRounds;
    std::array<Picture, 4> const pictures = {MakePicture(0), MakePicture(1), MakePicture(2), MakePicture(3)};
    PictureView painter(PictureView::Painting::Painter);
    PictureView openGl(PictureView::Painting::OpenGl);
    if (!openGl.PaintsWithOpenGl()) {
        std::fputs("OpenGL does not work here.\n", stderr);
        return 1;
    }
    std::puts("| Window | Painter, pictures/s | OpenGL, pictures/s | Painter / OpenGL |\n|---|---|---|---|");
    for (QSize const size : {QSize(960, 540), QSize(1920, 1080)}) {
        painter.resize(size);
        openGl.resize(size);
        std::vector<double> painted;
        std::vector<double> drawn; // by OpenGL
        std::vector<double> ratios;
        for (int i = 0; i < rounds; ++i) {
            painted.push_back(NanosecondsIn(painter, openGl, pictures));
            drawn.push_back(NanosecondsIn(openGl, painter, pictures));
            ratios.push_back(drawn.back() / painted.back());
        }
        auto const rate = [](double nanoseconds) { return picturesPerRound * 1e9 / nanoseconds; };
        std::printf("| %dx%d | %.1f | %.1f | **%.2f** |\n", size.width(), size.height(), rate(Median(painted)),
                    rate(Median(drawn)), Median(ratios));
    }
    return 0;
}
