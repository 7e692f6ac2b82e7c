#pragma once

#include "tools/output/RgbPicture.h"

#include <QString>

#include <vector>

// A contact sheet: small pictures in rows and columns, each with a line of text below.
//
//     ContactSheet sheet(width);
//     sheet.Add(picture, "00:00:12.500");
//     PictureFile::Write(sheet.Draw(columns), ...)
class ContactSheet
{
public:
    explicit ContactSheet(int width); // of a picture in it, pixels

    // The first picture sets the shape of all cells; a picture of another shape is centred in its cell.
    void Add(RgbPicture const& picture, QString const& text); // of digits, see Canvas; may be empty

    int GetCount() const { return static_cast<int>(entries.size()); }
    int GetHeight(int columns, int count) const; // of a sheet of `count` pictures; needs the first picture
    int GetWidth(int columns) const;

    RgbPicture Draw(int columns) const; // `columns`: at most the number of pictures

private:
    struct Entry
    {
        RgbPicture picture;
        QString text;
    };

    int TextScale() const;
    int TextSpace() const; // below each picture

    int width;
    int height = 0; // of a cell
    bool hasTexts = false;
    std::vector<Entry> entries;
};
