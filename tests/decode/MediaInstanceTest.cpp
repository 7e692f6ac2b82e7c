#include "decode/MediaInstance.h"

#include "media/AvGlobals.h"
#include "media/FfmpegBridge.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <vector>

namespace {

constexpr int invalidData = -1094995529; // AVERROR_INVALIDDATA

LogLine const noMedia = ErrorLine("Attempted to decode media that does not exist.");
LogLine const badVideoPacket = ErrorLine("Error decoding video packet.");

QStringList const mpeg4 = {"-c:v", "mpeg4", "-bf", "0", "-g", "25", "-threads", "1"};
QStringList const h264 = {"-c:v",        "libx264", "-g",           "25",
                          "-keyint_min", "25",      "-x264-params", "scenecut=0:bframes=2:b-adapt=0:open-gop=0"};
QStringList const pcm = {"-c:a", "pcm_s16le"};

// A session on a probed file, initialised but not opened.
struct Session
{
    explicit Session(QString const& path, bool isImage = false) : info(Probed(path, isImage))
    {
        instance.Initialize(info, 1);
    }

    Decoded Decode() // one call
    {
        Decoded decoded;
        instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
        return decoded;
    }

    std::shared_ptr<MediaInfo> info;
    MediaInstance instance;
};

// One second of 25 pictures with sound.
QString SoundingMovie()
{
    return MakeMedia("sounding.mkv", Picture("64x48", 25, 1) + Tone(8000, 1, 1) + h264 + pcm);
}

// Three seconds at 25 pictures per second, one key frame per second.
QString LongMovie(QString const& suffix, QStringList const& codec = h264)
{
    return MakeMedia("long." + suffix, Picture("64x48", 25, 3) + codec);
}

QString SoundFile()
{
    QByteArray samples;
    for (int i = 0; i < 8000; ++i)
        samples.append(static_cast<char>(i & 0xff)).append(static_cast<char>(i >> 8));
    return WriteMedia("count.wav", WavBytes(1, 1, 8000, 16, samples));
}

QString StillImage()
{
    return MakeMedia("still.png", Picture("64x48", 25, 1) + QStringList{"-frames:v", "1", "-pix_fmt", "rgb24"});
}

// Pictures and sound whose video decoder does not open.
QString MovieWithUnusableVideo()
{
    QString const movie =
        MakeMedia("animation.mov", Picture("64x48", 25, 0.4) + Tone(8000, 1, 0.4) + QStringList{"-c:v", "qtrle"} + pcm);
    return PatchMedia("unusable.mov", movie, QByteArray("\0\x18\xff\xff", 4), QByteArray("\0\x03\xff\xff", 4));
}

struct ReferencePicture
{
    long long time;
    std::vector<uint8_t> bytes;
};

std::vector<ReferencePicture> ReferencePictures(QString const& path, long long start = 0)
{
    std::vector<ReferencePicture> pictures;
    ReferenceInput input(path, AVMEDIA_TYPE_VIDEO);
    double const tick = input.TickUs();
    input.DecodeAll([&](AVFrame& frame) {
        double const time = static_cast<double>(frame.best_effort_timestamp) * tick - static_cast<double>(start);
        pictures.push_back({static_cast<long long>(time), ConvertPlainly(frame, frame.width)});
    });
    return pictures;
}

void ExpectPictures(Decoded const& decoded, std::vector<ReferencePicture> const& expected)
{
    std::vector<std::shared_ptr<DecodedVideoFrame>> pictures;
    for (auto const& record : decoded.pictures) {
        if (IsPicture(*record))
            pictures.push_back(record);
    }
    ASSERT_EQ(pictures.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(pictures[i]->startTime, expected[i].time);
        ASSERT_EQ(pictures[i]->size, static_cast<int>(expected[i].bytes.size()));
        EXPECT_EQ(std::memcmp(pictures[i]->data, expected[i].bytes.data(), expected[i].bytes.size()), 0) << i;
    }
}

std::vector<long long> EveryFrame(long long first, int count)
{
    std::vector<long long> times;
    for (int i = 0; i < count; ++i)
        times.push_back(first + i * 40000LL);
    return times;
}

// The description of one file whose path holds another file when it is opened.
class ChangedFile
{
public:
    ChangedFile(QString const& probed, QString const& opened)
    {
        QFile::copy(probed, Path());
        info = Probed(Path());
        QFile::remove(Path());
        QFile::copy(opened, Path());
        instance.Initialize(info, 0);
    }

    QString Path() const { return folder.filePath("movie.mkv"); }

    QTemporaryDir folder;
    std::shared_ptr<MediaInfo> info;
    MediaInstance instance;
};

class MediaInstanceTest : public testing::Test
{
protected:
    LogCapture log;
    OutputChannels channels{8};
};

// Every call that must be safe in any state.
void CallEverything(MediaInstance& instance)
{
    Decoded decoded;
    instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
    instance.PrepareNextPacket(false);
    instance.PrepareNextPacket(true);
    instance.DecodePacket(decoded.sounds, decoded.pictures, 0);
    instance.Seek(0);
    instance.Seek(500000);
    instance.HasPacket();
    instance.ClearPacket();
    instance.SetDecoderFrameRate(30.0);
    instance.RenewVideoCodec();
    instance.IsAudioPacket();
    instance.IsEndOfFile();
    instance.IsAudioMatched(nullptr);
    instance.GetOutputChannelCount();
    instance.OpenInput();
    instance.OpenInput();
    instance.CloseInput();
    instance.CloseInput();
}

} // namespace

// States

TEST_F(MediaInstanceTest, StartsWithoutStreams)
{
    MediaInstance const instance;
    EXPECT_EQ(instance.GetActiveAudioStreamIndex(), -1);
    EXPECT_EQ(instance.GetActiveVideoStreamIndex(), -1);
    EXPECT_EQ(instance.GetChannelCount(), 0);
    EXPECT_EQ(instance.GetOutputChannelCount(), 0);
    EXPECT_EQ(instance.GetSampleRate(), 0);
    EXPECT_EQ(instance.GetBytesPerSample(), 0);
    EXPECT_FALSE(instance.IsPlaner());
    EXPECT_FALSE(instance.IsAudioPacket());
    EXPECT_FALSE(instance.IsEndOfFile());
    EXPECT_FALSE(instance.RequiresLargeSeekOffset());
    EXPECT_TRUE(instance.GetMediaInfo().expired());
}

TEST_F(MediaInstanceTest, RefusesADescriptionThatIsNotThereOrNotProbed)
{
    MediaInstance instance;
    EXPECT_FALSE(instance.Initialize({}, 0));
    EXPECT_FALSE(instance.Initialize(std::make_shared<MediaInfo>("gone"), 0)); // expires immediately
    auto const info = std::make_shared<MediaInfo>("not probed");
    EXPECT_FALSE(instance.Initialize(info, 0));
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>(3, ErrorLine("Media info not initialized."))));
}

TEST_F(MediaInstanceTest, HoldsItsDescriptionWeakly)
{
    Session session(SoundingMovie());
    EXPECT_EQ(session.instance.GetMediaInfo().lock(), session.info);
    EXPECT_EQ(session.info.use_count(), 1);
    session.info.reset();
    EXPECT_FALSE(session.instance.HasPacket());
    EXPECT_FALSE(session.instance.OpenInput());
    session.instance.Seek(0);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>(3, noMedia)));
}

TEST_F(MediaInstanceTest, TakesEveryCallBeforeInitialize)
{
    MediaInstance instance;
    EXPECT_FALSE(instance.HasPacket());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{noMedia}));
    CallEverything(instance);
    instance.Shutdown();
}

TEST_F(MediaInstanceTest, TakesEveryCallAfterAFailedInitialize)
{
    MediaInstance instance;
    EXPECT_FALSE(instance.Initialize({}, 0));
    CallEverything(instance);
}

TEST_F(MediaInstanceTest, TakesEveryCallAfterShutdown)
{
    Session session(SoundingMovie());
    ASSERT_TRUE(session.instance.HasPacket());
    session.Decode();
    session.instance.Shutdown();
    session.instance.Shutdown();
    EXPECT_TRUE(log.Take().empty());
    EXPECT_FALSE(session.instance.HasPacket());
    CallEverything(session.instance);
    session.instance.Shutdown();
}

TEST_F(MediaInstanceTest, TakesEveryCallWhileOpen)
{
    for (QString const& path : {SoundingMovie(), SoundFile(), StillImage()}) {
        Session session(path, path.endsWith(".png"));
        ASSERT_TRUE(session.instance.HasPacket());
        CallEverything(session.instance);
    }
}

TEST_F(MediaInstanceTest, TakesEveryCallAfterAnOpenThatFailedHalfWay)
{
    Session session(MovieWithUnusableVideo());
    log.Take();
    EXPECT_FALSE(session.instance.OpenInput());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to open video decoder.")}));
    session.instance.Seek(0);
    session.instance.Seek(200000);
    EXPECT_TRUE(log.Take().empty());
    CallEverything(session.instance);
    session.instance.OpenInput();
}

TEST_F(MediaInstanceTest, MayBeInitialisedAgainWithAnotherSource)
{
    Session session(SoundingMovie());
    session.instance.HasPacket();
    session.Decode();
    auto const other = Probed(SoundFile());
    ASSERT_TRUE(session.instance.Initialize(other, 2));
    Decoded const decoded = DecodeAll(session.instance);
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), -1);
    EXPECT_EQ(decoded.SampleFrames(), 8000);
    EXPECT_TRUE(decoded.pictures.isEmpty());
}

TEST_F(MediaInstanceTest, GoesOnAsItWasWhenASecondInitializeFails)
{
    Session session(SoundingMovie());
    ASSERT_TRUE(session.instance.HasPacket());
    int pictures = 0;
    while (pictures < 5)
        pictures += static_cast<int>(session.Decode().pictures.size());
    EXPECT_FALSE(session.instance.Initialize({}, 2));
    EXPECT_FALSE(session.instance.Initialize(std::make_shared<MediaInfo>("not probed"), 2));
    EXPECT_EQ(session.instance.GetMediaInfo().lock(), session.info);
    Decoded const rest = DecodeAll(session.instance);
    EXPECT_EQ(rest.Starts(), EveryFrame(pictures * 40000, 25 - pictures));
    EXPECT_EQ(rest.Marks(), 1);
}

// 25 pictures a second, and the first is a key picture.
TEST_F(MediaInstanceTest, DecodesAllAgainByANewVideoCodec)
{
    Session session(SoundingMovie());
    EXPECT_FALSE(session.instance.RenewVideoCodec()); // not open yet
    ASSERT_TRUE(session.instance.HasPacket());
    for (int i = 0; i < 5; ++i)
        session.Decode();
    ASSERT_TRUE(session.instance.RenewVideoCodec());
    session.instance.Seek(0);
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(0, 25));
    ASSERT_TRUE(session.instance.RenewVideoCodec()); // after the end, too
    session.instance.Seek(0);
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(0, 25));
}

TEST_F(MediaInstanceTest, HasNoVideoCodecToRenewInASoundFile)
{
    Session session(SoundFile());
    ASSERT_TRUE(session.instance.HasPacket());
    EXPECT_FALSE(session.instance.RenewVideoCodec());
    EXPECT_EQ(DecodeAll(session.instance).SampleFrames(), 8000);
}

TEST_F(MediaInstanceTest, ForgetsTheSourceBeforeWhenItIsInitialisedAgain)
{
    Session session(MakeMedia("first.mkv", Picture("64x48", 25, 0.4) + Tone(8000, 2, 0.4) +
                                               QStringList{"-c:v", "mpeg1video"} + pcm));
    DecodeAll(session.instance);
    ASSERT_TRUE(session.instance.IsEndOfFile());
    ASSERT_TRUE(session.instance.RequiresLargeSeekOffset());
    auto const other = Probed(SoundFile());
    ASSERT_TRUE(session.instance.Initialize(other, 2));
    EXPECT_FALSE(session.instance.IsEndOfFile());
    EXPECT_FALSE(session.instance.RequiresLargeSeekOffset());
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), -1);
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), -1);
    EXPECT_EQ(session.instance.GetChannelCount(), 0);
    EXPECT_EQ(session.instance.GetSampleRate(), 0);
    EXPECT_EQ(session.instance.GetBytesPerSample(), 0);
}

// First the file disappears, then the description.
TEST_F(MediaInstanceTest, GoesOnWithItsInputWhenItCannotBeOpenedAnew)
{
    QTemporaryDir const folder;
    QString const path = folder.filePath("movie.mkv");
    ASSERT_TRUE(QFile::copy(SoundingMovie(), path));
    Session session(path);
    ASSERT_TRUE(session.instance.HasPacket());
    int pictures = 0;
    while (pictures < 5)
        pictures += static_cast<int>(session.Decode().pictures.size());
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_FALSE(session.instance.OpenInput());
    session.info.reset();
    EXPECT_FALSE(session.instance.OpenInput());
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), 0);
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), 1);
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(pictures * 40000, 25 - pictures));
}

TEST_F(MediaInstanceTest, OpensAgainAfterClose)
{
    Session session(SoundingMovie());
    EXPECT_EQ(DecodeAll(session.instance).Starts().size(), 25u);
    session.instance.CloseInput();
    EXPECT_TRUE(session.instance.IsEndOfFile()); // unchanged
    EXPECT_EQ(DecodeAll(session.instance).Starts().size(), 25u);
}

TEST_F(MediaInstanceTest, BeginsAfreshWhenOpenedTwice)
{
    Session session(SoundingMovie());
    ASSERT_TRUE(session.instance.HasPacket());
    session.Decode();
    ASSERT_TRUE(session.instance.OpenInput());
    session.instance.PrepareNextPacket(true);
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(0, 25));
}

TEST_F(MediaInstanceTest, HasNoPacketWhereTheInputWasOpenedByHand)
{
    Session session(SoundingMovie());
    ASSERT_TRUE(session.instance.OpenInput());
    EXPECT_FALSE(session.instance.HasPacket());
    session.instance.PrepareNextPacket(false);
    EXPECT_TRUE(session.instance.HasPacket());
}

// Opening

TEST_F(MediaInstanceTest, OpensTheStreamsOfTheDescription)
{
    OutputChannels const two(2);
    Session session(
        MakeMedia("planar.mkv", Picture("64x48", 25, 0.4) + Tone(48000, 6, 0.4) + h264 + QStringList{"-c:a", "aac"}));
    EXPECT_EQ(session.instance.GetChannelCount(), 0);
    ASSERT_TRUE(session.instance.OpenInput());
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), 0);
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), 1);
    EXPECT_EQ(session.instance.GetChannelCount(), 6);
    EXPECT_EQ(session.instance.GetOutputChannelCount(), 2);
    EXPECT_EQ(session.instance.GetSampleRate(), 48000);
    EXPECT_EQ(session.instance.GetBytesPerSample(), 4);
    EXPECT_TRUE(session.instance.IsPlaner());
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, OpensTheStreamOfSoundThatIsWanted)
{
    OutputChannels const two(2);
    Session session(MakeMedia("two-sounds.mkv", Picture("64x48", 25, 0.4) + Tone(48000, 2, 0.4) + Tone(8000, 1, 0.4) +
                                                    QStringList{"-map", "0", "-map", "1", "-map", "2"} + h264 + pcm));
    session.instance.SetAudioStream(2);
    ASSERT_TRUE(session.instance.OpenInput());
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), 2);
    EXPECT_EQ(session.instance.GetSampleRate(), 8000);
    session.instance.SetAudioStream(-1);
    EXPECT_EQ(session.instance.GetSampleRate(), 8000); // until it is opened again
    ASSERT_TRUE(session.instance.OpenInput());
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), 1);
    EXPECT_TRUE(log.Lines().empty());
    session.instance.SetAudioStream(0); // pictures
    EXPECT_FALSE(session.instance.OpenInput());
    EXPECT_EQ(log.Lines(), std::vector<LogLine>{ErrorLine("Failed to find audio stream (Stream not found)")});
}

TEST_F(MediaInstanceTest, OpensASourceWithNeitherSoundNorVideo)
{
    Session session(WriteMedia("words.srt", "1\n00:00:00,000 --> 00:00:00,400\nWords\n\n"));
    ASSERT_TRUE(session.info->IsInitialized());
    ASSERT_TRUE(session.instance.OpenInput());
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), -1);
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), -1);
    session.instance.PrepareNextPacket(false);
    Decoded const decoded = DecodeAll(session.instance);
    EXPECT_TRUE(decoded.sounds.isEmpty());
    EXPECT_TRUE(decoded.pictures.isEmpty());
}

TEST_F(MediaInstanceTest, ReportsAFileThatHasGone)
{
    QTemporaryDir const folder;
    QString const path = folder.filePath("movie.mkv");
    QFile::copy(SoundingMovie(), path);
    Session session(path);
    QFile::remove(path);
    EXPECT_FALSE(session.instance.HasPacket());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("File not found: " + path)}));
}

TEST_F(MediaInstanceTest, ReportsStreamsThatHaveGone)
{
    ChangedFile silent(SoundingMovie(), LongMovie("mkv"));
    EXPECT_FALSE(silent.instance.HasPacket());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to find audio stream (Stream not found)")}));
    EXPECT_LT(silent.instance.GetActiveAudioStreamIndex(), 0);
    silent.instance.Seek(0);
    silent.instance.CloseInput();

    QString const soundOnly = MakeMedia("sound.mkv", Tone(8000, 1, 0.5) + pcm);
    ChangedFile blind(SoundingMovie(), soundOnly);
    EXPECT_FALSE(blind.instance.HasPacket());
    // The audio record, of stream 1, is looked up first.
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Audio stream invalid or not found.")}));

    ChangedFile blindMovie(LongMovie("mkv"), soundOnly);
    EXPECT_FALSE(blindMovie.instance.HasPacket());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to find video stream (Stream not found)")}));
}

TEST_F(MediaInstanceTest, ReportsAVideoStreamThatIsNotTheOneDescribed)
{
    QString const movie = MakeMedia("sound-first.mkv", Tone(8000, 1, 0.5) + Picture("64x48", 25, 0.5) +
                                                           QStringList{"-map", "0", "-map", "1"} + mpeg4 + pcm);
    ChangedFile moved(LongMovie("mkv"), movie);
    EXPECT_FALSE(moved.instance.HasPacket());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Video stream invalid or not found.")}));
}

TEST_F(MediaInstanceTest, ReportsStreamsWithoutDecoder)
{
    QString const movie = MakeMedia("codecs.mkv", Picture("64x48", 25, 0.4) + Tone(8000, 1, 0.4) + mpeg4 + pcm);
    Session silent(PatchMedia("unknown-sound.mkv", movie, "A_PCM/INT/LIT", "A_QCM/INT/LIT"));
    log.Take();
    EXPECT_FALSE(silent.instance.OpenInput());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to find audio stream (Decoder not found)")}));
    Session blind(PatchMedia("unknown-video.mkv", movie, "V_MPEG4/ISO/ASP", "V_MPEG9/ISO/ASP"));
    log.Take();
    EXPECT_FALSE(blind.instance.OpenInput());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to find video stream (Decoder not found)")}));
}

// Sound in a codec that supports only one channel.
TEST_F(MediaInstanceTest, ReportsAnAudioDecoderThatDoesNotOpenWithTheCode)
{
    QByteArray bytes = WavBytes(0x45, 2, 8000, 4, QByteArray(8192, 0x35));
    Session session(WriteMedia("g726-stereo.wav", bytes));
    ASSERT_TRUE(session.info->IsInitialized());
    std::vector<LogLine> const probed = log.Take();
    ASSERT_EQ(probed.size(), 1u);
    EXPECT_EQ(probed[0].message, "Failed to open audio codec.");
    EXPECT_LT(probed[0].code, 0);
    EXPECT_FALSE(session.instance.OpenInput());
    // FFmpeg 7 loses the channels of a stream that it could not open, and then finds no audio stream.
    auto const plain = OpenPlainly(session.info->GetFilePath());
    bool const isFound = av_find_best_stream(plain.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) >= 0;
    EXPECT_EQ(log.Take(),
              (std::vector<LogLine>{isFound ? ErrorLine("Failed to open audio decoder.", probed[0].code)
                                            : ErrorLine("Failed to find audio stream (Stream not found)")}));
}

TEST_F(MediaInstanceTest, ReportsAVideoDecoderThatDoesNotOpenWithoutTheCode)
{
    Session session(MovieWithUnusableVideo());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to open video codec.", invalidData)}));
    EXPECT_FALSE(session.instance.HasPacket());
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("Failed to open video decoder.", 0)}));
    EXPECT_EQ(session.instance.GetSampleRate(), 8000); // the audio stream was opened before
}

// Decoding

TEST_F(MediaInstanceTest, DecodesAWholeMovieAsFFmpegDoes)
{
    Session session(SoundingMovie());
    Decoded const decoded = DecodeAll(session.instance);
    ExpectPictures(decoded, ReferencePictures(SoundingMovie()));
    EXPECT_EQ(decoded.Marks(), 1);
    EXPECT_TRUE(IsEndMark(*decoded.pictures.last()));
    EXPECT_EQ(decoded.SampleFrames(), 8000);
    long long expectedStart = 0;
    for (auto const& sound : decoded.sounds) {
        EXPECT_NEAR(static_cast<double>(sound->startTime), static_cast<double>(expectedStart),
                    1000.0); // the file stores times rounded to milliseconds
        expectedStart = sound->endTime + 1;
    }
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, CountsPicturesFromTheFirstAndSoundFromTheContainersZero)
{
    QString const path =
        MakeMedia("late.ts", Picture("64x48", 25, 1) + Tone(48000, 2, 1) + h264 + QStringList{"-c:a", "mp2"});
    Session session(path);
    long long const start = session.info->GetStartTime();
    EXPECT_GT(start, 1000000); // FFmpeg's MPEG-TS muxer starts at 1.4 s
    Decoded const decoded = DecodeAll(session.instance);
    ExpectPictures(decoded, ReferencePictures(path, start));
    EXPECT_EQ(decoded.Starts().front(), 0);
    ReferenceInput input(path, AVMEDIA_TYPE_AUDIO);
    EXPECT_EQ(decoded.sounds.first()->startTime,
              static_cast<long long>(static_cast<double>(input.NextPacket()->pts) * input.TickUs()));
}

TEST_F(MediaInstanceTest, DeliversPicturesBeforeAStartThatWasHeldAtZero)
{
    Session session(
        MakeMedia("early.mkv", Picture("64x48", 25, 0.2) + mpeg4 +
                                   QStringList{"-avoid_negative_ts", "disabled", "-output_ts_offset", "-0.04"}));
    ASSERT_EQ(session.info->GetVideoStreams().first().startTime, 0);
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(-40000, 5));
}

TEST_F(MediaInstanceTest, DecodesThePacketInHandAndTheSoundThatFollows)
{
    Session session(SoundingMovie());
    ASSERT_TRUE(session.instance.HasPacket());
    std::vector<int> kinds; // stream indices of the file's packets, in order
    AVFormatContext* opened = nullptr;
    ASSERT_TRUE(MediaReader::OpenInput(session.info, &opened));
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    while (MediaReader::GetPacket(opened, packet.get())) {
        kinds.push_back(packet->stream_index);
        av_packet_unref(packet.get());
    }
    MediaReader::CloseInput(&opened);

    size_t at = 0;
    while (at < kinds.size()) {
        EXPECT_EQ(session.instance.IsAudioPacket(), kinds[at] == 1);
        long long sounds = kinds[at] == 1 ? 1 : 0;
        for (++at; at < kinds.size() && kinds[at] == 1; ++at)
            ++sounds;
        Decoded const decoded = session.Decode();
        EXPECT_EQ(decoded.sounds.size(), sounds);
        EXPECT_LE(decoded.pictures.size(), 1);
        EXPECT_TRUE(session.instance.HasPacket());
        EXPECT_FALSE(session.instance.IsAudioPacket());
    }
    EXPECT_TRUE(session.instance.IsEndOfFile()); // the current packet drains
    EXPECT_EQ(session.Decode().Marks(), 1);
    EXPECT_FALSE(session.instance.HasPacket());
}

TEST_F(MediaInstanceTest, PassesOverPacketsOfOtherStreams)
{
    Session session(MakeMedia("two-sounds.mkv", Picture("64x48", 25, 0.4) + Tone(8000, 2, 0.4) + Tone(8000, 1, 0.4) +
                                                    QStringList{"-map", "0", "-map", "1", "-map", "2"} + mpeg4 + pcm));
    Decoded const decoded = DecodeAll(session.instance);
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), 1);
    EXPECT_EQ(decoded.SampleFrames(), 3200);
    EXPECT_EQ(decoded.Starts().size(), 10u);
}

TEST_F(MediaInstanceTest, DecodesSoundWithoutVideo)
{
    Session session(SoundFile());
    Decoded const decoded = DecodeAll(session.instance);
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), -1);
    EXPECT_EQ(session.instance.GetActiveAudioStreamIndex(), 0);
    EXPECT_TRUE(decoded.pictures.isEmpty());
    int next = 0;
    for (auto const& sound : decoded.sounds) {
        EXPECT_EQ(sound->startTime, next * 125LL);
        for (int i = 0; i < sound->sampleCount; ++i)
            EXPECT_EQ(sound->samples[i], next++);
    }
    EXPECT_EQ(next, 8000);
}

// The Windows Media Audio decoder holds a frame back. The draining packet has no time, so that frame starts at 0.
TEST_F(MediaInstanceTest, DrainsTheSoundAtTheEndStampedFromZero)
{
    QString const path = MakeMedia("held.wma", Tone(8000, 1, 1) + QStringList{"-c:a", "wmav2"});
    ReferenceInput input(path, AVMEDIA_TYPE_AUDIO);
    long long samples = 0;
    int frames = 0;
    input.DecodeAll([&](AVFrame& frame) {
        samples += frame.nb_samples;
        ++frames;
    });
    Session session(path);
    Decoded decoded;
    ASSERT_TRUE(session.instance.HasPacket());
    while (!session.instance.IsEndOfFile())
        session.instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
    auto const before = decoded.sounds.size();
    EXPECT_GT(decoded.sounds.last()->startTime, 500000); // near the end: one of 1 s
    session.instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
    EXPECT_EQ(decoded.sounds.size(), frames);
    EXPECT_EQ(decoded.SampleFrames(), samples);
    if (decoded.sounds.size() > before) {
        EXPECT_EQ(decoded.sounds[before]->startTime, 0);
    }
}

// Frame threads hold packets back, and a hidden picture comes out with a shown one; no packet may get lost.
TEST_F(MediaInstanceTest, LosesNoPictureOfAStreamWithHiddenPictures)
{
    QString const path = MakeMedia("hidden.webm", Picture("64x48", 25, 2) +
                                                      QStringList{"-c:v", "libvpx-vp9", "-b:v", "100k", "-auto-alt-ref",
                                                                  "1", "-lag-in-frames", "16", "-threads", "1"});
    Session session(path);
    Decoded const decoded = DecodeAll(session.instance);
    ExpectPictures(decoded, ReferencePictures(path));
    EXPECT_EQ(decoded.Starts().size(), 50u);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, MarksPicturesOfAnotherSizeInOneStream)
{
    QStringList const intra = {"-c:v", "libx264", "-bf", "0", "-g", "1"};
    QByteArray const first = ReadMedia(MakeMedia("small.h264", Picture("64x48", 25, 0.4) + intra));
    QByteArray const second = ReadMedia(MakeMedia("large.h264", Picture("80x64", 25, 0.4) + intra));
    Session session(WriteMedia("changing.h264", first + second));
    Decoded decoded = DecodeAll(session.instance);
    for (int forced = 0; decoded.Marks() == 0 && forced < 100; ++forced) { // a record with status 1 ends the drain
        session.instance.PrepareNextPacket(true);
        session.instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
    }
    ASSERT_EQ(decoded.pictures.size(), 21);
    for (int i = 0; i < 20; ++i) {
        DecodedVideoFrame const& record = *decoded.pictures[i];
        EXPECT_EQ(record.status, i < 10 ? 0 : 1) << i;
        EXPECT_EQ(record.width, i < 10 ? 64 : 80) << i;
        EXPECT_EQ(record.height, i < 10 ? 48 : 64) << i;
        EXPECT_EQ(record.size, i < 10 ? 64 * 48 * 3 : 1) << i;
    }
    EXPECT_TRUE(IsEndMark(*decoded.pictures[20]));
}

TEST_F(MediaInstanceTest, HandsTheDescriptionsFlagsToThePictures)
{
    Session session(LongMovie("mov", {"-c:v", "png", "-pix_fmt", "rgb24", "-threads", "1"}));
    auto const plain = ReferencePictures(LongMovie("mov", {"-c:v", "png", "-pix_fmt", "rgb24", "-threads", "1"}));
    session.info->isLinearColorSpace = true;
    session.instance.HasPacket();
    Pictures pictures;
    Sounds sounds;
    while (pictures.isEmpty())
        session.instance.DecodePacket(sounds, pictures, -1);
    auto const expected = EncodeGammaPlainly(plain[0].bytes);
    EXPECT_TRUE(pictures[0]->isLinear);
    EXPECT_EQ(std::memcmp(pictures[0]->data, expected.data(), expected.size()), 0);
}

TEST_F(MediaInstanceTest, TakesTheRotationFromTheTag)
{
    auto const rotationOf = [](char const* value) {
        auto const info = Probed(LongMovie("mkv", mpeg4));
        AVFormatContext* context = nullptr;
        MediaReader::OpenInput(info, &context);
        av_dict_set(&context->streams[0]->metadata, "rotate", value, 0);
        MediaReader::ParseVideoProperties(info, context, 0);
        MediaReader::CloseInput(&context);
        MediaInstance instance;
        instance.Initialize(info, 0);
        instance.HasPacket();
        Decoded decoded;
        while (decoded.pictures.isEmpty())
            instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
        return decoded.pictures[0]->rotation;
    };
    EXPECT_EQ(rotationOf(nullptr), 0);
    EXPECT_EQ(rotationOf("90"), 90);
    EXPECT_EQ(rotationOf("270"), 270);
    EXPECT_EQ(rotationOf("-90"), -90);
    EXPECT_EQ(rotationOf("00180"), 180);
    EXPECT_EQ(rotationOf("90.0"), 0);
    EXPECT_EQ(rotationOf("0x5a"), 0);
    EXPECT_EQ(rotationOf("upright"), 0);
    EXPECT_EQ(rotationOf("99999999999"), 0);
}

TEST_F(MediaInstanceTest, LeavesATurnedPictureAsItIs)
{
    QString const upright = LongMovie("mov", mpeg4);
    QString const turned = WithTrackMatrix("turned.mov", upright, {0, 1, 0, -1, 0, 0, 48, 0, 1});
    Session session(turned);
    EXPECT_TRUE(session.info->IsVideoRotated());
    Decoded const decoded = DecodeAll(session.instance);
    ExpectPictures(decoded, ReferencePictures(upright));
    EXPECT_EQ(decoded.pictures.first()->rotation, 90);
}

TEST_F(MediaInstanceTest, ForwardsTheFrameRate)
{
    Session session(LongMovie("mkv"));
    session.instance.HasPacket();
    session.instance.SetDecoderFrameRate(50.0);
    EXPECT_EQ(DecodeAll(session.instance).pictures.first()->frameRate, 50.0);
}

// The end

TEST_F(MediaInstanceTest, DecodesWithoutThreadsOfItsOwnWhereOneIsTheMost)
{
    auto const threads = [] {
        std::filesystem::directory_iterator const all("/proc/self/task");
        return std::distance(begin(all), end(all));
    };
    auto const before = threads();
    auto const addedBy = [&](int most, int asked) {
        auto const info = Probed(LongMovie("mkv"));
        MediaInstance instance;
        instance.SetMostThreads(most);
        instance.SetFrameThreads(asked);
        EXPECT_TRUE(instance.Initialize(info, 0) && instance.HasPacket());
        return threads() - before;
    };
    EXPECT_EQ(addedBy(1, 0), 0);
    EXPECT_EQ(addedBy(3, 0), 3);
    EXPECT_EQ(addedBy(0, 5), 5);
    EXPECT_EQ(addedBy(1, 5), 0);
}

TEST_F(MediaInstanceTest, HasNothingMoreAfterTheEndUnlessForced)
{
    Session session(LongMovie("mkv"));
    EXPECT_EQ(DecodeAll(session.instance).Marks(), 1);
    EXPECT_TRUE(session.instance.IsEndOfFile());
    EXPECT_FALSE(session.instance.HasPacket());
    session.instance.PrepareNextPacket(false);
    EXPECT_FALSE(session.instance.HasPacket());
    for (int i = 0; i < 3; ++i) {
        session.instance.PrepareNextPacket(true);
        EXPECT_TRUE(session.instance.HasPacket());
        EXPECT_FALSE(session.instance.IsAudioPacket());
        Decoded const decoded = session.Decode();
        EXPECT_EQ(decoded.pictures.size(), 1);
        EXPECT_EQ(decoded.Marks(), 1); // each forced packet adds an end-of-stream record
        EXPECT_FALSE(session.instance.HasPacket());
    }
}

TEST_F(MediaInstanceTest, ReleasesThePacketInHandAtTheEnd)
{
    Session session(LongMovie("mkv"));
    session.instance.HasPacket();
    while (!session.instance.IsEndOfFile())
        session.instance.PrepareNextPacket(false);
    EXPECT_TRUE(session.instance.HasPacket());
    session.instance.PrepareNextPacket(false);
    EXPECT_FALSE(session.instance.HasPacket());
}

// A dropped picture ends the drain; the other pictures stay in the decoder until further packets are forced.
TEST_F(MediaInstanceTest, GoesOnDrainingWithForcedPackets)
{
    Session session(LongMovie("mkv"));
    Decoded decoded = DecodeAll(session.instance, 2920000 + 80000 - 40000); // keeps the last two
    int forced = 0;
    while (decoded.Marks() == 0) {
        ASSERT_LT(++forced, 100);
        session.instance.PrepareNextPacket(true);
        session.instance.DecodePacket(decoded.sounds, decoded.pictures, 2960000);
    }
    EXPECT_EQ(decoded.Starts(), EveryFrame(2880000, 3));
    EXPECT_GE(forced, 1);
    EXPECT_EQ(decoded.Marks(), 1);
}

TEST_F(MediaInstanceTest, LetsGoOfThePacketInHand)
{
    Session session(SoundingMovie());
    session.instance.HasPacket();
    session.instance.ClearPacket();
    EXPECT_FALSE(session.instance.HasPacket());
    EXPECT_FALSE(session.instance.IsAudioPacket());
    session.instance.PrepareNextPacket(false);
    EXPECT_TRUE(session.instance.HasPacket());
}

TEST_F(MediaInstanceTest, SkipsThePacketInHand)
{
    Session session(LongMovie("mkv", mpeg4));
    session.instance.HasPacket();
    for (int i = 0; i < 25; ++i)
        session.instance.PrepareNextPacket(false); // to the second key frame
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(1000000, 50));
}

// Seeks

TEST_F(MediaInstanceTest, LandsOnTheKeyFrameAtOrBeforeTheTarget)
{
    for (QString const& path : {LongMovie("mp4"), LongMovie("mov"), LongMovie("mkv"), LongMovie("mov", mpeg4),
                                LongMovie("webm", {"-c:v", "libvpx", "-b:v", "200k", "-g", "25", "-keyint_min", "25",
                                                   "-auto-alt-ref", "0"})}) {
        Session session(path);
        session.instance.HasPacket();
        long long const start = session.info->GetStartTime();
        for (long long const target : {2300000, 990000, 1000000, 1500000, 40000, 2000000, 0, 9000000}) {
            session.instance.Seek(target + start);
            Decoded decoded;
            for (int calls = 0; decoded.pictures.isEmpty() && calls < 100; ++calls)
                session.instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
            ASSERT_FALSE(decoded.pictures.isEmpty());
            EXPECT_EQ(decoded.pictures[0]->startTime, std::min(target / 1000000, 2LL) * 1000000)
                << path.toStdString() << " to " << target;
        }
    }
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, DropsWhatLiesTooFarBeforeTheTarget)
{
    Session session(LongMovie("mp4"));
    session.instance.Seek(1600000); // opens the input
    Decoded const decoded = DecodeAll(session.instance, 1600000);
    EXPECT_EQ(decoded.Starts(), EveryFrame(1520000, 37));
    EXPECT_EQ(decoded.Marks(), 1);
}

TEST_F(MediaInstanceTest, ForgetsWhatTheDecodersHeldWhenItSeeks)
{
    Session session(LongMovie("mkv"));
    session.instance.HasPacket();
    for (int i = 0; i < 40; ++i)
        session.Decode();
    session.instance.Seek(0);
    EXPECT_EQ(DecodeAll(session.instance).Starts(), EveryFrame(0, 75));
    session.instance.Seek(2000000); // from the end, with drained decoders
    EXPECT_FALSE(session.instance.IsEndOfFile());
    EXPECT_TRUE(session.instance.HasPacket());
    Decoded const decoded = DecodeAll(session.instance);
    EXPECT_EQ(decoded.Starts(), EveryFrame(2000000, 25));
    EXPECT_EQ(decoded.Marks(), 1);
}

TEST_F(MediaInstanceTest, SeeksSoundWithoutVideoInMicroseconds)
{
    Session session(SoundFile());
    session.instance.HasPacket();
    session.instance.Seek(500000);
    Decoded decoded = DecodeAll(session.instance);
    EXPECT_EQ(decoded.sounds.first()->startTime, 500000);
    EXPECT_EQ(decoded.sounds.first()->samples[0], 4000);
    EXPECT_EQ(decoded.SampleFrames(), 4000);
    session.instance.Seek(0);
    EXPECT_FALSE(session.instance.HasSeekFailed());
    decoded = DecodeAll(session.instance);
    EXPECT_EQ(decoded.sounds.first()->startTime, 0);
    EXPECT_EQ(decoded.SampleFrames(), 8000);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, ChangesNothingWhereASeekFails)
{
    QString const raw = MakeMedia("raw.h264", Picture("64x48", 25, 1) + QStringList{"-c:v", "libx264", "-bf", "0"});
    Session undisturbed(raw);
    Decoded const expected = DecodeAll(undisturbed.instance);
    ASSERT_EQ(expected.Starts().size(), 25u);

    Session session(raw);
    session.instance.HasPacket();
    Decoded decoded;
    for (int i = 0; i < 10; ++i)
        session.instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
    session.instance.Seek(0);
    session.instance.Seek(500000);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>(2, ErrorLine("Seek Failed.", -1))));
    EXPECT_TRUE(session.instance.HasSeekFailed());
    EXPECT_TRUE(session.instance.HasPacket());
    while (session.instance.HasPacket())
        session.instance.DecodePacket(decoded.sounds, decoded.pictures, -1);
    // At least the ten decoded packets and the current one; FFmpeg's position in the file after the failure is
    // undefined.
    ASSERT_GE(decoded.Starts().size(), 11u);
    for (int i = 0; i < 11; ++i)
        EXPECT_EQ(std::memcmp(decoded.pictures[i]->data, expected.pictures[i]->data, 64 * 48 * 3), 0);
}

// Images

TEST_F(MediaInstanceTest, DecodesAnImageWithoutTheMark)
{
    Session session(StillImage(), /*isImage=*/true);
    Decoded const decoded = DecodeAll(session.instance);
    ASSERT_EQ(decoded.pictures.size(), 1);
    ExpectPictures(decoded, ReferencePictures(StillImage()));
    EXPECT_EQ(session.instance.GetActiveVideoStreamIndex(), 0);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, ReopensAnImageInsteadOfSeeking)
{
    Session session(StillImage(), /*isImage=*/true);
    for (long long const target : {0, 5000000, -1, 40000}) {
        session.instance.Seek(target);
        EXPECT_TRUE(session.instance.HasPacket());
        EXPECT_FALSE(session.instance.IsEndOfFile());
        EXPECT_EQ(DecodeAll(session.instance).pictures.size(), 1);
        EXPECT_FALSE(session.instance.HasPacket());
    }
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(MediaInstanceTest, ReportsAnImageThatCannotBeReopened)
{
    QTemporaryDir const folder;
    QString const path = folder.filePath("still.png");
    QFile::copy(StillImage(), path);
    Session session(path, /*isImage=*/true);
    session.instance.HasPacket();
    QFile::remove(path);
    session.instance.Seek(0);
    EXPECT_EQ(log.Take(), (std::vector<LogLine>{ErrorLine("File not found: " + path)}));
    EXPECT_FALSE(session.instance.HasPacket());
}

// Comparing and flags

TEST_F(MediaInstanceTest, MatchesSoundOfTheSameKind)
{
    auto const opened = [](QString const& path) {
        auto instance = std::make_shared<MediaInstance>();
        auto const info = Probed(path);
        instance->Initialize(info, 0);
        instance->OpenInput();
        return instance;
    };
    auto const wav = [](int channels, int rate, int bits) {
        return WriteMedia("kind.wav", WavBytes(1, channels, rate, bits, QByteArray(48000, 0)));
    };
    auto const stereo = opened(wav(2, 8000, 16));
    EXPECT_TRUE(stereo->IsAudioMatched(stereo));
    EXPECT_FALSE(stereo->IsAudioMatched(nullptr));
    EXPECT_FALSE(stereo->IsAudioMatched(opened(wav(1, 8000, 16))));
    EXPECT_FALSE(stereo->IsAudioMatched(opened(wav(2, 16000, 16))));
    EXPECT_FALSE(stereo->IsAudioMatched(opened(wav(2, 8000, 8))));
    auto const planar =
        opened(MakeMedia("planar.mka", Tone(8000, 2, 0.4) + QStringList{"-c:a", "wavpack", "-sample_fmt", "s16p"}));
    ASSERT_EQ(planar->GetBytesPerSample(), 2);
    EXPECT_FALSE(stereo->IsAudioMatched(planar));
    auto const six = opened(wav(6, 8000, 16));
    EXPECT_FALSE(stereo->IsAudioMatched(six));
    OutputChannels const two(2);
    EXPECT_TRUE(stereo->IsAudioMatched(six)); // both play as two channels
    EXPECT_TRUE(six->IsAudioMatched(stereo));
}

TEST_F(MediaInstanceTest, AsksForLargeSeekOffsetsInMpeg1Video)
{
    QStringList const small = {"-b:v", "200k", "-threads", "1"};
    EXPECT_TRUE(Session(MakeMedia("one.mpg", Picture("64x48", 25, 0.4) + QStringList{"-c:v", "mpeg1video"} + small))
                    .instance.RequiresLargeSeekOffset());
    EXPECT_FALSE(Session(MakeMedia("two.mpg", Picture("64x48", 25, 0.4) + QStringList{"-c:v", "mpeg2video"} + small))
                     .instance.RequiresLargeSeekOffset());
    EXPECT_TRUE(
        Session(MakeMedia("second.mkv",
                          Picture("128x96", 25, 0.4) + Picture("64x48", 25, 0.4) +
                              QStringList{"-map", "0", "-map", "1", "-c:v:0", "mpeg4", "-c:v:1", "mpeg1video"} + small))
            .instance.RequiresLargeSeekOffset());
}

// Damage

TEST_F(MediaInstanceTest, GoesOnAfterADamagedPicture)
{
    QString const movie = LongMovie("mov", {"-c:v", "png", "-pix_fmt", "rgb24", "-threads", "1"});
    QByteArray bytes = ReadMedia(movie);
    int place = 0;
    for (int i = 0; i < 30; ++i)
        place = static_cast<int>(bytes.indexOf("\x89PNG", place + 1));
    ASSERT_GT(place, 0);
    bytes.replace(place, 60, QByteArray(60, 0x55));
    Session session(WriteMedia("damaged.mov", bytes));
    EXPECT_EQ(DecodeAll(session.instance).Starts().size(), 74u);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{badVideoPacket}));
}

TEST_F(MediaInstanceTest, EndsSanelyWhereverAFileIsCut)
{
    QByteArray const whole = ReadMedia(SoundingMovie());
    for (int part = 1; part < 16; ++part) {
        Session session(WriteMedia("cut.mkv", whole.left(whole.size() * part / 16)));
        Decoded const decoded = DecodeAll(session.instance);
        EXPECT_LE(decoded.Starts().size(), 25u);
        EXPECT_LE(decoded.SampleFrames(), 8000);
    }
}

TEST_F(MediaInstanceTest, LeavesOutPicturesForWhoReadsSoundAlone)
{
    OutputChannels const channels(8);
    Session session(
        MakeMedia("sounding.mp4", Picture("64x48", 25, 20) + Tone(8000, 1, 20) + h264 + QStringList{"-c:a", "aac"}));
    session.instance.LeaveOutPictures(); // not open yet: no effect
    ASSERT_TRUE(session.instance.HasPacket());
    session.instance.LeaveOutPictures();
    int sounds = 0;
    long long lastPicture = -1; // packets read while opening still come
    for (; session.instance.HasPacket() && !session.instance.IsEndOfFile(); session.instance.PrepareNextPacket(false)) {
        sounds += session.instance.IsAudioPacket() ? 1 : 0;
        if (session.instance.IsVideoPacket())
            lastPicture = session.instance.GetPacketTime();
    }
    EXPECT_GE(sounds, 156);          // 20 s of 8000 / 1024 AAC frames a second
    EXPECT_LT(lastPicture, 5000000); // microseconds, as far as FFmpeg probes
}
