#pragma once

#include <QColor>
#include <QImage>
#include <QString>

// A movie that tells by itself which picture is shown and when its sound is due. 320 x 240, 25 pictures a second, H.264
// with B-pictures and a key picture every 50:
//
//     [][][][][][][][][][]     the picture's number in ten squares of 32 pixels, black 0, white 1, the highest bit
//     first . . . grey . . . . .
//     ####################     white in the first four pictures of each second, else black: y from 120 to 240
//
// The left channel is a tone of 1000 Hz throughout, the right one a beep of 2000 Hz while the lower half is white.
class DemoMovie
{
public:
    static constexpr int width = 320;
    static constexpr int height = 240;
    static constexpr int square = 32;
    static constexpr int squares = 10;
    static constexpr int rate = 25;
    static constexpr int sampleRate = 48000;

    // The path of such a movie, made on the first call for these values. `rotation` is written into the file, in
    // clockwise degrees. Empty when ffmpeg cannot make it.
    static QString Make(int pictures, int rotation = 0);

    // The path of a movie whose sound stands in the file behind 30,000 small pictures, so that it opens well after the
    // first of them. Empty when ffmpeg cannot make it.
    static QString MakeWithLateSound();

    // The path of such a movie of ten seconds with three streams of sound: its own, German with the title "Kommentar",
    // a tone of 700 Hz, and mono, a tone of 300 Hz. Empty when ffmpeg cannot make it.
    static QString MakeWithThreeSounds();

    // The first `pictures` pictures as a row of PNG files; the folder.
    static QString MakeSequence(int pictures);

    static QImage Picture(int number);

    // A card of 8 x 6 patches of 40 pixels, stored without loss with the tags "bt709" and "tv", or "smpte170m" and
    // "pc", or whatever ffmpeg knows.
    static QString MakeCard(QString const& matrix, QString const& range);
    static QColor Patch(int column, int row);

private:
    static QByteArray Sound(int pictures);
};
