#include "player/picture/PictureView.h"
#include "decode/DecodedVideoFrame.h"

#include <QImage>

#include <gtest/gtest.h>

#include <vector>

namespace {

// 3 x 2 pixels in rows of 12 bytes: red, green, blue above black, white, red.
std::vector<uint8_t> const bytes = {255, 0, 0, 0,   255, 0,   0,   0, 255, 9, 9, 9, //
                                    0,   0, 0, 255, 255, 255, 255, 0, 0,   9, 9, 9};

DecodedVideoFrame Picture(int rotation)
{
    return {bytes.data(), static_cast<int>(bytes.size()), 3, 2, 0, 25.0, rotation, false};
}

} // namespace

// Runs twice: as it is, and with QT_XCB_GL_INTEGRATION set to "none", where Qt has no OpenGL.
TEST(PictureViewTest, PaintsWithOpenGlWhereThereIsSome)
{
    bool const hasOpenGl = qgetenv("QT_XCB_GL_INTEGRATION") != "none";
    EXPECT_EQ(PictureView(PictureView::Painting::OpenGl).PaintsWithOpenGl(), hasOpenGl);
    EXPECT_FALSE(PictureView(PictureView::Painting::Painter).PaintsWithOpenGl());
}

// Under Xvfb OpenGL is imitated in software.
TEST(PictureViewTest, PaintsWithoutOpenGlWhereNoGraphicsCardDoesItsWork)
{
    EXPECT_FALSE(PictureView(PictureView::Painting::Automatic).PaintsWithOpenGl());
}

TEST(PictureViewTest, RendersPicturesUpright)
{
    QImage const image = PictureView::Render(Picture(90));
    ASSERT_EQ(image.size(), QSize(2, 3));
    EXPECT_EQ(image.pixelColor(1, 0), QColor(255, 0, 0));
    EXPECT_EQ(image.pixelColor(1, 2), QColor(0, 0, 255));
    EXPECT_EQ(image.pixelColor(0, 1), QColor(255, 255, 255));
}

TEST(PictureViewTest, ShowsNoRecordThatIsNoPicture)
{
    PictureView view(PictureView::Painting::Painter);
    auto const picture = std::make_shared<DecodedVideoFrame>(bytes.data(), 24, 3, 2, 0, 25.0, 0, false);
    view.Show(picture);
    EXPECT_EQ(view.GetShown(), picture);
    view.Show(std::make_shared<DecodedVideoFrame>()); // the end of the stream
    EXPECT_EQ(view.GetShown(), nullptr);
    auto const sizeChange = std::make_shared<DecodedVideoFrame>(bytes.data(), 1, 640, 480, 0, 25.0, 0, false);
    sizeChange->status = 1;
    view.Show(sizeChange);
    EXPECT_EQ(view.GetShown(), nullptr);
}
