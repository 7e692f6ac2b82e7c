#include "tools/output/Canvas.h"

#include <algorithm>

namespace {

constexpr int letterHeight = 7;

// Rows of dots from the top, the leftmost dot in the highest of `width` bits.
struct Letter
{
    char character;
    int width;
    uint8_t rows[letterHeight];
};

constexpr Letter letters[] = {
    {'0', 5, {0b01110, 0b10001, 0b10001, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'1', 5, {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'2', 5, {0b01110, 0b10001, 0b00001, 0b00110, 0b01000, 0b10000, 0b11111}},
    {'3', 5, {0b01110, 0b10001, 0b00001, 0b00110, 0b00001, 0b10001, 0b01110}},
    {'4', 5, {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    {'5', 5, {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    {'6', 5, {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    {'7', 5, {0b11111, 0b00001, 0b00010, 0b00010, 0b00100, 0b00100, 0b00100}},
    {'8', 5, {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    {'9', 5, {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    {':', 1, {0, 0, 1, 0, 1, 0, 0}},
    {'.', 1, {0, 0, 0, 0, 0, 0, 1}},
    {'-', 3, {0, 0, 0, 0b111, 0, 0, 0}},
};

constexpr Letter blank = {' ', 3, {}};

Letter const& LetterOf(QChar character)
{
    for (Letter const& letter : letters) {
        if (character == QLatin1Char(letter.character))
            return letter;
    }
    return blank;
}

} // namespace

Canvas::Canvas(int width, int height, Colour background)
{
    picture.width = width;
    picture.height = height;
    picture.bytes.resize(picture.RowBytes() * static_cast<size_t>(height));
    Fill(0, 0, width, height, background);
}

void Canvas::Fill(int left, int top, int width, int height, Colour colour)
{
    int const right = std::min(left + width, picture.width);
    int const bottom = std::min(top + height, picture.height);
    for (int y = std::max(top, 0); y < bottom; ++y) {
        uint8_t* row = picture.bytes.data() + static_cast<size_t>(y) * picture.RowBytes();
        for (int x = std::max(left, 0); x < right; ++x) {
            uint8_t* pixel = row + 3 * static_cast<size_t>(x);
            pixel[0] = colour.red;
            pixel[1] = colour.green;
            pixel[2] = colour.blue;
        }
    }
}

void Canvas::Place(RgbPicture const& other, int left, int top)
{
    int const first = std::max(-left, 0);
    int const width = std::min(other.width, picture.width - left) - first;
    int const bottom = std::min(top + other.height, picture.height);
    if (width <= 0)
        return;
    for (int y = std::max(top, 0); y < bottom; ++y) {
        uint8_t const* source =
            other.bytes.data() + static_cast<size_t>(y - top) * other.RowBytes() + 3 * static_cast<size_t>(first);
        std::copy_n(source, 3 * static_cast<size_t>(width),
                    picture.bytes.data() + static_cast<size_t>(y) * picture.RowBytes() +
                        3 * static_cast<size_t>(left + first));
    }
}

void Canvas::Write(QString const& text, int left, int top, int scale, Colour colour)
{
    for (QChar const character : text) {
        Letter const& letter = LetterOf(character);
        for (int dot = 0; dot < letterHeight * letter.width; ++dot) {
            int const row = dot / letter.width;
            int const column = dot % letter.width;
            if (letter.rows[row] >> (letter.width - 1 - column) & 1)
                Fill(left + column * scale, top + row * scale, scale, scale, colour);
        }
        left += (letter.width + 1) * scale;
    }
}

int Canvas::TextWidth(QString const& text, int scale)
{
    int dots = 0;
    for (QChar const character : text)
        dots += LetterOf(character).width + 1;
    return std::max(dots - 1, 0) * scale;
}

int Canvas::TextHeight(int scale)
{
    return letterHeight * scale;
}
