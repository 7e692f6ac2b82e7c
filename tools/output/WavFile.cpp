#include "tools/output/WavFile.h"

#include "tools/output/OutputFile.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr int bytesPerSample = static_cast<int>(sizeof(short));

void Append(QByteArray& bytes, unsigned value, int size)
{
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(value >> (8 * i) & 0xFFU));
}

} // namespace

WavFile::WavFile(QString const& path, int newChannels, int newSampleRate)
    : file(path), channels(newChannels), sampleRate(newSampleRate)
{}

// The sizes in the head are those of the samples written so far.
QByteArray WavFile::Header() const
{
    auto const frameBytes = static_cast<unsigned>(channels * bytesPerSample);
    auto const size = static_cast<unsigned>(dataBytes);
    QByteArray header = "RIFF";
    Append(header, 36 + size, 4); // what follows this field
    header += "WAVEfmt ";
    Append(header, 16, 4);
    Append(header, 1, 2); // integer samples
    Append(header, static_cast<unsigned>(channels), 2);
    Append(header, static_cast<unsigned>(sampleRate), 4);
    Append(header, static_cast<unsigned>(sampleRate) * frameBytes, 4);
    Append(header, frameBytes, 2);
    Append(header, 8 * bytesPerSample, 2);
    header += "data";
    Append(header, size, 4);
    return header;
}

bool WavFile::Open()
{
    return OutputFile::Open(file, error) && Put(Header());
}

bool WavFile::Put(QByteArray const& bytes)
{
    if (file.write(bytes) == bytes.size())
        return true;
    error = file.errorString();
    return false;
}

bool WavFile::Write(short const* samples, int frames)
{
    int const count = frames * channels;
    QByteArray bytes(count * bytesPerSample, Qt::Uninitialized);
    if (dataBytes + bytes.size() > mostBytes) {
        error = QStringLiteral("a WAV file holds 4 GiB at most");
        return false;
    }
    qToLittleEndian<short>(samples, count, bytes.data());
    dataBytes += bytes.size();
    return Put(bytes);
}

bool WavFile::Finish()
{
    bool const isWhole = file.seek(0) && Put(Header()) && file.flush() && file.commit();
    if (!isWhole && error.isEmpty())
        error = file.errorString();
    return isWhole;
}
