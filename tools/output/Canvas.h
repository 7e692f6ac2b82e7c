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

// A picture to draw on. What lies outside it is left out. Places are pixels from the upper left corner.
class Canvas
{
public:
    Canvas(int width, int height, Colour background);

    void Fill(int left, int top, int width, int height, Colour colour);
    void Place(RgbPicture const& picture, int left, int top);

    // Digits, colons, points, minus signs and blanks; other characters are as wide as a blank. `scale`: the pixels of a
    // dot of the letters, which are seven dots high.
    void Write(QString const& text, int left, int top, int scale, Colour colour);

    static int TextWidth(QString const& text, int scale);
    static int TextHeight(int scale);

    RgbPicture const& GetPicture() const { return picture; }

private:
    RgbPicture picture;
};
