#pragma once

#include <QString>

// What a container tells about one of its streams of sound.
struct SoundStreamInfo
{
    int index = -1;           // among all streams of the container
    bool isDecodable = false; // there is a decoder for it
    QString language;         // as tagged, such as "eng"; empty when it is not
    QString title;            // the same, such as "Commentary"
    QString codec;            // FFmpeg's name of the format
    int channels = 0;         // as coded
    int sampleRate = 0;       // Hz
};
