#pragma once

#include "tools/output/RgbPicture.h"

#include <QString>

#include <vector>

// Small pictures in rows and columns, each with a line of text below it.
//
//     ContactSheet sheet(width);
//     sheet.Add(picture, "00:00:12.500");
//     PictureFile::Write(sheet.Draw(columns), ...)
class ContactSheet
{
public:
    explicit ContactSheet(int width); // of a picture in it, pixels

    // The first one's shape is that of all places; another shape goes into the middle of its place.
    void Add(RgbPicture const& picture, QString const& text); // of digits, see Canvas; may be empty

    int GetCount() const { return static_cast<int>(entries.size()); }
    int GetHeight(int columns, int count) const; // of a sheet of so many pictures, once the first is there
    int GetWidth(int columns) const;

    RgbPicture Draw(int columns) const; // not more than there are pictures

private:
    struct Entry
    {
        RgbPicture picture;
        QString text;
    };

    int TextScale() const;
    int TextSpace() const; // below each picture

    int width;
    int height = 0; // of a place
    bool hasTexts = false;
    std::vector<Entry> entries;
};
