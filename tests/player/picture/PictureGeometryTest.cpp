#include "player/picture/PictureGeometry.h"

#include <gtest/gtest.h>

#include <QRectF>

namespace {

PictureGeometry Geometry(QSize view, QSize picture, int degrees = 0)
{
    PictureGeometry geometry;
    geometry.SetView(view);
    geometry.SetPicture(picture, degrees);
    return geometry;
}

QRectF Area(PictureGeometry const& geometry, QSize picture)
{
    return geometry.PictureToView().mapRect(QRectF(QPointF(), QSizeF(picture)));
}

} // namespace

TEST(PictureGeometryTest, FitsAPictureIntoTheMiddle)
{
    // Twice as large, with 80 pixels left on both sides.
    auto const geometry = Geometry({800, 480}, {320, 240});
    EXPECT_EQ(Area(geometry, {320, 240}), QRectF(80, 0, 640, 480));
    EXPECT_DOUBLE_EQ(geometry.GetZoom(), 2.0);
}

TEST(PictureGeometryTest, TurnsClockwise)
{
    // Upright 240 x 320 in 240 x 320: the picture's upper left corner comes to the upper right.
    auto const quarter = Geometry({240, 320}, {320, 240}, 90).PictureToView();
    EXPECT_EQ(quarter.map(QPointF(0, 0)), QPointF(240, 0));
    EXPECT_EQ(quarter.map(QPointF(320, 0)), QPointF(240, 320));
    auto const half = Geometry({320, 240}, {320, 240}, 180).PictureToView();
    EXPECT_EQ(half.map(QPointF(0, 0)), QPointF(320, 240));
    auto const threeQuarters = Geometry({240, 320}, {320, 240}, 270).PictureToView();
    EXPECT_EQ(threeQuarters.map(QPointF(0, 0)), QPointF(0, 320));
}

TEST(PictureGeometryTest, ShowsPixelForPixelOnWholePixels)
{
    auto geometry = Geometry({801, 481}, {320, 240});
    geometry.SetZoom(1.0, QPointF(400, 240));
    EXPECT_EQ(Area(geometry, {320, 240}), QRectF(240, 120, 320, 240));
}

TEST(PictureGeometryTest, KeepsThePointUnderThePointerWhenZoomed)
{
    auto geometry = Geometry({400, 300}, {400, 300});
    geometry.SetZoom(4.0, QPointF(100, 75));
    EXPECT_EQ(geometry.PictureToView().map(QPointF(100, 75)), QPointF(100, 75));
    geometry.SetZoom(8.0, QPointF(100, 75));
    EXPECT_EQ(geometry.PictureToView().map(QPointF(100, 75)), QPointF(100, 75));
}

TEST(PictureGeometryTest, PansNoFurtherThanThePicturesEdge)
{
    auto geometry = Geometry({400, 300}, {400, 300});
    geometry.Pan({50, 50});
    EXPECT_EQ(Area(geometry, {400, 300}), QRectF(0, 0, 400, 300)); // fitted
    geometry.SetZoom(2.0, QPointF(200, 150));
    geometry.Pan({-30, 20});
    EXPECT_EQ(Area(geometry, {400, 300}), QRectF(-230, -130, 800, 600));
    geometry.Pan({-1000, 1000});
    EXPECT_EQ(Area(geometry, {400, 300}), QRectF(-400, 0, 800, 600));
}

TEST(PictureGeometryTest, FollowsTheViewWhileFittedAndHoldsItsZoomOtherwise)
{
    auto geometry = Geometry({400, 300}, {400, 300});
    geometry.SetView({800, 600});
    EXPECT_DOUBLE_EQ(geometry.GetZoom(), 2.0);
    geometry.SetZoom(3.0, QPointF(400, 300));
    geometry.SetView({400, 300});
    EXPECT_DOUBLE_EQ(geometry.GetZoom(), 3.0);
    geometry.Fit();
    EXPECT_DOUBLE_EQ(geometry.GetZoom(), 1.0);
}

TEST(PictureGeometryTest, SurvivesNothingToShow)
{
    auto const geometry = Geometry({0, 0}, {0, 0});
    EXPECT_DOUBLE_EQ(geometry.GetZoom(), 1.0);
    EXPECT_EQ(Area(geometry, {0, 0}), QRectF(0, 0, 0, 0));
}
