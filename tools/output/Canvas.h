#pragma once

#include "tools/output/RgbPicture.h"

#include <QString>

#include <cstdint>

struct Colour
{
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
};

// Of all pictures that we draw ourselves.
constexpr Colour backgroundColour = {22, 24, 28};
constexpr Colour textColour = {176, 182, 192};

// A picture to draw on. Drawing is clipped to it. Coordinates are pixels from the upper left corner.
class Canvas
{
public:
    Canvas(int width, int height, Colour background);

    void Fill(int left, int top, int width, int height, Colour colour);
    void Place(RgbPicture const& picture, int left, int top);

    // Draws digits, colons, points, minus signs and blanks; any other character is a blank. Letters are seven dots
    // high; `scale` is the size of a dot in pixels.
    void Write(QString const& text, int left, int top, int scale, Colour colour);

    static int TextWidth(QString const& text, int scale);
    static int TextHeight(int scale);

    RgbPicture const& GetPicture() const { return picture; }

private:
    RgbPicture picture;
};
