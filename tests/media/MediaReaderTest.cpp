#include "media/MediaReader.h"

#include "media/AvGlobals.h"
#include "media/FfmpegBridge.h"
#include "media/FfmpegPtr.h"
#include "media/MediaInfo.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr int invalidData = -1094995529; // AVERROR_INVALIDDATA

QStringList const mpeg4 = {"-c:v", "mpeg4", "-bf", "0", "-threads", "1"};
QStringList const pcm = {"-c:a", "pcm_s16le"};

QString MpegMovie()
{
    return MakeMedia("movie.mkv", Picture("64x48", 25, 1) + mpeg4);
}

// Ten seconds and half a picture: the sound is longer than the video.
QString MovieOf250Pictures()
{
    return MakeMedia("movie.mov", Picture("64x48", 25, 10) + Tone(8000, 1, 10.02) + mpeg4 + pcm);
}

QString MovieWithSound()
{
    return MakeMedia("sounding.mkv", Picture("64x48", 25, 0.4) + Tone(8000, 1, 0.4) + mpeg4 + pcm);
}

QString MovieWithUnknownVideo()
{
    return PatchMedia("unknown-video.mkv", MovieWithSound(), "V_MPEG4/ISO/ASP", "V_MPEG9/ISO/ASP");
}

QString MovieWithUnknownSound()
{
    return PatchMedia("unknown-sound.mkv", MovieWithSound(), "A_PCM/INT/LIT", "A_QCM/INT/LIT");
}

// A movie whose video has three bits per pixel, which its decoder refuses to open.
QString MovieWithUnusableVideo()
{
    QString const movie =
        MakeMedia("animation.mov", Picture("64x48", 25, 0.4) + Tone(8000, 1, 0.4) + QStringList{"-c:v", "qtrle"} + pcm);
    return PatchMedia("unusable.mov", movie, QByteArray("\0\x18\xff\xff", 4), QByteArray("\0\x03\xff\xff", 4));
}

// A probed movie whose stream 0 can be changed before its properties are parsed again.
class Reread
{
public:
    explicit Reread(QString const& path) : info(Probed(path))
    {
        AVFormatContext* opened = nullptr;
        if (MediaReader::OpenInput(info, &opened))
            avformat_find_stream_info(opened, nullptr);
        context.reset(opened);
    }

    AVStream& Stream(unsigned index = 0) { return *context->streams[index]; }
    bool ReadVideo() { return MediaReader::ParseVideoProperties(info, context.get(), 0); }
    bool ReadAudio() { return MediaReader::ParseAudioProperties(info, context.get(), 0); }
    VideoStream const& Video() const { return info->GetVideoStreams().last(); }
    AudioStream const& Audio() const { return info->GetAudioStreams().last(); }

    std::shared_ptr<MediaInfo> info;
    FfmpegPtr<AVFormatContext> context;
};

// The first video record of a movie of 10.02 s with these rates and this stored number of pictures.
VideoStream VideoWith(AVRational average, AVRational real, int64_t pictures = 0)
{
    Reread reread(MovieOf250Pictures());
    reread.Stream().avg_frame_rate = average;
    reread.Stream().r_frame_rate = real;
    reread.Stream().nb_frames = pictures;
    reread.ReadVideo();
    return reread.Video();
}

VideoStream VideoAt(int numerator, int denominator)
{
    return VideoWith({numerator, denominator}, {0, 0});
}

// A transport stream of stuffing only.
QByteArray Stuffing()
{
    return (QByteArray("\x47\x1f\xff\x10", 4) + QByteArray(184, '\xff')).repeated(50);
}

// Whether a stream of this rate leaves the record at the 25 pictures per second of the first probe.
bool LeavesTheTimingAlone(int numerator, int denominator)
{
    VideoStream const record = VideoAt(numerator, denominator);
    return record.valid && record.frameRate == 25.0 && record.frameStep == 40000 && record.numFrames == 250;
}

// A movie in a codec without an aspect ratio of its own.
float AspectRatioOf(AVRational ratio)
{
    Reread reread(MakeMedia("uncompressed.avi", Picture("64x48", 25, 0.2) + QStringList{"-c:v", "rawvideo"}));
    reread.Stream().codecpar->sample_aspect_ratio = ratio;
    reread.ReadVideo();
    return reread.Video().pixelAspectRatio;
}

// The "rotate" tag that a QuickTime movie gets from its track's matrix; null without one.
QString RotateTagOf(std::vector<double> const& matrix)
{
    QString const movie = MakeMedia("upright.mov", Picture("64x48", 25, 0.2) + mpeg4);
    auto const info = Probed(WithTrackMatrix("turned.mov", movie, matrix));
    return info->GetVideoStreams().first().metadata.value("rotate");
}

int CountPackets(QString const& path)
{
    AVFormatContext* opened = nullptr;
    avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr);
    FfmpegPtr<AVFormatContext> const context(opened);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    int count = 0;
    for (; av_read_frame(opened, packet.get()) >= 0; ++count)
        av_packet_unref(packet.get());
    return count;
}

long long FirstPictureUs(QString const& path)
{
    ReferenceInput input(path, AVMEDIA_TYPE_VIDEO);
    std::vector<long long> times;
    double const tick = input.TickUs();
    input.DecodeAll([&](AVFrame& frame) {
        times.push_back(static_cast<long long>(static_cast<double>(frame.best_effort_timestamp) * tick));
    });
    return times.at(0);
}

long long FirstPacketUs(QString const& path)
{
    AVFormatContext* opened = nullptr;
    avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr);
    FfmpegPtr<AVFormatContext> const context(opened);
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    av_read_frame(opened, packet.get());
    return av_rescale_q(packet->pts, opened->streams[packet->stream_index]->time_base, {1, AV_TIME_BASE});
}

} // namespace

// Opening

TEST(MediaReaderTest, ReportsAMissingFileWithItsAbsolutePath)
{
    LogCapture log;
    auto const info = std::make_shared<MediaInfo>("no/such/movie.mov");
    EXPECT_FALSE(MediaReader::ParseMedia(info));
    EXPECT_FALSE(info->IsInitialized());
    EXPECT_EQ(info->GetNumAudioStreams(), 0);
    EXPECT_EQ(info->GetNumVideoStreams(), 0);
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{ErrorLine("File not found: " + QDir::current().filePath("no/such/movie.mov"))}));
}

TEST(MediaReaderTest, ReportsAFileThatIsNoMediaWithTheCode)
{
    LogCapture log;
    QString const path = WriteMedia("letter.txt", "Dear reader, this is no movie.\n");
    auto const info = std::make_shared<MediaInfo>(path);
    EXPECT_FALSE(MediaReader::ParseMedia(info));
    EXPECT_FALSE(info->IsInitialized());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Failed to open input for parsing: " + path, invalidData)}));
}

TEST(MediaReaderTest, LeavesNoContextWhereOpeningFails)
{
    LogCapture log;
    AVFormatContext* context = nullptr;
    EXPECT_FALSE(MediaReader::OpenInput(std::make_shared<MediaInfo>("missing.mov"), &context));
    EXPECT_EQ(context, nullptr);
    QString const empty = WriteMedia("empty.mov", QByteArray());
    EXPECT_FALSE(MediaReader::OpenInput(std::make_shared<MediaInfo>(empty), &context));
    EXPECT_EQ(context, nullptr);
    ASSERT_EQ(log.Lines().size(), 2u);
    EXPECT_EQ(log.Lines()[1].message, "Failed to open input for parsing: " + empty);
    EXPECT_LT(log.Lines()[1].code, 0);
}

TEST(MediaReaderTest, OpensPathsOfEveryScript)
{
    LogCapture log;
    QTemporaryDir const folder;
    QString const path = folder.filePath(QString::fromUtf8("Filmé 映画 100% %1.mkv"));
    ASSERT_TRUE(QFile::copy(MpegMovie(), path));
    EXPECT_TRUE(MediaReader::ParseMedia(std::make_shared<MediaInfo>(path)));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(MediaReaderTest, OpensARelativePath)
{
    QString const relative = QDir::current().relativeFilePath(MpegMovie());
    ASSERT_TRUE(QFileInfo(relative).isRelative());
    EXPECT_TRUE(Probed(relative)->IsInitialized());
}

TEST(MediaReaderTest, ReportsMissingStreamInformationWithTheBareFileName)
{
    LogCapture log;
    QString const path = WriteMedia("stuffing.ts", Stuffing());
    auto const info = std::make_shared<MediaInfo>(path);
    EXPECT_FALSE(MediaReader::ParseMedia(info));
    EXPECT_FALSE(info->IsInitialized());
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{ErrorLine("Failed to find stream information for \"stuffing.ts\"", AVERROR_EOF)}));
}

TEST(MediaReaderTest, ClosesAFileBeforeItReportsItsMissingStreamInformation)
{
    QString const path = WriteMedia("stuffing.ts", Stuffing());
    int reports = 0;
    int openFiles = -1;
    Logger::GetInstance().SetSink([&](Logger::Level, QString const&, int) {
        ++reports;
        openFiles = 0;
        for (QFileInfo const& file : QDir("/proc/self/fd").entryInfoList(QDir::Files | QDir::System))
            openFiles += file.symLinkTarget() == QFileInfo(path).canonicalFilePath() ? 1 : 0;
    });
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    MediaReader::ParseMedia(std::make_shared<MediaInfo>(path));
    Logger::GetInstance().SetSink({});
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(openFiles, 1); // the test's own file
}

TEST(MediaReaderTest, SaysNothingAboutAGoodFile)
{
    LogCapture log;
    EXPECT_TRUE(Probed(MovieWithSound())->IsInitialized());
    EXPECT_TRUE(log.Lines().empty());
}

TEST(MediaReaderTest, RebuildsTheStreamsWhenProbedAgain)
{
    auto const info = Probed(MovieWithSound());
    EXPECT_TRUE(MediaReader::ParseMedia(info));
    EXPECT_EQ(info->GetNumVideoStreams(), 1);
    EXPECT_EQ(info->GetNumAudioStreams(), 1);
    EXPECT_TRUE(info->IsInitialized());
}

TEST(MediaReaderTest, TakesBackADescriptionWhoseFileIsGone)
{
    LogCapture log;
    QTemporaryDir const folder;
    QString const path = folder.filePath("movie.mkv");
    ASSERT_TRUE(QFile::copy(MovieWithSound(), path));
    auto const info = Probed(path);
    ASSERT_TRUE(info->IsInitialized());
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_FALSE(MediaReader::ParseMedia(info));
    EXPECT_FALSE(info->IsInitialized());
    EXPECT_EQ(info->GetNumVideoStreams(), 0);
    EXPECT_EQ(info->GetNumAudioStreams(), 0);
}

// Packets

TEST(MediaReaderTest, ReadsNothingIntoNoPacket)
{
    AVFormatContext* context = nullptr;
    ASSERT_TRUE(MediaReader::OpenInput(std::make_shared<MediaInfo>(MpegMovie()), &context));
    EXPECT_FALSE(MediaReader::GetPacket(context, nullptr));
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    EXPECT_TRUE(MediaReader::GetPacket(context, packet.get()));
    EXPECT_EQ(packet->pts, 0); // still the first packet
    MediaReader::CloseInput(&context);
    EXPECT_EQ(context, nullptr);
}

TEST(MediaReaderTest, EndsWithAnEmptyPacketOfNoStreamAndNoTime)
{
    AVFormatContext* context = nullptr;
    ASSERT_TRUE(MediaReader::OpenInput(std::make_shared<MediaInfo>(MpegMovie()), &context));
    FfmpegPtr<AVPacket> const packet(av_packet_alloc());
    int packets = 0;
    while (MediaReader::GetPacket(context, packet.get())) {
        EXPECT_EQ(packet->stream_index, 0);
        EXPECT_GT(packet->size, 0);
        ++packets;
        av_packet_unref(packet.get());
    }
    EXPECT_EQ(packets, 25);
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(packet->data, nullptr);
        EXPECT_EQ(packet->size, 0);
        EXPECT_EQ(packet->stream_index, -1);
        EXPECT_EQ(packet->pts, AV_NOPTS_VALUE);
        EXPECT_FALSE(MediaReader::GetPacket(context, packet.get()));
    }
    MediaReader::CloseInput(&context);
}

// Tags

TEST(MediaReaderTest, CopiesTagsWithTheirKeysAsTheyStand)
{
    AVDictionary* dictionary = nullptr;
    av_dict_set(&dictionary, "Title", "Ein Gru\xc3\x9f", 0);
    av_dict_set(&dictionary, "caf\xe9", "\xe6\x98\xa0", 0); // the key is Latin-1, the value UTF-8
    av_dict_set(&dictionary, "empty", "", 0);
    QMap<QString, QString> metadata;
    metadata["Title"] = "old";
    metadata["kept"] = "yes";
    metadata["title"] = "another key";
    MediaReader::ParseMetadata(dictionary, metadata);
    av_dict_free(&dictionary);
    QMap<QString, QString> expected;
    expected["Title"] = QString::fromUtf8("Ein Gruß");
    expected[QString("caf") + QChar(0xe9)] = QString(QChar(0x6620));
    expected["empty"] = "";
    expected["kept"] = "yes";
    expected["title"] = "another key";
    EXPECT_EQ(metadata, expected);
}

TEST(MediaReaderTest, CopiesNoTagsFromNothing)
{
    QMap<QString, QString> metadata;
    metadata["kept"] = "yes";
    MediaReader::ParseMetadata(nullptr, metadata);
    EXPECT_EQ(metadata.size(), 1);
    EXPECT_EQ(metadata.value("kept"), "yes");
}

TEST(MediaReaderTest, TakesTheTagsOfEachStream)
{
    auto const info = Probed(
        MakeMedia("tagged.mkv", Picture("64x48", 25, 0.4) + Tone(8000, 1, 0.4) + mpeg4 + pcm +
                                    QStringList{"-metadata:s:v:0", "title=Picture", "-metadata:s:a:0", "title=Sound"}));
    EXPECT_EQ(info->GetVideoStreams().first().metadata.value("title"), "Picture");
    EXPECT_EQ(info->GetAudioStreams().first().metadata.value("title"), "Sound");
}

// Streams

TEST(MediaReaderTest, FillsTheRecordOfAVideoStream)
{
    auto const info = Probed(MpegMovie());
    ASSERT_EQ(info->GetNumVideoStreams(), 1);
    VideoStream const& record = info->GetVideoStreams().first();
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.streamIndex, 0);
    EXPECT_EQ(record.codecName, "mpeg4");
    EXPECT_EQ(record.width, 64);
    EXPECT_EQ(record.height, 48);
    EXPECT_EQ(record.pixelAspectRatio, 1.0f);
    EXPECT_EQ(record.startTime, 0);
    EXPECT_EQ(record.frameStep, 40000);
    EXPECT_EQ(record.frameRate, 25.0);
    EXPECT_EQ(record.numFrames, 25);
    EXPECT_EQ(info->GetDuration(), 1000000);
}

TEST(MediaReaderTest, FillsTheRecordOfAPackedSound)
{
    auto const info = Probed(WriteMedia("u8.wav", WavBytes(1, 1, 11025, 8, QByteArray(11025, 0x40))));
    ASSERT_EQ(info->GetNumAudioStreams(), 1);
    AudioStream const& record = info->GetAudioStreams().first();
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.streamIndex, 0);
    EXPECT_EQ(record.codecName, "pcm_u8");
    EXPECT_EQ(record.channels, 1);
    EXPECT_EQ(record.channelLayout, 4u); // the file states none: the default for one channel, front centre
    EXPECT_FALSE(record.isPlanar);
    EXPECT_EQ(record.bytesPerSample, 1);
    EXPECT_EQ(record.sampleRate, 11025);
    EXPECT_EQ(record.sampleFormat, AV_SAMPLE_FMT_U8);
    EXPECT_EQ(record.hostData, 0);
    EXPECT_EQ(info->GetDuration(), 1000000);
}

TEST(MediaReaderTest, FillsTheRecordOfAPlanarSound)
{
    auto const info = Probed(MakeMedia("planar.m4a", Tone(48000, 6, 0.2) + QStringList{"-c:a", "aac"}));
    AudioStream const& record = info->GetAudioStreams().first();
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.codecName, "aac");
    EXPECT_EQ(record.channels, 6);
    EXPECT_EQ(record.channelLayout, 0x3fu); // 5.1, by the file
    EXPECT_TRUE(record.isPlanar);
    EXPECT_EQ(record.bytesPerSample, 4);
    EXPECT_EQ(record.sampleRate, 48000);
    EXPECT_EQ(record.sampleFormat, AV_SAMPLE_FMT_FLTP);
}

TEST(MediaReaderTest, HasNoLayoutForAChannelCountWithoutDefault)
{
    auto const info = Probed(WriteMedia("nine.wav", WavBytes(1, 9, 8000, 16, QByteArray(18 * 800, 0))));
    AudioStream const& record = info->GetAudioStreams().first();
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.channels, 9);
    EXPECT_EQ(record.channelLayout, 0u);
}

TEST(MediaReaderTest, StatesTheDelayOfADecoderWithFFmpegsChoiceOfThreads)
{
    QString const path =
        MakeMedia("b-frames.mkv", Picture("64x48", 25, 1) + QStringList{"-c:v", "libx264", "-bf", "2"});
    ReferenceInput const input(path, AVMEDIA_TYPE_VIDEO);
    FfmpegPtr<AVCodecContext> const context(avcodec_alloc_context3(nullptr));
    avcodec_parameters_to_context(context.get(), input.Format()->streams[0]->codecpar);
    context->thread_count = 0;
    ASSERT_GE(avcodec_open2(context.get(), avcodec_find_decoder(context->codec_id), nullptr), 0);
    EXPECT_EQ(Probed(path)->GetVideoStreams().first().codecDelay, context->delay);
}

TEST(MediaReaderTest, PassesOverStreamsThatAreNeitherSoundNorVideo)
{
    QString const subtitles = WriteMedia("words.srt", "1\n00:00:00,000 --> 00:00:00,400\nWords\n\n");
    auto const info = Probed(MakeMedia("subtitle-between.mkv",
                                       Tone(8000, 1, 0.4) + QStringList{"-i", subtitles} + Tone(8000, 2, 0.4) +
                                           QStringList{"-map", "0", "-map", "1", "-map", "2", "-c:s", "subrip"} + pcm));
    ASSERT_EQ(info->GetNumAudioStreams(), 2);
    EXPECT_EQ(info->GetAudioStreams()[0].streamIndex, 0);
    EXPECT_EQ(info->GetAudioStreams()[0].channels, 1);
    EXPECT_EQ(info->GetAudioStreams()[1].streamIndex, 2);
    EXPECT_EQ(info->GetAudioStreams()[1].channels, 2);
    EXPECT_EQ(info->GetNumVideoStreams(), 0);
}

TEST(MediaReaderTest, KeepsARecordThatIsNotValidForVideoWithoutDecoder)
{
    LogCapture log;
    auto const info = Probed(MovieWithUnknownVideo());
    EXPECT_TRUE(info->IsInitialized());
    ASSERT_EQ(info->GetNumVideoStreams(), 1);
    EXPECT_FALSE(info->GetVideoStreams().first().valid);
    EXPECT_EQ(info->GetVideoStreams().first().streamIndex, -1);
    EXPECT_TRUE(info->GetVideoStreams().first().codecName.isEmpty());
    ASSERT_EQ(info->GetNumAudioStreams(), 1);
    EXPECT_TRUE(info->GetAudioStreams().first().valid);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Video decoder not found.")}));
}

TEST(MediaReaderTest, KeepsARecordThatIsNotValidForSoundWithoutDecoder)
{
    LogCapture log;
    auto const info = Probed(MovieWithUnknownSound());
    EXPECT_TRUE(info->IsInitialized());
    ASSERT_EQ(info->GetNumAudioStreams(), 1);
    EXPECT_FALSE(info->GetAudioStreams().first().valid);
    EXPECT_EQ(info->GetAudioStreams().first().streamIndex, -1);
    ASSERT_EQ(info->GetNumVideoStreams(), 1);
    EXPECT_TRUE(info->GetVideoStreams().first().valid);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Audio decoder not found.")}));
}

TEST(MediaReaderTest, ReportsAVideoDecoderThatWillNotOpen)
{
    LogCapture log;
    auto const info = Probed(MovieWithUnusableVideo());
    EXPECT_TRUE(info->IsInitialized());
    EXPECT_FALSE(info->GetVideoStreams().first().valid);
    EXPECT_TRUE(info->GetAudioStreams().first().valid);
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Failed to open video codec.", invalidData)}));
}

TEST(MediaReaderTest, ReportsAnAudioDecoderThatWillNotOpen)
{
    LogCapture log;
    AVCodecContext* const probe = avcodec_alloc_context3(nullptr);
    Reread sound(WriteMedia("sound.wav", WavBytes(1, 1, 8000, 16, QByteArray(1600, 0))));
    sound.Stream().codecpar->codec_id = AV_CODEC_ID_ADPCM_G726;
    sound.Stream().codecpar->bits_per_coded_sample = 16; // two to five are possible
    sound.Stream().codecpar->sample_rate = -1;
    avcodec_parameters_to_context(probe, sound.Stream().codecpar);
    AVCodecContext* opened = probe;
    int const code = avcodec_open2(probe, avcodec_find_decoder(AV_CODEC_ID_ADPCM_G726), nullptr);
    avcodec_free_context(&opened);
    ASSERT_LT(code, 0);
    EXPECT_FALSE(sound.ReadAudio());
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Failed to open audio codec.", code)}));
}

TEST(MediaReaderTest, FillsNoRecordWhereTheListHasNone)
{
    LogCapture log;
    Reread movie(MovieWithSound());
    auto const empty = std::make_shared<MediaInfo>(MovieWithSound());
    EXPECT_FALSE(MediaReader::ParseVideoProperties(empty, movie.context.get(), 0));
    EXPECT_FALSE(MediaReader::ParseAudioProperties(empty, movie.context.get(), 1));
    EXPECT_EQ(empty->GetNumVideoStreams(), 0);
    EXPECT_EQ(empty->GetNumAudioStreams(), 0);
    EXPECT_TRUE(log.Lines().empty());
}

// Codec parameters whose extradata cannot be allocated.
TEST(MediaReaderTest, ReportsParametersThatCannotBeCopied)
{
    LogCapture log;
    for (bool const isVideo : {true, false}) {
        Reread reread(isVideo ? MpegMovie() : WriteMedia("s.wav", WavBytes(1, 1, 8000, 16, QByteArray(1600, 0))));
        AVCodecParameters& parameters = *reread.Stream().codecpar;
        int const size = parameters.extradata_size;
        if (!parameters.extradata)
            parameters.extradata = static_cast<uint8_t*>(av_mallocz(64));
        parameters.extradata_size = INT_MAX;
        EXPECT_FALSE(isVideo ? reread.ReadVideo() : reread.ReadAudio());
        parameters.extradata_size = size;
    }
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Failed to get video codec context."),
                                                 ErrorLine("Failed to get audio codec.")}));
}

TEST(MediaReaderTest, TakesThePixelAspectRatioInSinglePrecision)
{
    EXPECT_EQ(AspectRatioOf({4, 3}), static_cast<float>(4.0 / 3.0));
    EXPECT_EQ(AspectRatioOf({59, 54}), static_cast<float>(59.0 / 54.0));
    EXPECT_EQ(AspectRatioOf({7, 10}), 0.7f);
}

TEST(MediaReaderTest, TakesPixelsAsSquareWhereTheRatioIsNotPositive)
{
    EXPECT_EQ(AspectRatioOf({0, 0}), 1.0f);
    EXPECT_EQ(AspectRatioOf({4, 0}), 1.0f);
    EXPECT_EQ(AspectRatioOf({0, 1}), 1.0f);
    EXPECT_EQ(AspectRatioOf({-4, 3}), 1.0f);
}

// Durations and rates

TEST(MediaReaderTest, KeepsTheTimingsDefaultsWithoutADuration)
{
    QString const raw = MakeMedia("raw.h264", Picture("64x48", 25, 0.4) + QStringList{"-c:v", "libx264", "-bf", "0"});
    auto const info = Probed(raw);
    ASSERT_TRUE(info->IsInitialized());
    EXPECT_EQ(info->GetDuration(), -1);
    VideoStream const& record = info->GetVideoStreams().first();
    EXPECT_TRUE(record.valid);
    EXPECT_EQ(record.frameRate, 0.0);
    EXPECT_EQ(record.frameStep, 0);
    EXPECT_EQ(record.numFrames, 0);
}

TEST(MediaReaderTest, CountsAPartialLastPictureUnlessTheStreamCountsOneLess)
{
    auto const info = Probed(MovieOf250Pictures());
    EXPECT_EQ(info->GetDuration(), 10020000);
    EXPECT_EQ(info->GetFrameStep(), 40000);
    EXPECT_EQ(info->GetNumFrames(), 250); // 250.5, rounded up to 251, but the stream stores 250
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 0).numFrames, 251);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 250).numFrames, 250);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 252).numFrames, 252);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 251).numFrames, 251);
}

TEST(MediaReaderTest, OverrulesAStreamsCountThatIsFurtherOff)
{
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 248).numFrames, 251);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 249).numFrames, 251);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 253).numFrames, 251);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, -250).numFrames, 251);
    auto const info = Probed(MakeMedia("248.mov", Picture("64x48", 25, 9.92) + Tone(8000, 1, 10.02) + mpeg4 + pcm));
    EXPECT_EQ(info->GetDuration(), 10020000);
    EXPECT_EQ(info->GetNumFrames(), 251);
}

// The difference is computed in the low 32 bits, so this count passes as one less.
TEST(MediaReaderTest, ComparesTheCountsIn32Bits)
{
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 4294967296 + 250).numFrames, 4294967546);
    EXPECT_EQ(VideoWith({25, 1}, {25, 1}, 4294967296 + 248).numFrames, 251);
}

TEST(MediaReaderTest, CountsAWholeNumberOfPicturesExactly)
{
    auto const info = Probed(MpegMovie()); // 1 s; the stream stores no count
    EXPECT_EQ(info->GetNumFrames(), 25);
}

TEST(MediaReaderTest, RoundsTheRateToThreeDecimalsAndCutsTheStep)
{
    EXPECT_EQ(VideoAt(30000, 1001).frameRate, 29.97);
    EXPECT_EQ(VideoAt(30000, 1001).frameStep, 33366);
    EXPECT_EQ(VideoAt(24000, 1001).frameRate, 23.976);
    EXPECT_EQ(VideoAt(24000, 1001).frameStep, 41708);
    EXPECT_EQ(VideoAt(60000, 1001).frameRate, 59.94);
    EXPECT_EQ(VideoAt(60000, 1001).frameStep, 16683);
    EXPECT_EQ(VideoAt(20, 3).frameRate, 6.667); // 6.6667
    EXPECT_EQ(VideoAt(20, 3).frameStep, 149992);
    EXPECT_EQ(VideoAt(25, 1).frameStep, 40000);
    EXPECT_EQ(VideoAt(750000, 71393).frameRate, 10.505);
}

TEST(MediaReaderTest, FallsBackToTheRealRateWithoutAnAverage)
{
    EXPECT_EQ(VideoWith({0, 1}, {50, 1}).frameRate, 50.0);
    EXPECT_EQ(VideoWith({0, 0}, {50, 1}).frameRate, 50.0);
    EXPECT_EQ(VideoWith({25, 1}, {50, 1}).frameRate, 25.0);
}

TEST(MediaReaderTest, LeavesTheTimingAloneWithoutAUsableRate)
{
    EXPECT_TRUE(LeavesTheTimingAlone(0, 0));
    EXPECT_TRUE(LeavesTheTimingAlone(25, 0));
    EXPECT_TRUE(LeavesTheTimingAlone(-25, 1));
    EXPECT_TRUE(LeavesTheTimingAlone(1, 10000));   // 0.000 at three decimals
    EXPECT_TRUE(LeavesTheTimingAlone(2000000, 1)); // a step of 0
    EXPECT_TRUE(LeavesTheTimingAlone(INT_MAX, 1)); // beyond 32 bits in thousandths
    EXPECT_EQ(VideoAt(1000000, 1).frameStep, 1);
    EXPECT_EQ(VideoAt(1, 2000).frameRate, 0.001);
    EXPECT_EQ(VideoAt(1, 2000).numFrames, 1);
}

// Images

TEST(MediaReaderTest, DescribesAnImageWithoutDecodingIt)
{
    LogCapture log;
    QString const still = MakeMedia("still.png", Picture("64x48", 25, 1) + QStringList{"-frames:v", "1"});
    QByteArray bytes = ReadMedia(still);
    auto const pixels = bytes.indexOf("IDAT");
    ASSERT_GT(pixels, 0);
    QString const damaged = WriteMedia("damaged.png", bytes.left(pixels + 4) + QByteArray(500, 0x55));
    auto const info = Probed(damaged, /*isImage=*/true);
    EXPECT_TRUE(info->IsInitialized());
    EXPECT_EQ(info->GetDuration(), -1);
    EXPECT_EQ(info->GetVideoStreams().first().numFrames, 1);
    EXPECT_EQ(info->GetVideoStreams().first().frameRate, -1.0);
    EXPECT_EQ(info->GetVideoStreams().first().frameStep, -1);
    EXPECT_TRUE(log.Lines().empty());

    Probed(damaged); // a movie is decoded
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{ErrorLine("Error decoding video packet.")}));
}

TEST(MediaReaderTest, GivesAnImageWithAContainersDurationNone)
{
    auto const info = Probed(MpegMovie(), /*isImage=*/true);
    EXPECT_EQ(info->GetDuration(), -1);
    EXPECT_EQ(info->GetNumFrames(), 1);
    info->isImage = false;
    EXPECT_EQ(info->GetDuration(), -1);
}

// The first picture

TEST(MediaReaderTest, TakesTheTimeOfTheFirstPictureAsTheStart)
{
    QString const ts = MakeMedia("delayed.ts", Picture("64x48", 25, 1) + QStringList{"-c:v", "libx264", "-bf", "2"});
    auto const info = Probed(ts);
    EXPECT_EQ(info->GetStartTime(), FirstPictureUs(ts));
    EXPECT_GT(info->GetStartTime(), 1000000);
    auto const late = Probed(MakeMedia("late.mkv", Tone(8000, 1, 2) + QStringList{"-itsoffset", "1.6"} +
                                                       Picture("64x48", 25, 0.5) + mpeg4 + pcm));
    EXPECT_EQ(late->GetStartTime(), 1600000);
}

TEST(MediaReaderTest, HoldsANegativeStartAtZeroAndSaysSo)
{
    for (char const* suffix : {"mkv", "ts"}) {
        LogCapture log;
        QString const name = QString("early.") + suffix;
        auto const info = Probed(MakeMedia(name, Picture("64x48", 25, 1) + mpeg4 +
                                                     QStringList{"-avoid_negative_ts", "disabled", "-muxdelay", "0",
                                                                 "-muxpreload", "0", "-output_ts_offset", "-0.04"}));
        ASSERT_TRUE(info->IsInitialized());
        EXPECT_EQ(info->GetVideoStreams().first().startTime, 0);
        EXPECT_EQ(
            log.Lines(),
            (std::vector<LogLine>{InfoLine(
                "INFO: Video stream (0) start time is less than 0. Skipping negative frames: " + name + " (-40000)")}));
    }
}

TEST(MediaReaderTest, DrainsAShortFileForItsFirstPicture)
{
    QString const path =
        MakeMedia("two-pictures.mkv",
                  Picture("64x48", 25, 0.08) + QStringList{"-c:v", "libx264", "-bf", "2", "-x264-params",
                                                           "b-pyramid=normal:bframes=2", "-output_ts_offset", "3"});
    EXPECT_EQ(Probed(path)->GetStartTime(), FirstPictureUs(path));
    EXPECT_GE(Probed(path)->GetStartTime(), 3000000);
}

// A key frame that other pictures precede on screen: decoded first, but not shown first.
TEST(MediaReaderTest, StartsAtAPictureThatLeadsTheFirstKeyFrame)
{
    QString const whole =
        MakeMedia("leading-whole.ts",
                  Picture("320x240", 25, 3) +
                      QStringList{"-c:v", "libx265", "-x265-params",
                                  "log-level=none:open-gop=0:radl=2:keyint=20:min-keyint=20:bframes=4:scenecut=0"});
    QString const cut =
        MakeMedia("leading.ts", QStringList{"-ss", "0.9", "-i", whole, "-c", "copy", "-copyts", "-muxdelay", "0"});
    long long const firstPacket = FirstPacketUs(cut);
    EXPECT_EQ(FirstPictureUs(cut), firstPacket - 80000);
    EXPECT_EQ(Probed(cut)->GetStartTime(), firstPacket - 80000);
}

// The head of a file is 250 packets. Here the sound fills it; the pictures come after it.
TEST(MediaReaderTest, SeesAPictureInTheLastPacketOfTheHeadAndNoneBehind)
{
    auto const withSoundPackets = [](int count) {
        return MakeMedia(QString("after-%1.mkv").arg(count),
                         Tone(8000, 1, count * 0.064) + QStringList{"-itsoffset", "60"} + Picture("64x48", 25, 0.12) +
                             QStringList{"-af", "asetnsamples=n=512", "-max_interleave_delta", "0", "-c:v", "mjpeg",
                                         "-threads", "1"} +
                             pcm);
    };
    ASSERT_EQ(CountPackets(withSoundPackets(249)), 252);
    EXPECT_EQ(Probed(withSoundPackets(249))->GetStartTime(), 60000000);
    ASSERT_EQ(CountPackets(withSoundPackets(250)), 253);
    EXPECT_EQ(Probed(withSoundPackets(250))->GetStartTime(), 0);
}

// With 250 packets the end of the file is behind the head, so nothing drains the decoder; with 249 it is inside.
TEST(MediaReaderTest, DrainsTheDecoderOnlyWhereTheHeadReachesTheEnd)
{
    auto const withSoundPackets = [](int count) {
        return MakeMedia(QString("held-after-%1.mkv").arg(count),
                         Tone(8000, 1, count * 0.064) + QStringList{"-itsoffset", "60"} + Picture("64x48", 25, 0.08) +
                             QStringList{"-af", "asetnsamples=n=512", "-max_interleave_delta", "0", "-c:v", "libx264",
                                         "-bf", "2", "-force_key_frames", "0", "-x264-params", "bframes=2:b-adapt=0"} +
                             pcm);
    };
    ASSERT_EQ(CountPackets(withSoundPackets(247)), 249);
    EXPECT_EQ(Probed(withSoundPackets(247))->GetStartTime(), 60000000);
    ASSERT_EQ(CountPackets(withSoundPackets(248)), 250);
    EXPECT_EQ(Probed(withSoundPackets(248))->GetStartTime(), 0);
}

// All video streams share one list of pictures, which is never emptied: the later streams get the first one's start.
TEST(MediaReaderTest, StartsEveryVideoStreamAtTheFirstPictureOfAll)
{
    auto const info = Probed(MakeMedia(
        "two-starts.mkv", QStringList{"-itsoffset", "1"} + Picture("64x48", 25, 0.4) + QStringList{"-itsoffset", "2"} +
                              Picture("32x16", 25, 0.4) + QStringList{"-map", "0", "-map", "1"} + mpeg4));
    ASSERT_EQ(info->GetNumVideoStreams(), 2);
    EXPECT_EQ(info->GetVideoStreams()[0].startTime, 1000000);
    EXPECT_EQ(info->GetVideoStreams()[1].startTime, 1000000);
}

TEST(MediaReaderTest, ReportsTheSharedNegativeTimeForEveryVideoStream)
{
    LogCapture log;
    auto const info = Probed(MakeMedia("two-early.mkv", Picture("64x48", 25, 0.4) + QStringList{"-itsoffset", "0.04"} +
                                                            Picture("32x16", 25, 0.4) +
                                                            QStringList{"-map", "0", "-map", "1", "-output_ts_offset",
                                                                        "-0.08", "-avoid_negative_ts", "disabled"} +
                                                            mpeg4));
    ASSERT_EQ(info->GetNumVideoStreams(), 2);
    QString const text = "INFO: Video stream (%1) start time is less than 0. Skipping negative frames: two-early.mkv "
                         "(-80000)";
    EXPECT_EQ(log.Lines(), (std::vector<LogLine>{InfoLine(text.arg(0)), InfoLine(text.arg(1))}));
    EXPECT_EQ(info->GetVideoStreams()[1].startTime, 0);
}

TEST(MediaReaderTest, SkipsTheStartOfAStreamThatIsNotValid)
{
    LogCapture log;
    QString const movie = MakeMedia("two-codecs.mkv", QStringList{"-itsoffset", "1"} + Picture("64x48", 25, 0.4) +
                                                          QStringList{"-itsoffset", "2"} + Picture("32x16", 25, 0.4) +
                                                          QStringList{"-map", "0", "-map", "1", "-c:v:0", "mpeg4",
                                                                      "-c:v:1", "ffv1", "-threads", "1"});
    auto const info = Probed(PatchMedia("one-codec.mkv", movie, "V_MPEG4/ISO/ASP", "V_MPEG9/ISO/ASP"));
    ASSERT_TRUE(info->IsInitialized());
    ASSERT_EQ(info->GetNumVideoStreams(), 2);
    EXPECT_EQ(info->GetVideoStreams()[0].startTime, 0);
    EXPECT_EQ(info->GetVideoStreams()[1].startTime, 2000000);
}

// Rotation

TEST(MediaReaderTest, TellsTheRotationOfAQuickTimeTrackAsATag)
{
    EXPECT_TRUE(RotateTagOf({1, 0, 0, 0, 1, 0, 0, 0, 1}).isNull());
    EXPECT_EQ(RotateTagOf({0, 1, 0, -1, 0, 0, 48, 0, 1}), "90");
    EXPECT_EQ(RotateTagOf({-1, 0, 0, 0, -1, 0, 64, 48, 1}), "180");
    EXPECT_EQ(RotateTagOf({0, -1, 0, 1, 0, 0, 0, 64, 1}), "270");
    double const half = 0.70710678;
    EXPECT_EQ(RotateTagOf({half, half, 0, -half, half, 0, 0, 0, 1}), "45");
    EXPECT_EQ(RotateTagOf({0.99984770, 0.01745241, 0, -0.01745241, 0.99984770, 0, 0, 0, 1}), "1.00021");
    EXPECT_EQ(RotateTagOf({-1, 0, 0, 0, 1, 0, 64, 0, 1}), "180");
    EXPECT_EQ(RotateTagOf({1, 0, 0, 0, -1, 0, 0, 48, 1}), "0");
    EXPECT_EQ(RotateTagOf({1, 0, 0, 0, 1, 0, 8, 8, 1}), "0");
    EXPECT_EQ(RotateTagOf({2, 0, 0, 0, 2, 0, 0, 0, 1}), "0");
    EXPECT_TRUE(RotateTagOf({0, 0, 0, 0, 0, 0, 0, 0, 0}).isNull());
}

// Threads

TEST(MediaReaderTest, ProbesOnSeveralThreadsAtOnce)
{
    QString const path = MovieWithSound();
    std::vector<std::shared_ptr<MediaInfo>> infos(4);
    std::vector<std::thread> threads;
    for (auto& info : infos)
        threads.emplace_back([&info, &path] { info = Probed(path); });
    for (std::thread& thread : threads)
        thread.join();
    for (auto const& info : infos) {
        EXPECT_TRUE(info->IsInitialized());
        EXPECT_EQ(info->GetNumVideoStreams(), 1);
        EXPECT_EQ(info->GetFrameRate(), 25.0);
    }
}
