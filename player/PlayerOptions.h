#pragma once

#include "player/picture/PictureView.h"

#include <QRect>
#include <QStringList>

#include <optional>

// The command line. Options that were not given are empty: the stored settings apply.
class PlayerOptions
{
public:
    QStringList files;
    double speed = 1.0;
    long long start = 0; // microseconds
    bool paused = false;
    bool fullScreen = false;
    bool once = false; // at the end of the last file, print the statistics and quit; a still ends at once
    std::optional<bool> loop;
    std::optional<bool> mute;
    std::optional<double> volume; // 0 to 1
    std::optional<int> cacheMegabytes;
    std::optional<double> sequenceRate; // pictures per second
    std::optional<double> stillSeconds; // for which a still image stays
    std::optional<bool> streamColours;
    int soundStream = -1; // from 0; -1 where none is chosen
    bool toneMapping = true;
    std::optional<QRect> geometry; // the position is (-1, -1) when only a size was given
    QString compare;               // a file to compare with; empty: none
    QString audio = "portaudio";
    PictureView::Painting painting = PictureView::Painting::Automatic;

    // `arguments` begin with the program's name. Sets `fault` to a sentence if they are wrong, and `text` if help or
    // the version was requested. Any application object will do, without a display, too.
    static PlayerOptions Parse(QStringList const& arguments);
    QString fault;
    QString text;
};
