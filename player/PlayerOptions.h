#pragma once

#include "player/picture/PictureView.h"

#include <QRect>
#include <QStringList>

#include <optional>

// The command line. What is not given is empty, and the remembered settings decide.
class PlayerOptions
{
public:
    QStringList files;
    double speed = 1.0;
    long long start = 0; // microseconds
    bool paused = false;
    bool fullScreen = false;
    bool once = false; // print the figures of play at the end of the last file, and quit
    std::optional<bool> loop;
    std::optional<bool> mute;
    std::optional<double> volume; // 0 to 1
    std::optional<int> cacheMegabytes;
    std::optional<double> sequenceRate; // pictures per second
    std::optional<bool> streamColours;
    bool toneMapping = true;
    std::optional<QRect> geometry; // the position is (-1, -1) when only a size was given
    QString audio = "portaudio";
    PictureView::Painting painting = PictureView::Painting::OpenGl;

    // `arguments` begin with the program's name. On a fault the sentence is in `fault`; when help or the version were
    // asked for, their text is in `text`.
    static PlayerOptions Parse(QStringList const& arguments);
    QString fault;
    QString text;
};
