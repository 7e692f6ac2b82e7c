#include "tools/output/OutputFile.h"

#include "common/WavHeader.h"

#include <QFileInfo>
#include <QtEndian>

namespace {

constexpr int bytesPerSample = static_cast<int>(sizeof(short));

} // namespace

bool OutputFile::Open(QSaveFile& file, QString& error)
{
    QFileInfo const existing(file.fileName());
    if (existing.exists() && !existing.isFile() && !existing.isDir()) {
        error = QStringLiteral("it is not a file but a device or a pipe");
        return false;
    }
    if (file.open(QIODevice::WriteOnly))
        return true;
    error = file.errorString();
    return false;
}

WavFile::WavFile(QString const& path, int newChannels, int newSampleRate)
    : file(path), channels(newChannels), sampleRate(newSampleRate)
{}

bool WavFile::Open()
{
    return OutputFile::Open(file, error) && PutHeader();
}

// With the sizes of the samples written so far.
bool WavFile::PutHeader()
{
    return Put(WavHeader(channels, sampleRate, static_cast<unsigned>(dataBytes)));
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
    bool const isWhole = file.seek(0) && PutHeader() && file.flush() && file.commit();
    if (!isWhole && error.isEmpty())
        error = file.errorString();
    return isWhole;
}
