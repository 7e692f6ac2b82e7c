#pragma once

#include <QSaveFile>
#include <QString>

// The files that the commands write.
namespace OutputFile {

// Opens it for writing. Returns false with a sentence in `error`, also for a device or a pipe: those cannot be replaced
// as a whole.
bool Open(QSaveFile& file, QString& error);

} // namespace OutputFile

// Writes a WAV file of 16-bit samples block by block. Finish replaces an existing file atomically; without it nothing
// is left on disk.
class WavFile
{
public:
    // The most bytes of samples that the format's 32-bit sizes can express.
    static constexpr long long mostBytes = 0xFFFFFFFFLL - 64;

    WavFile(QString const& path, int channels, int sampleRate);

    // These return false after a failure; GetError describes it.
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
