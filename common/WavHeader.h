#pragma once

#include <QByteArray>

#include <initializer_list>

inline constexpr int wavHeaderBytes = 44;

// The header of a WAV file (RIFF/WAVE with only "fmt " and "data") of 16-bit integer samples, `dataBytes` bytes in all.
inline QByteArray WavHeader(int channels, int sampleRate, unsigned dataBytes)
{
    struct Number
    {
        unsigned value;
        int bytes;
    };
    auto const join = [](std::initializer_list<Number> numbers) {
        QByteArray bytes;
        for (Number const& number : numbers)
            for (int i = 0; i < number.bytes; ++i)
                bytes.append(static_cast<char>(number.value >> (8 * i) & 0xFFU));
        return bytes;
    };
    auto const frameBytes = static_cast<unsigned>(channels) * 2;
    auto const rate = static_cast<unsigned>(sampleRate);
    return "RIFF" + join({{wavHeaderBytes - 8 + dataBytes, 4}}) + "WAVEfmt " +
           join({{16, 4}, {1, 2}, {frameBytes / 2, 2}, {rate, 4}, {rate * frameBytes, 4}, {frameBytes, 2}, {16, 2}}) +
           "data" + join({{dataBytes, 4}});
}
