#include "tools/output/ContactSheet.h"

#include "tools/output/Canvas.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Colour placeColour = {12, 13, 15};

constexpr int distance = 12; // pixels between pictures, and around the sheet

// Pixels; wide enough for "00:00:00.000" in letters of double size.
constexpr int widthForLargeText = 160;

// Cells are at most this many times as tall as wide.
constexpr double mostStretch = 4.0;

RgbPicture Fitted(RgbPicture const& picture, int width, int height)
{
    double const scale =
        std::min(static_cast<double>(width) / picture.width, static_cast<double>(height) / picture.height);
    auto const scaled = [&](int size, int most) {
        return std::clamp(static_cast<int>(std::lround(size * scale)), 1, most);
    };
    return picture.ScaledTo(scaled(picture.width, width), scaled(picture.height, height));
}

} // namespace

ContactSheet::ContactSheet(int newWidth) : width(newWidth) {}

void ContactSheet::Add(RgbPicture const& picture, QString const& text)
{
    double const stretch = static_cast<double>(picture.height) / picture.width;
    if (entries.empty())
        height = std::max(1, static_cast<int>(std::lround(width * std::min(stretch, mostStretch))));
    hasTexts = hasTexts || !text.isEmpty();
    entries.push_back({Fitted(picture, width, height), text});
}

int ContactSheet::TextScale() const
{
    return width >= widthForLargeText ? 2 : 1;
}

int ContactSheet::TextSpace() const
{
    return hasTexts ? Canvas::TextHeight(TextScale()) + 4 * TextScale() : 0;
}

int ContactSheet::GetWidth(int columns) const
{
    return distance + columns * (width + distance);
}

int ContactSheet::GetHeight(int columns, int count) const
{
    int const rows = (count + columns - 1) / columns;
    return distance + rows * (height + TextSpace() + distance);
}

RgbPicture ContactSheet::Draw(int columns) const
{
    Canvas canvas(GetWidth(columns), GetHeight(columns, GetCount()), backgroundColour);
    for (int i = 0; i < GetCount(); ++i) {
        Entry const& entry = entries[static_cast<size_t>(i)];
        int const left = distance + i % columns * (width + distance);
        int const top = distance + i / columns * (height + TextSpace() + distance);
        canvas.Fill(left, top, width, height, placeColour);
        canvas.Place(entry.picture, left + (width - entry.picture.width) / 2,
                     top + (height - entry.picture.height) / 2);
        int const textLeft = left + (width - Canvas::TextWidth(entry.text, TextScale())) / 2;
        canvas.Write(entry.text, textLeft, top + height + 4 * TextScale(), TextScale(), textColour);
    }
    return canvas.GetPicture();
}
