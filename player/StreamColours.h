#pragma once

#include <QString>

// How a file's video stream says its colours are coded, and how the library's conversion to RGB took them.
struct StreamColours
{
    // The weights of red, green and blue in the luma signal.
    enum class Matrix { Bt601, Bt709, Bt2020 };

    Matrix matrix = Matrix::Bt601;
    bool isFullRange = false;      // luma 0 to 255 rather than 16 to 235
    bool takenAsFullRange = false; // by the conversion

    // The tags of the best video stream. Everything as by default where the file has none, cannot be opened, or holds
    // RGB, which needs no conversion. Opens the file and reads its head: not for the window's thread. Any thread.
    static StreamColours Probe(QString const& path);
};
