#include "player/review/RangeSaver.h"

#include "common/Microseconds.h"
#include "common/WavHeader.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "player/picture/PictureView.h"
#include "source/PictureIndex.h"
#include "source/SoundStream.h"
#include "source/Source.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QtEndian>

#include <algorithm>
#include <cmath>

namespace {

constexpr long long progressInterval = 200; // milliseconds
constexpr long long mostWavBytes = 0xFFFFFFFFLL - 64;
constexpr long long silencePiece = 4096; // frames

// Takes samples until so many frames have been written.
class WavData
{
public:
    WavData(QSaveFile& newFile, int newChannels, long long newFrames)
        : file(newFile), channels(newChannels), frames(newFrames)
    {}

    bool IsFull() const { return written >= frames; }
    long long GetWritten() const { return written; }

    bool Put(short const* samples, long long count)
    {
        long long const taken = std::min(count, frames - written);
        bytes.resize(static_cast<int>(taken * channels * 2));
        qToLittleEndian<qint16>(samples, taken * channels, bytes.data());
        written += taken;
        return file.write(bytes) == bytes.size();
    }

    bool PutSilence(long long count)
    {
        std::vector<short> const silence(static_cast<size_t>(silencePiece * channels), 0);
        for (long long left = std::min(count, frames - written); left > 0; left -= silencePiece) {
            if (!Put(silence.data(), std::min(left, silencePiece)))
                return false;
        }
        return true;
    }

private:
    QSaveFile& file;
    int const channels;
    long long const frames;
    long long written = 0;
    QByteArray bytes;
};

} // namespace

RangeSaver::RangeSaver(Job const& newJob, QObject* parent) : QThread(parent), job(newJob) {}

RangeSaver::~RangeSaver()
{
    Stop();
    wait();
}

QString RangeSaver::PathOf(long long number) const
{
    QString const stem = job.path.endsWith(".png", Qt::CaseInsensitive) ? job.path.left(job.path.size() - 4) : job.path;
    return QString("%1-%2.png").arg(stem).arg(job.firstNumber + number, 6, 10, QChar('0'));
}

void RangeSaver::run()
{
    emit Ended(job.path.endsWith(".wav", Qt::CaseInsensitive) ? SaveSound() : SavePictures());
}

void RangeSaver::TellProgress(long long done, long long all, char const* what)
{
    if (sinceTold.isValid() && sinceTold.elapsed() < progressInterval)
        return;
    sinceTold.start();
    emit Progressed(QString("Saving %1: %2 %. Esc cancels.").arg(what).arg(100 * done / std::max(1LL, all)));
}

QString RangeSaver::SavePictures()
{
    if (!job.index)
        return "The pictures have no known numbers yet.";
    long long const first = job.index->NumberAt(job.from);
    long long const last = job.index->NumberAt(job.to - 1);
    QString const existing = FindExisting(first, last);
    return existing.isEmpty() ? SavePicturesFrom(first, last)
                              : QString("%1 exists already. Nothing was saved.").arg(existing);
}

QString RangeSaver::FindExisting(long long first, long long last) const
{
    for (long long number = first; number <= last && !stopped; ++number) {
        QString path = PathOf(number);
        if (QFileInfo::exists(path))
            return path;
    }
    return {};
}

QString RangeSaver::SavePicturesFrom(long long first, long long last)
{
    auto const pictures = Source::Open(job.item, job.options).OpenPictures(stop);
    if (!pictures)
        return "The pictures cannot be decoded.";
    PictureStream::Picture picture;
    long long saved = 0;
    ReadResult result = pictures->ReadAt(job.index->TimeOf(first), picture, stop);
    for (; result == ReadResult::Got && picture->startTime < job.to; result = pictures->Read(picture, stop)) {
        QString const path = PathOf(job.index->NumberAt(picture->startTime));
        if (!PictureView::Render(*picture).save(path, "PNG")) {
            QFile::remove(path);
            return QString("%1 cannot be written. %2 pictures were saved.").arg(path).arg(saved);
        }
        TellProgress(++saved, last - first + 1, "pictures");
    }
    if (result == ReadResult::Stopped)
        return QString("Cancelled. %1 pictures were saved.").arg(saved);
    if (saved < last - first + 1)
        return QString("%1 of %2 pictures were saved; the others cannot be decoded.").arg(saved).arg(last - first + 1);
    return QString("Saved %1 to %2").arg(PathOf(first), QFileInfo(PathOf(last)).fileName());
}

QString RangeSaver::SaveSound()
{
    SoundStream sound(job.soundInfo, job.soundStream);
    if (!job.soundInfo || !sound.Open())
        return "There is no sound that can be decoded.";
    int const channels = sound.GetChannelCount();
    int const rate = sound.GetSampleRate();
    double const seconds = static_cast<double>(job.to - job.from) / static_cast<double>(secondUs);
    long long const frames = std::llround(seconds * rate);
    if (frames > mostWavBytes / (channels * 2))
        return "A WAV file holds 4 GiB at most. Choose a shorter range.";
    QSaveFile file(job.path);
    QString fault;
    bool const isWritten =
        file.open(QIODevice::WriteOnly) &&
        file.write(WavHeader(channels, rate, static_cast<unsigned>(frames * channels * 2))) == wavHeaderBytes &&
        WriteSound(sound, file, frames, fault);
    if (!isWritten)
        return fault.isEmpty() ? QString("%1 cannot be written.").arg(job.path) : fault;
    return file.commit() ? QString("Saved %1").arg(job.path) : QString("%1 cannot be written.").arg(job.path);
}

// Where the sound begins later than the range, and where it ends earlier, there is silence.
bool RangeSaver::WriteSound(SoundStream& sound, QSaveFile& file, long long frames, QString& fault)
{
    int const channels = sound.GetChannelCount();
    int const rate = sound.GetSampleRate();
    long long const from = job.from + job.origin;
    WavData data(file, channels, frames);
    SoundStream::Frame frame;
    ReadResult result = sound.ReadAt(from, frame, stop);
    long long skipped = 0; // frames before the range
    if (result == ReadResult::Got) {
        long long const distance = std::llround(static_cast<double>(frame->startTime - from) * rate / secondUs);
        if (!data.PutSilence(std::max(distance, 0LL)))
            return false;
        skipped = std::max(-distance, 0LL);
    }
    for (; result == ReadResult::Got && !data.IsFull(); result = sound.Read(frame, stop)) {
        long long const count = std::max(frame->frameCount - skipped, 0LL);
        bool const isAlike = frame->sampleRate == rate && frame->sampleCapacity >= frame->frameCount * channels;
        bool const isPut =
            isAlike && count > 0 ? data.Put(frame->samples + skipped * channels, count) : data.PutSilence(count);
        if (!isPut)
            return false;
        skipped = std::max(skipped - frame->frameCount, 0LL);
        TellProgress(data.GetWritten(), frames, "sound");
    }
    if (stopped) {
        fault = "Cancelled. Nothing was saved.";
        return false;
    }
    return data.PutSilence(frames);
}
