#pragma once

#include <QSaveFile>
#include <QString>

// The files that the commands write.
namespace OutputFile {

// Opens it for writing. False with a sentence in `error`, also for a device or a pipe: to be replaced as a whole, as a
// file is, does not suit them.
bool Open(QSaveFile& file, QString& error);

} // namespace OutputFile

// A WAV file of 16-bit samples that is written piece by piece. An existing file is replaced when it is finished, as a
// whole or not at all; what was begun and not finished leaves nothing behind.
class WavFile
{
public:
    // The most bytes of samples that the format's 32-bit sizes can tell.
    static constexpr long long mostBytes = 0xFFFFFFFFLL - 64;

    WavFile(QString const& path, int channels, int sampleRate);

    // False after a failure, of which GetError tells.
    bool Open();
    bool Write(short const* samples, int frames); // interleaved
    bool Finish();

    QString GetError() const { return error; }

private:
    bool PutHeader();
    bool Put(QByteArray const& bytes);

    QSaveFile file;
    int channels;
    int sampleRate;
    long long dataBytes = 0;
    QString error;
};
