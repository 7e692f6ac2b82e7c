#include "tests/faults/FaultyCalls.h"
#include "tests/faults/EngineRun.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"

#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

extern "C" {
#include <libavutil/error.h>
}

#include <QFileInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <set>

// Every call of FFmpeg that can fail fails once, during a probe, a decode and two seeks: nothing crashes, hangs or
// leaks, the log has exactly the expected lines, and afterwards the file plays as before.

namespace {

constexpr int mostCalls = 2000; // calls of DecodeOnePacket; the clips have a tenth as many packets

struct Clip
{
    QString path;
    bool isImage = false;
    int channels = 2; // output channels
};

Clip Movie()
{
    return {MakeMedia("faulty.mp4", Picture("64x48", 25, 0.6) + Tone(22050, 2, 0.6) +
                                        QStringList{"-c:v", "mpeg4", "-bf", "2", "-g", "6", "-c:a", "aac"})};
}

// Has more channels than the output.
Clip Sound()
{
    return {MakeMedia("faulty.mka", Tone(8000, 6, 0.5) + QStringList{"-c:a", "flac"})};
}

// Its width needs the scaler's buffer with room in the rows; its size and depth are worth scaler threads.
Clip Still()
{
    return {MakeMedia("faulty.tif", Picture("1002x500", 1, 1) + QStringList{"-frames:v", "1", "-pix_fmt", "gray16le",
                                                                            "-compression_algo", "raw"}),
            true};
}

struct Outcome
{
    bool probed = false;
    long long pictures = 0;
    long long sampleFrames = 0;

    bool operator==(Outcome const& other) const
    {
        return probed == other.probed && pictures == other.pictures && sampleFrames == other.sampleFrames;
    }
};

std::ostream& operator<<(std::ostream& stream, Outcome const& outcome)
{
    return stream << (outcome.probed ? "probed, " : "not probed, ") << outcome.pictures << " pictures, "
                  << outcome.sampleFrames << " samples";
}

void Decode(MediaInstance& instance, long long seekTime, Outcome& outcome)
{
    for (int calls = 0; instance.HasPacket(); ++calls) {
        ASSERT_LT(calls, mostCalls) << "the input does not end";
        Sounds sounds;
        Pictures pictures;
        instance.DecodeOnePacket(sounds, pictures, seekTime);
        for (auto const& sound : sounds)
            outcome.sampleFrames += sound->frameCount;
        outcome.pictures +=
            std::count_if(pictures.begin(), pictures.end(), [](auto const& one) { return IsPicture(*one); });
    }
}

// Plays from the start, from the middle and from the start again. HasPacket is called at most mostCalls times: it
// retries an input that cannot be opened in each call.
Outcome Play(MediaInstance& instance)
{
    Outcome outcome;
    outcome.probed = true;
    Decode(instance, -1, outcome);
    instance.Seek(300000);
    Decode(instance, 300000, outcome);
    instance.Seek(0);
    Decode(instance, 0, outcome);
    return outcome;
}

Outcome ProbeAndPlay(Clip const& clip, MediaInstance& instance)
{
    OutputChannels const channels(clip.channels);
    auto info = std::make_shared<MediaInfo>(clip.path);
    info->isImage = clip.isImage;
    Outcome outcome;
    outcome.probed = MediaReader::ParseMedia(info);
    if (!outcome.probed)
        return outcome;
    instance.Initialize(info, 0);
    return Play(instance);
}

Outcome ProbeAndPlay(Clip const& clip)
{
    MediaInstance instance;
    return ProbeAndPlay(clip, instance);
}

QString PathOf(Clip const& clip)
{
    return QFileInfo(clip.path).absoluteFilePath();
}

// The possible consequences of a failure of the function.
std::set<QString> LinesOf(std::string const& name, Clip const& clip)
{
    if (name == "avformat_open_input")
        return {"Failed to open input for parsing: " + PathOf(clip)};
    if (name == "avformat_find_stream_info")
        return {"Failed to find stream information for \"" + QFileInfo(clip.path).fileName() + "\""};
    if (name == "av_find_best_stream")
        return {"Failed to find audio stream index: -5", "Failed to find video stream index: -5"};
    if (name == "av_seek_frame" || name == "avformat_seek_file")
        return {"Seek Failed."};
    if (name == "avcodec_alloc_context3" || name == "avcodec_parameters_to_context")
        return {"Failed to get audio codec.",
                "Failed to get video codec context.",
                "Failed to create audio codec context.",
                "Failed to create video codec context.",
                "Audio stream invalid or not found.",
                "Video stream invalid or not found."};
    if (name == "avcodec_find_decoder")
        return {"Audio decoder not found.", "Video decoder not found.", "Audio stream invalid or not found.",
                "Video stream invalid or not found."};
    if (name == "avcodec_open2")
        return {"Failed to open audio codec.",        "Failed to open video codec.",
                "Failed to open audio decoder.",      "Failed to open video decoder.",
                "Audio stream invalid or not found.", "Video stream invalid or not found."};
    if (name == "av_packet_alloc")
        return {"Attempted to decode media that does not exist."};
    std::set<std::string> const decoding = {"avcodec_send_packet", "avcodec_receive_frame", "av_frame_alloc",
                                            "av_buffer_create",    "sws_alloc_context",     "sws_init_context",
                                            "sws_scale",           "sws_scale_frame"};
    if (decoding.count(name) > 0)
        return {"Error decoding video packet."};
    return {};
}

void FailAndRecover(Clip const& clip, std::string const& name, int nth, bool every, Outcome const& sound)
{
    SCOPED_TRACE(name + (every ? " every " : " number ") + std::to_string(nth));
    auto const allowed = LinesOf(name, clip);
    MediaInstance instance;
    {
        LogCapture log;
        FaultyCalls::Fail(name, nth, every);
        ProbeAndPlay(clip, instance);
        FaultyCalls::Stop();
        for (LogLine const& line : log.Lines())
            EXPECT_TRUE(allowed.count(line.message) > 0) << line;
    }
    LogCapture log;
    instance.CloseInput();
    EXPECT_EQ(ProbeAndPlay(clip, instance), sound);
    EXPECT_TRUE(log.Lines().empty());
}

// The number of calls in an undisturbed run.
int CountCalls(Clip const& clip, std::string const& name)
{
    FaultyCalls::Fail(name, 1000000000, false);
    ProbeAndPlay(clip);
    int const calls = FaultyCalls::CallCount();
    FaultyCalls::Stop();
    return calls;
}

// Fails each of the first calls, some of the others, the last ones, and every second, third...
void FailEverywhere(Clip const& clip)
{
    Outcome const sound = ProbeAndPlay(clip);
    EXPECT_TRUE(sound.probed);
    EXPECT_GT(sound.pictures + sound.sampleFrames, 0);
    int failures = 0;
    for (std::string const& name : FaultyCalls::Names()) {
        int const calls = CountCalls(clip, name);
        std::set<int> places = {calls - 1, calls, calls / 2, calls / 3};
        for (int nth = 1; nth <= 12; ++nth)
            places.insert(nth);
        for (int const nth : places) {
            if (nth < 1 || nth > calls)
                continue;
            FailAndRecover(clip, name, nth, false, sound);
            ++failures;
        }
        for (int const every : {1, 2, 3, 7}) {
            if (every > calls)
                continue;
            FailAndRecover(clip, name, every, true, sound);
            ++failures;
        }
        if (testing::Test::HasFailure())
            return;
    }
    testing::Test::RecordProperty("runs", failures);
    std::cout << failures << " runs with failures\n";
}

// The lines logged when only call number `nth` fails.
std::vector<LogLine> LinesWhen(std::string const& name, int nth, Clip const& clip)
{
    LogCapture log;
    FaultyCalls::Fail(name, nth, false);
    ProbeAndPlay(clip);
    EXPECT_EQ(FaultyCalls::FailedCount(), 1) << name << " number " << nth;
    FaultyCalls::Stop();
    return log.Lines();
}

using Lines = std::vector<LogLine>;

constexpr int inputError = AVERROR(EIO);
constexpr int noMemory = AVERROR(ENOMEM);
LogLine const noVideo = ErrorLine("Video stream invalid or not found.");
LogLine const noAudio = ErrorLine("Audio stream invalid or not found.");

} // namespace

TEST(FaultyCallsTest, AMovieSurvivesEveryFailureOfFFmpeg)
{
    FailEverywhere(Movie());
}

TEST(FaultyCallsTest, SoundSurvivesEveryFailureOfFFmpeg)
{
    FailEverywhere(Sound());
}

TEST(FaultyCallsTest, AStillSurvivesEveryFailureOfFFmpeg)
{
    FailEverywhere(Still());
}

TEST(FaultyCallsTest, AProbeSaysOnceWhatFailed)
{
    Clip const movie = Movie();
    EXPECT_EQ(LinesWhen("avformat_open_input", 1, movie),
              (Lines{ErrorLine("Failed to open input for parsing: " + PathOf(movie), inputError)}));
    EXPECT_EQ(LinesWhen("avformat_find_stream_info", 1, movie),
              (Lines{ErrorLine("Failed to find stream information for \"" + QFileInfo(movie.path).fileName() + "\"",
                               inputError)}));
    // The video is the first stream, the audio the second. A stream that could not be probed cannot be opened either,
    // which is logged as well.
    EXPECT_EQ(LinesWhen("avcodec_alloc_context3", 1, movie),
              (Lines{ErrorLine("Failed to get video codec context."), noVideo}));
    EXPECT_EQ(LinesWhen("avcodec_alloc_context3", 2, movie), (Lines{ErrorLine("Failed to get audio codec."), noAudio}));
    EXPECT_EQ(LinesWhen("avcodec_find_decoder", 1, movie), (Lines{ErrorLine("Video decoder not found."), noVideo}));
    EXPECT_EQ(LinesWhen("avcodec_find_decoder", 2, movie), (Lines{ErrorLine("Audio decoder not found."), noAudio}));
    EXPECT_EQ(LinesWhen("avcodec_open2", 1, movie),
              (Lines{ErrorLine("Failed to open video codec.", noMemory), noVideo}));
    EXPECT_EQ(LinesWhen("avcodec_open2", 2, movie),
              (Lines{ErrorLine("Failed to open audio codec.", noMemory), noAudio}));
    EXPECT_EQ(LinesWhen("avcodec_open2", 3, movie), Lines()); // for the first picture: its time stays 0
}

TEST(FaultyCallsTest, ASessionSaysOnceWhatFailed)
{
    Clip const movie = Movie();
    EXPECT_EQ(LinesWhen("avformat_open_input", 2, movie),
              (Lines{ErrorLine("Failed to open input for parsing: " + PathOf(movie), inputError)}));
    EXPECT_EQ(LinesWhen("avformat_find_stream_info", 2, movie), Lines()); // the probe has found everything
    EXPECT_EQ(LinesWhen("av_find_best_stream", 1, movie), (Lines{ErrorLine("Failed to find audio stream index: -5")}));
    EXPECT_EQ(LinesWhen("av_find_best_stream", 2, movie), (Lines{ErrorLine("Failed to find video stream index: -5")}));
    EXPECT_EQ(LinesWhen("avcodec_alloc_context3", 4, movie),
              (Lines{ErrorLine("Failed to create audio codec context.", noMemory)}));
    EXPECT_EQ(LinesWhen("avcodec_alloc_context3", 5, movie),
              (Lines{ErrorLine("Failed to create video codec context.", noMemory)}));
    EXPECT_EQ(LinesWhen("avcodec_open2", 4, movie), (Lines{ErrorLine("Failed to open audio decoder.", noMemory)}));
    EXPECT_EQ(LinesWhen("avcodec_open2", 5, movie), (Lines{ErrorLine("Failed to open video decoder.")}));
    EXPECT_EQ(LinesWhen("avformat_seek_file", 1, movie), (Lines{ErrorLine("Seek Failed.", inputError)}));
    EXPECT_EQ(LinesWhen("av_seek_frame", 1, movie), (Lines{ErrorLine("Seek Failed.", inputError)}));
}

TEST(FaultyCallsTest, AStillSaysOnceWhatFailed)
{
    Clip const still = Still(); // sent, received and converted once for each of three openings
    for (char const* name : {"avcodec_send_packet", "avcodec_receive_frame", "sws_alloc_context", "sws_init_context"})
        EXPECT_EQ(LinesWhen(name, 1, still), (Lines{ErrorLine("Error decoding video packet.")})) << name;
}

TEST(FaultyCallsTest, AnEngineSurvivesEveryFailureOfFFmpeg)
{
    OutputChannels const channels(2);
    LogCapture const log;
    QString const path = Movie().path;
    for (std::string const& name : FaultyCalls::Names()) {
        for (int const every : {1, 2, 5, 17}) {
            SCOPED_TRACE(name + " every " + std::to_string(every));
            auto const time = std::make_shared<VirtualTime>();
            PlaybackEngine engine(PlaybackOptions(), time);
            FaultyCalls::Fail(name, every, true);
            EXPECT_TRUE(PlayAround(engine, *time, path));
            FaultyCalls::Stop();
            EXPECT_EQ(StartShownAt(engine, path, 410000), 400000);
        }
    }
}

// All pictures are key pictures, so any packet could be mistaken for the target.
TEST(FaultyCallsTest, PicturesAreTheRightOnesThoughSeeksFail)
{
    QString const path =
        MakeMedia("faulty-keys.mp4", Picture("64x48", 25, 2) + QStringList{"-c:v", "mpeg4", "-g", "1"});
    for (int const every : {1, 2, 3}) {
        SCOPED_TRACE("every " + std::to_string(every));
        auto const time = std::make_shared<VirtualTime>();
        PlaybackEngine engine(PlaybackOptions(), time);
        auto const expectPicture = [&engine](long long start) {
            ASSERT_TRUE(engine.WaitUntilReady(patience));
            auto const picture = engine.GetPicture();
            ASSERT_TRUE(picture);
            EXPECT_EQ(picture->startTime, start);
        };
        engine.Open(path);
        engine.SetCacheBudget(0); // so that pictures already shown are decoded again
        FaultyCalls::Fail("avformat_seek_file", every, true);
        for (long long const picture : {0, 20, 40, 2, 32, 10, 26, 49}) {
            engine.Seek(picture * 40000 + 10000);
            expectPicture(picture * 40000);
        }
        engine.SetSpeed(-1.0);
        for (int picture = 49; picture >= 0; --picture) {
            expectPicture(picture * 40000);
            time->Advance(40000);
        }
        FaultyCalls::Stop();
    }
}

// The head of a file is 250 packets, no matter how late the first picture comes.
TEST(FaultyCallsTest, AProbeReadsNoMoreThan250Packets)
{
    QString const late =
        MakeMedia("late-picture.mkv", Tone(48000, 1, 20) + QStringList{"-itsoffset", "18"} + Picture("64x48", 25, 1) +
                                          QStringList{"-c:v", "mpeg4", "-c:a", "libopus"});
    FaultyCalls::Fail("av_read_frame", 1000000000, false);
    auto const info = Probed(late);
    FaultyCalls::Stop();
    EXPECT_TRUE(info->IsInitialized());
    EXPECT_EQ(FaultyCalls::CallCount(), 250);
}
