#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <gtest/gtest.h>

namespace {

QJsonObject DescriptionOf(QString const& path)
{
    return QJsonDocument::fromJson(RunTavolin({"info", "--json", "--", path}).output).object();
}

QJsonObject FfprobeOf(QString const& path)
{
    return QJsonDocument::fromJson(RunProgram(QStringLiteral(TAVOLIN_FFPROBE),
                                              {"-v", "quiet", "-of", "json", "-show_format", "-show_streams", path})
                                       .output)
        .object();
}

double ValueOf(QString const& fraction)
{
    QStringList const parts = fraction.split('/');
    return parts.size() == 2 && parts[1] != "0" ? parts[0].toDouble() / parts[1].toDouble() : 0.0;
}

// Keys of ffprobe that both have must hold the same value of the same type.
void ExpectSharedValues(QJsonObject const& ours, QJsonObject const& ffprobes, QStringList const& keys)
{
    for (QString const& key : keys) {
        if (ffprobes.contains(key)) {
            EXPECT_EQ(ours[key], ffprobes[key]) << key.toStdString();
        }
    }
}

// What one of them leaves out, the other one does, too.
void ExpectSameValues(QJsonObject const& ours, QJsonObject const& ffprobes, QStringList const& keys)
{
    for (QString const& key : keys)
        EXPECT_EQ(ours[key], ffprobes[key]) << key.toStdString();
}

// ffprobe's tags are all there; "rotate" may come from us.
void ExpectSharedTags(QJsonObject const& ours, QJsonObject const& ffprobes)
{
    QJsonObject tags = ours["tags"].toObject();
    if (!ffprobes["tags"].toObject().contains("rotate"))
        tags.remove("rotate");
    EXPECT_EQ(tags, ffprobes["tags"].toObject());
}

QJsonObject StreamOfIndex(QJsonObject const& ffprobes, int index)
{
    return ffprobes["streams"].toArray()[index].toObject();
}

void ExpectLikeFfprobe(QJsonObject const& ours, QString const& path)
{
    SCOPED_TRACE(path.toStdString());
    QJsonObject const ffprobes = FfprobeOf(path);
    ExpectSharedValues(ours["format"].toObject(), ffprobes["format"].toObject(),
                       {"filename", "nb_streams", "format_name", "size"});
    ExpectSharedTags(ours["format"].toObject(), ffprobes["format"].toObject());
    if (!ours["tavolin"].toObject()["is_image"].toBool())
        ExpectSharedValues(ours["format"].toObject(), ffprobes["format"].toObject(), {"duration"});
    ExpectSameValues(ours["format"].toObject(), ffprobes["format"].toObject(), {"bit_rate"});
    for (QJsonValue const& value : ours["streams"].toArray()) {
        QJsonObject const stream = value.toObject();
        QJsonObject const expected = StreamOfIndex(ffprobes, stream["index"].toInt(-1));
        SCOPED_TRACE(stream["index"].toInt(-1));
        ExpectSameValues(stream, expected,
                         {"pix_fmt", "color_range", "color_space", "color_transfer", "color_primaries", "field_order",
                          "bit_rate", "nb_frames"});
        if (!stream["tavolin"].toObject()["valid"].toBool())
            continue;
        ExpectSharedValues(stream, expected,
                           {"index", "codec_name", "codec_long_name", "codec_type", "width", "height", "sample_rate",
                            "channels", "channel_layout", "chroma_location"});
        // In transport streams ffprobe keeps the format of the decoder that it tried before it knew the codec.
        if (stream["codec_name"] != "mp2")
            ExpectSharedValues(stream, expected, {"sample_fmt"});
        EXPECT_EQ(stream["disposition"].toObject()["attached_pic"], expected["disposition"].toObject()["attached_pic"]);
        ExpectSharedTags(stream, expected);
    }
}

// Described by one run for all.
void ExpectLikeFfprobe(QStringList const& paths)
{
    QJsonArray const descriptions =
        QJsonDocument::fromJson(RunTavolin(QStringList{"info", "--json", "--"} + paths).output).array();
    ASSERT_EQ(descriptions.size(), paths.size());
    for (int i = 0; i < paths.size(); ++i)
        ExpectLikeFfprobe(descriptions[i].toObject(), paths[i]);
}

} // namespace

TEST(InfoCommandTest, AgreesWithFfprobeOnMadeMedia)
{
    ExpectLikeFfprobe({
        Movie("movie.mp4",
              {"-c:v", "libx264", "-c:a", "aac", "-metadata", "title=Straße \"x\"", "-metadata:s:a", "language=deu"}),
        Movie("movie.mkv", {"-c:v", "mpeg4", "-c:a", "libvorbis"}),
        Movie("movie.mpg", {"-c:v", "mpeg2video", "-c:a", "mp2"}),
        Movie("movie.avi", {"-c:v", "mjpeg", "-c:a", "pcm_s16le"}),
        MakeMedia("sound.mp3", Tone(44100, 2, 1.0)),
        MakeMedia("sound.wav", Tone(48000, 6, 0.5) + QStringList{"-c:a", "pcm_f32le"}),
        MakeMedia("one.png", Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"}),
    });
}

TEST(InfoCommandTest, AgreesWithFfprobeOnClips)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    QStringList paths;
    for (QFileInfo const& clip : QFileInfo(Clips::Real("facts.json")).dir().entryInfoList(QDir::Files)) {
        if (clip.suffix() != "json" && clip.suffix() != "md" && !clip.fileName().startsWith("broken") &&
            !clip.fileName().startsWith("zero"))
            paths << clip.filePath();
    }
    ExpectLikeFfprobe(paths);
}

TEST(InfoCommandTest, CallsImagesOneBehindTheOtherAMovie)
{
    QByteArray const image = "P6\n64 32\n255\n" + QByteArray(64 * 32 * 3, 'a');
    EXPECT_EQ(DescriptionOf(WriteMedia("one", image))["tavolin"].toObject()["kind"], "still image");
    EXPECT_EQ(DescriptionOf(WriteMedia("row", image + image))["tavolin"].toObject()["kind"], "movie without sound");
}

TEST(InfoCommandTest, GivesRatesAndRatiosAsFractions)
{
    QString const path = MakeMedia("ntsc.mp4", {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=30000/1001:duration=1",
                                                "-vf", "setsar=64/45", "-c:v", "libx264"});
    QJsonObject const stream = DescriptionOf(path)["streams"].toArray()[0].toObject();
    EXPECT_EQ(stream["sample_aspect_ratio"], "64:45");
    EXPECT_EQ(stream["avg_frame_rate"], "2997/100");
    EXPECT_NEAR(ValueOf(stream["avg_frame_rate"].toString()),
                ValueOf(StreamOfIndex(FfprobeOf(path), 0)["avg_frame_rate"].toString()), 0.0005); // three decimals
}

TEST(InfoCommandTest, GivesOurOwnValuesInMicroseconds)
{
    QString const path =
        Rewrapped("late.mkv", MovingPicture("plain.mp4", {"-c:v", "libx264"}), {"-output_ts_offset", "7"});
    QJsonObject const own = DescriptionOf(path)["tavolin"].toObject();
    EXPECT_EQ(own["schema"], 1);
    EXPECT_EQ(own["kind"], "movie without sound");
    EXPECT_EQ(own["start_time_us"], 7000000);
    EXPECT_EQ(own["frame_step_us"], 40000);
    EXPECT_EQ(own["duration_us"], 11000000);
    EXPECT_EQ(own["width"], 96);
    EXPECT_EQ(own["is_image"], false);
}

// Sound before the pictures, at 25 pictures a second for two seconds.
TEST(InfoCommandTest, GivesOurOwnValuesOfStreamsInTheContainersOrder)
{
    QString const path = MakeMedia(
        "sound-first.mov",
        QStringList{"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25:duration=2"} + Tone(44100, 2, 2.0) +
            QStringList{"-map", "1", "-map", "0", "-vf", "setsar=64/45", "-c:v", "mpeg4", "-c:a", "pcm_s16le"});
    QJsonArray const streams = DescriptionOf(path)["streams"].toArray();
    ASSERT_EQ(streams.size(), 2);
    EXPECT_EQ(streams[0].toObject()["codec_type"], "audio");
    QJsonObject const sound = streams[0].toObject()["tavolin"].toObject();
    EXPECT_EQ(sound["decoder"], "pcm_s16le");
    EXPECT_EQ(sound["channel_layout_mask"], "3"); // left and right
    EXPECT_EQ(sound["is_planar"], false);
    EXPECT_EQ(sound["bytes_per_sample"], 2);
    QJsonObject const pictures = streams[1].toObject()["tavolin"].toObject();
    EXPECT_NEAR(pictures["pixel_aspect_ratio"].toDouble(), 64.0 / 45.0, 1e-6);
    EXPECT_EQ(pictures["frame_step_us"], 40000);
    EXPECT_EQ(pictures["frame_rate"], 25.0);
    EXPECT_EQ(pictures["frame_count"], 50);
    EXPECT_GE(pictures["codec_delay"].toInt(-1), 0);
    EXPECT_EQ(DescriptionOf(path)["tavolin"].toObject()["frame_count"], 50);
    EXPECT_EQ(DescriptionOf(path)["tavolin"].toObject()["is_linear_color_space"], false);
}

TEST(InfoCommandTest, CallsOpenExrLinear)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    QJsonObject const own = DescriptionOf(Clips::Real("still-half-alpha.exr"))["tavolin"].toObject();
    EXPECT_EQ(own["is_linear_color_space"], true);
    EXPECT_EQ(own["is_image"], true);
}

// Exif's orientation 7: to be turned by 90 degrees and mirrored.
TEST(InfoCommandTest, TellsHowAStillImageIsStored)
{
    QByteArray bytes = ReadMedia(
        MakeMedia("plain.jpg", Picture("64x32", 1, 1.0) + QStringList{"-frames:v", "1", "-pix_fmt", "yuvj444p"}));
    ASSERT_EQ(bytes.mid(6, 4), "JFIF");
    bytes.insert(4 + 16, QByteArray::fromHex("ffe10022457869660000"
                                             "4d4d002a000000080001"
                                             "0112000300000001000700000000"
                                             "0000"));
    QString const still = WriteMedia("mirrored.jpg", bytes);
    QJsonObject const own = DescriptionOf(still)["tavolin"].toObject();
    EXPECT_EQ(own["is_video_mirrored"], true);
    EXPECT_EQ(own["is_video_rotated"], true);
    EXPECT_TRUE(RunTavolin({"info", still}).output.contains("64x32, to be mirrored left to right, to be turned "));
}

TEST(InfoCommandTest, TellsTheLightOfHdr)
{
    QString const path =
        MakeMedia("light.mkv",
                  {"-f", "lavfi", "-i", "color=size=320x240:rate=25:duration=0.12", "-c:v", "libx265", "-pix_fmt",
                   "yuv420p10le", "-x265-params",
                   "log-level=none:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:hdr10=1:max-cll=1000,100:"
                   "master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(40000000,50)"});
    QJsonArray const light = DescriptionOf(path)["streams"].toArray()[0].toObject()["side_data_list"].toArray();
    ASSERT_EQ(light.size(), 2);
    EXPECT_EQ(light[0].toObject()["side_data_type"], "Mastering display metadata");
    EXPECT_EQ(
        light[1].toObject(),
        (QJsonObject{{"side_data_type", "Content light level metadata"}, {"max_content", 1000}, {"max_average", 100}}));
    EXPECT_TRUE(RunTavolin({"info", path}).output.contains("light levels 1000, 100 on average"));
}

TEST(InfoCommandTest, TellsTheTimecode)
{
    QString const path =
        MakeMedia("timecode.mov", {"-f", "lavfi", "-i", "testsrc=size=64x48:rate=30000/1001:duration=1", "-c:v",
                                   "mpeg4", "-timecode", "01:00:10;02"});
    EXPECT_EQ(DescriptionOf(path)["tavolin"].toObject()["timecode"], "01:00:10;02");
    EXPECT_TRUE(RunTavolin({"info", path}).output.contains("timecode   starts at 01:00:10;02, 29.97"));
    QString const without = MovingPicture("plain.mp4", {"-c:v", "libx264"});
    EXPECT_FALSE(DescriptionOf(without)["tavolin"].toObject().contains("timecode"));
    EXPECT_FALSE(RunTavolin({"info", without}).output.contains("timecode"));
}

TEST(InfoCommandTest, GivesAnArrayForSeveralFilesAndAnObjectForOne)
{
    QString const path = MovingPicture("plain.mp4", {"-c:v", "libx264"});
    EXPECT_TRUE(QJsonDocument::fromJson(RunTavolin({"info", "--json", path}).output).isObject());

    ToolRun const run = RunTavolin({"info", "--json", path, "/nowhere/a.mp4"});
    EXPECT_EQ(run.exitCode, 1);
    QJsonArray const both = QJsonDocument::fromJson(run.output).array();
    ASSERT_EQ(both.size(), 2);
    EXPECT_EQ(both[0].toObject()["format"].toObject()["filename"], path);
    QJsonObject const failed = both[1].toObject();
    EXPECT_EQ(failed["format"].toObject()["filename"], "/nowhere/a.mp4");
    EXPECT_EQ(failed["error"].toObject()["string"], "File not found: /nowhere/a.mp4");
    EXPECT_FALSE(failed.contains("streams"));
}

TEST(InfoCommandTest, SaysWhatOddSourcesAre)
{
    QString const still = MakeMedia("one.png", Picture("32x16", 1, 1.0) + QStringList{"-frames:v", "1"});
    EXPECT_TRUE(RunTavolin({"info", still}).output.contains("still image, no duration"));
    QString const sound = MakeMedia("sound.wav", Tone(8000, 1, 1.0));
    EXPECT_TRUE(RunTavolin({"info", sound}).output.contains("kind       sound, 00:00:01.000"));
    QString const raw = MovingPicture("raw.h264", {"-c:v", "libx264"});
    EXPECT_TRUE(RunTavolin({"info", raw}).output.contains("duration not stated in the file"));
}

TEST(InfoCommandTest, SaysWhatCannotBeDecoded)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "the clips beside the checkout are absent";
    ToolRun const run = RunTavolin({"info", Clips::Real("mp4-good-video-unknown-audio.mp4")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.output.contains("cannot be decoded: FFmpeg has no usable decoder for it"));
    EXPECT_TRUE(run.output.contains("h264, 1080x720"));
    QJsonArray const streams = DescriptionOf(Clips::Real("mp4-good-video-unknown-audio.mp4"))["streams"].toArray();
    ASSERT_EQ(streams.size(), 2);
    EXPECT_EQ(streams[1].toObject()["tavolin"].toObject()["valid"], false);
    EXPECT_EQ(streams[1].toObject()["codec_type"], "audio");
}

// Both as `ffprobe -count_frames` has them.
TEST(InfoCommandTest, CountsThePictures)
{
    EXPECT_TRUE(RunTavolin({"info", Clips::Made("vfr.mp4")}).Output().contains(", 76 pictures, "));
    EXPECT_EQ(StreamOfIndex(DescriptionOf(Clips::Made("vfr.mp4")), 0)["tavolin"].toObject()["picture_count"], 76);
    EXPECT_EQ(StreamOfIndex(DescriptionOf(Clips::Made("stream.ts")), 0)["tavolin"].toObject()["picture_count"], 200);
    if (Clips::HasReal()) {
        QString const flash = Clips::Real("flv-h264-avg-rate-1000.flv");
        EXPECT_TRUE(RunTavolin({"info", flash}).Output().contains(", 30 pictures, "));
    }
}

TEST(InfoCommandTest, PrintsStreamsAndTags)
{
    QString const path = MakeMedia(
        "wide.mkv", QStringList{"-f", "lavfi", "-i", "testsrc=size=64x48:rate=25:duration=2"} + Tone(44100, 2, 2.0) +
                        QStringList{"-vf", "setsar=64/45", "-c:v", "mpeg4", "-c:a", "pcm_s16le", "-metadata",
                                    "title=one\ntwo", "-metadata:s:a", "language=deu"});
    QStringList const lines = RunTavolin({"info", path}).Lines();
    ASSERT_GE(lines.size(), 9);
    EXPECT_EQ(lines[0], path);
    EXPECT_TRUE(lines[1].startsWith("  kind       movie, 00:00:02.0")) << lines[1].toStdString();
    EXPECT_TRUE(lines[1].endsWith(", " + QLocale::c().formattedDataSize(QFileInfo(path).size())));
    EXPECT_EQ(lines[2], "  format     matroska,webm");
    EXPECT_EQ(lines.value(lines.indexOf("             title = one") + 1), "               two");
    EXPECT_TRUE(lines.contains("  video #0   mpeg4, 64x48, pixels 64:45, shown 91 wide, 25 pictures a second, "
                               "50 pictures, starts at 0.000000 s"));
    EXPECT_TRUE(lines.contains("  audio #1   pcm_s16le, 44100 Hz, 2 channels (stereo), s16"));
    EXPECT_TRUE(lines.contains("             language = deu"));
}

TEST(InfoCommandTest, PrintsTheStartOfThePictures)
{
    QString const late =
        Rewrapped("late.mkv", MovingPicture("plain.mp4", {"-c:v", "libx264"}), {"-output_ts_offset", "7"});
    EXPECT_TRUE(RunTavolin({"info", late}).output.contains(", starts at 7.000000 s\n"));
}

TEST(InfoCommandTest, PrintsHowPicturesAreCodedInFfprobesWords)
{
    QString const path =
        MakeMedia("fields.mkv", Picture("96x64", 25, 1.0) +
                                    QStringList{"-vf", "setfield=tff", "-flags", "+ildct+ilme", "-c:v", "libx264",
                                                "-color_range", "tv", "-colorspace", "bt709", "-color_primaries",
                                                "bt709", "-color_trc", "smpte170m", "-pix_fmt", "yuv420p"});
    QJsonObject const stream = StreamOfIndex(FfprobeOf(path), 0);
    QStringList words;
    for (char const* key : {"pix_fmt", "color_range", "color_space", "color_transfer", "color_primaries"}) {
        if (stream.contains(key)) // FFmpeg 7.1 does not write all that it is asked to
            words << stream[key].toString();
    }
    if (stream.contains("chroma_location"))
        words << "chroma " + stream["chroma_location"].toString();
    words << "fields " + stream["field_order"].toString();
    EXPECT_EQ(words.last().size(), 9); // two letters
    QStringList const lines = RunTavolin({"info", path}).Lines();
    EXPECT_TRUE(lines.contains("    colours  " + words.join(", "))) << lines.join('\n').toStdString();
}

TEST(InfoCommandTest, PrintsWhatRealClipsSay)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    QString const phone = Clips::Real("phone-hdr-hevc10-rot90-data-streams.mov");
    QString const text = RunTavolin({"info", phone}).Output();
    QJsonObject const object = DescriptionOf(phone);
    EXPECT_TRUE(text.contains("1280x720, to be turned 90 degrees clockwise, 30 pictures")) << text.toStdString();
    EXPECT_TRUE(text.contains("             com.apple.quicktime.model = iPhone 14 Pro\n"));
    EXPECT_EQ(object["tavolin"].toObject()["is_video_rotated"], true);
    EXPECT_TRUE(RunTavolin({"info", Clips::Real("mp3-cover-art-jpeg.mp3")})
                    .output.contains("\n  video #1   mjpeg, 1618x1381, cover art\n"));
}

#ifdef TAVOLIN_CONVERTS_HDR
TEST(InfoCommandTest, TellsHowHdrIsShown)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    QString const phone = Clips::Real("phone-hdr-hevc10-rot90-data-streams.mov");
    QJsonObject const own = DescriptionOf(phone)["streams"].toArray()[0].toObject()["tavolin"].toObject();
    EXPECT_TRUE(own["conversion"].toString().contains("203 cd/m2"));
    EXPECT_TRUE(
        RunTavolin({"info", phone}).output.contains("\n    light    shown " + own["conversion"].toString().toUtf8()));
}
#endif

TEST(InfoCommandTest, EstimatesWhatIsNotCounted)
{
    EXPECT_TRUE(RunTavolin({"info", "--quick", Clips::Made("gop12.mp4")}).Output().contains(", about 200 pictures, "));
    QString const quick = RunTavolin({"info", "--quick", "--json", Clips::Made("gop12.mp4")}).Output();
    EXPECT_FALSE(quick.contains("picture_count"));
    QByteArray const once = ReadMedia(Clips::Made("stream.ts"));
    ToolRun const twice = RunTavolin({"info", WriteMedia("twice.ts", once + once)});
    EXPECT_TRUE(twice.Output().contains(", about ")) << twice.Output().toStdString();
    EXPECT_EQ(twice.errors, "");
    EXPECT_EQ(twice.exitCode, 0);
}

TEST(InfoCommandTest, CountsOnlyTheStreamThatIsShown)
{
    if (!Clips::HasReal())
        GTEST_SKIP() << "there is no ../shared/media beside the checkout";
    QJsonObject const ours = DescriptionOf(Clips::Real("asf-two-video-streams-rate-0.asf"));
    QList<QJsonObject> counted;
    for (QJsonValue const& value : ours["streams"].toArray()) {
        if (value.toObject()["tavolin"].toObject().contains("picture_count"))
            counted << value.toObject();
    }
    ASSERT_EQ(counted.size(), 1);
    EXPECT_EQ(counted[0]["index"], 1);
    EXPECT_EQ(counted[0]["tavolin"].toObject()["picture_count"], 108);
}
