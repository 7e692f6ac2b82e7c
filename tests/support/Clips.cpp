#include "tests/support/Clips.h"

#include "tests/support/Media.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>
#include <cctype>
#include <map>
#include <stdexcept>

namespace {

QString const small = QStringLiteral("-f lavfi -i testsrc2=size=192x108:rate=25:duration=%1 ");
QString const tone = QStringLiteral("-f lavfi -i sine=frequency=440:beep_factor=4:duration=%1:sample_rate=44100 ");

struct Recipe
{
    QString name;
    QString arguments;
};

std::vector<Recipe> const& Recipes()
{
    static std::vector<Recipe> const recipes = {
        {"gop250.mp4", small.arg(22) + "-c:v libx264 -preset ultrafast -bf 3 -b_strategy 0 -g 250 -keyint_min 250 "
                                       "-sc_threshold 0 -x264-params open-gop=0"},
        {"gop12.mp4", small.arg(8) + tone.arg(8) + "-c:v libx264 -preset ultrafast -bf 2 -g 12 -c:a aac -ac 2"},
        {"open-gop.mp4", small.arg(8) + "-c:v libx264 -preset ultrafast -bf 3 -b_strategy 0 -g 25 -keyint_min 25 "
                                        "-sc_threshold 0 -x264-params open-gop=1"},
        {"open-gop-short-end.mp4", // the last group has four pictures
         "-f lavfi -i testsrc2=size=98x64:rate=25:duration=4 -c:v libx264 -bf 3 -g 8 -keyint_min 8 -sc_threshold 0 "
         "-x264-params open-gop=1"},
        {"open-gop-mpeg2.mpg", small.arg(6) + "-c:v mpeg2video -bf 2 -g 15 -b:v 2M"},
        {"stream.ts", small.arg(8) + tone.arg(8) + "-c:v libx264 -preset ultrafast -bf 2 -g 50 -c:a mp2"},
        {"program.mpg", small.arg(8) + tone.arg(8) + "-c:v mpeg1video -bf 2 -g 15 -b:v 2M -c:a mp2"},
        {"flash.flv", small.arg(6) + "-c:v libx264 -preset ultrafast -bf 2 -g 50"},
        {"matroska.mkv", small.arg(6) + tone.arg(6) + "-c:v libx264 -preset ultrafast -bf 2 -g 50 -c:a libvorbis"},
        {"vfr.mp4", small.arg(12) + "-vf select='not(mod(n\\,7))+not(mod(n\\,11))+between(n\\,100\\,110)' -vsync vfr "
                                    "-c:v libx264 -preset ultrafast -bf 2 -g 20"},
        {"long-stills.mp4", small.arg(20) + "-vf select='eq(n\\,0)+eq(n\\,1)+eq(n\\,200)+eq(n\\,210)+gt(n\\,480)' "
                                            "-vsync vfr -c:v libx264 -preset ultrafast -bf 0 -g 250"},
        {"edit-list.mp4", "-ss 1.3 -i {gop12.mp4} -c copy"},
        {"negative-start.ts",
         "-i {stream.ts} -c copy -copyts -output_ts_offset -1.6 -muxdelay 0 -muxpreload 0 -avoid_negative_ts disabled"},
        {"ntsc.mp4",
         "-f lavfi -i testsrc2=size=192x108:rate=60000/1001:duration=4 -c:v libx264 -preset ultrafast -g 30"},
        {"xvid.avi", small.arg(6) + "-c:v mpeg4 -bf 0 -g 12 -q:v 4"},
        {"raw.264", small.arg(3) + "-c:v libx264 -preset ultrafast -bf 2 -g 25 -f h264"},
        {"short-video.mp4", small.arg(2) + tone.arg(5) + "-c:v libx264 -preset ultrafast -g 12 -c:a aac"},
        {"long-video.mp4", small.arg(5) + tone.arg(2) + "-c:v libx264 -preset ultrafast -g 12 -c:a aac"},
        {"late-video.mp4",
         small.arg(3) + tone.arg(4) + "-vf setpts=PTS+1/TB -c:v libx264 -preset ultrafast -g 12 -c:a aac"},
    };
    return recipes;
}

std::map<QString, QString> const otherRecipes = {
    {"offset.mkv", "-i {gop12.mp4} -c copy -output_ts_offset 10"},
    {"tone.wma", tone.arg(6) + "-ac 2 -c:a wmav2"}, // its last frame comes with the drain
    {"large.mp4", "-f lavfi -i testsrc2=size=1280x720:rate=25:duration=5 -c:v libx264 -preset ultrafast -g 60"},
    {"crimson.mp4", "-f lavfi -i color=c=0xC81E3C:size=1280x720:rate=25:duration=0.6 -vf "
                    "scale=out_color_matrix=bt709:flags=accurate_rnd -c:v libx264 -qp 0 -pix_fmt yuv420p "
                    "-colorspace bt709"},
    {"tone.wav", tone.arg(6) + "-ac 2 -c:a pcm_s16le"},
    {"pure.wav", "-f lavfi -i sine=frequency=440:duration=6:sample_rate=44100 -ac 2 -c:a pcm_s16le"},
    {"tone.flac", tone.arg(6) + "-ac 2 -c:a flac"},
    {"tone.mp3", tone.arg(6) + "-ac 2 -c:a libmp3lame -b:a 128k"},
    {"tone.m4a", tone.arg(6) + "-ac 2 -c:a aac"},
    {"tone.ogg", tone.arg(6) + "-ac 2 -c:a libvorbis"},
    {"cover.mp3", tone.arg(3) + "-f lavfi -i testsrc2=size=64x64:rate=1:duration=1 -map 0:a -map 1:v "
                                "-c:v mjpeg -disposition:v attached_pic -c:a libmp3lame"},
    {"cover-png.mp3", tone.arg(3) + "-f lavfi -i testsrc2=size=64x64:rate=1:duration=1 -map 0:a -map 1:v "
                                    "-c:v png -disposition:v attached_pic -c:a libmp3lame"},
};

// Streams in which decoding cannot easily start in the middle. `edit` changes the file that FFmpeg made.
struct DifficultRecipe
{
    QString name;
    QString arguments;
    void (*edit)(QByteArray& bytes) = nullptr;
};

// An MP4 file without this box has only key pictures.
void DropKeyTable(QByteArray& bytes)
{
    int const at = bytes.indexOf("stss");
    if (at < 0)
        throw std::runtime_error("there is no table of key pictures");
    bytes.replace(at, 4, "free");
}

// Damages a few bytes at regular distances, except in the header and in the tail with the index.
void Damage(QByteArray& bytes)
{
    int const end = bytes.indexOf("moov") > 100000 ? bytes.indexOf("moov") - 100 : bytes.size() - 2000;
    for (int at = 50000; at + 8 < end; at += 60013) {
        for (int i = 0; i < 8; ++i)
            bytes[at + i] = static_cast<char>(at * 7 + i * 31);
    }
}

// Turns the one sub-layer of an HEVC stream into three: B pictures that others refer to move to the second, where
// nothing of their own sub-layer refers to them; the other B pictures move to the third.
void AddSubLayers(QByteArray& bytes)
{
    int at = bytes.indexOf("mdat") + 4;
    int const end = bytes.indexOf("moov") - 4;
    int middles = 0;
    while (at > 3 && at + 7 < end) {
        auto const* unit = reinterpret_cast<uint8_t const*>(bytes.constData()) + at;
        int const length = unit[0] << 24 | unit[1] << 16 | unit[2] << 8 | unit[3];
        int const type = unit[4] >> 1;
        bool const isB = (unit[6] & 0xe0) == 0xe0; // first slice of the picture, parameter set 0, type B
        if (type == 1 && isB) {
            bytes[at + 4] = 0; // marked as not referred to within its sub-layer
            bytes[at + 5] = 2;
            ++middles;
        } else if (type == 0) {
            bytes[at + 5] = 3;
        }
        at += 4 + length;
    }
    if (middles == 0)
        throw std::runtime_error("no picture is referred to by B pictures alone");
}

std::vector<DifficultRecipe> const& DifficultRecipes()
{
    QString const x265 = QStringLiteral("-c:v libx265 -preset ultrafast -x265-params log-level=0:rc-lookahead=20:");
    QString const longGroups =
        QStringLiteral("-c:v libx264 -preset ultrafast -bf 3 -g 60 -keyint_min 60 -sc_threshold 0 ");
    static std::vector<DifficultRecipe> const recipes = {
        {"mbaff.mp4", small.arg(6) + longGroups + "-x264-params interlaced=1"},
        {"mbaff.ts", small.arg(6) + longGroups + "-x264-params interlaced=1"},
        {"interlaced-mpeg2.ts", small.arg(6) + "-c:v mpeg2video -bf 2 -g 25 -b:v 2M -flags +ildct+ilme"},
        {"refresh.mp4", small.arg(6) + longGroups + "-x264-params intra-refresh=1"},
        {"open-hevc.mp4", small.arg(6) + x265 + "bframes=4:b-adapt=0:keyint=40:open-gop=1"},
        {"layers-hevc.mp4", small.arg(6) + x265 + "bframes=7:b-adapt=0:keyint=60:temporal-layers=1"},
        {"sub-layers-hevc.mp4", small.arg(6) + x265 + "bframes=7:b-adapt=0:b-pyramid=1:keyint=60:open-gop=0:no-info=1",
         AddSubLayers},
        {"all-key-hevc.mp4", small.arg(6) + x265 + "bframes=4:keyint=50", DropKeyTable},
        {"all-key-mpeg4.mp4", small.arg(6) + "-c:v mpeg4 -bf 2 -g 50 -q:v 4", DropKeyTable},
        {"all-key-h264.mp4", small.arg(6) + longGroups, DropKeyTable},
        {"damaged-h264.mp4", small.arg(6) + longGroups, Damage},
        {"damaged-mpeg2.ts", small.arg(6) + "-c:v mpeg2video -bf 2 -g 25 -b:v 2M", Damage},
        {"theora.mkv", small.arg(6) + "-c:v libtheora -g 30 -q:v 6"},
        {"theora.ogv", small.arg(6) + "-c:v libtheora -g 30 -q:v 6"},
        {"raw.mjpeg", small.arg(4) + "-c:v mjpeg -q:v 4 -f mjpeg"},
        {"vp8.webm", small.arg(6) + "-c:v libvpx -deadline realtime -cpu-used 8 -g 60 -auto-alt-ref 1"},
        {"vp9.webm", small.arg(6) + "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 60"},
        {"msmpeg4.asf", small.arg(6) + "-c:v msmpeg4 -g 50 -q:v 4"},
    };
    return recipes;
}

QString ArgumentsFor(QString const& name)
{
    for (Recipe const& recipe : Recipes()) {
        if (recipe.name == name)
            return recipe.arguments;
    }
    for (DifficultRecipe const& recipe : DifficultRecipes()) {
        if (recipe.name == name)
            return recipe.arguments;
    }
    return otherRecipes.at(name);
}

QByteArray Edited(QString const& name, QByteArray bytes)
{
    for (DifficultRecipe const& recipe : DifficultRecipes()) {
        if (recipe.name == name && recipe.edit)
            recipe.edit(bytes);
    }
    return bytes;
}

bool HasEdit(QString const& name)
{
    auto const& all = DifficultRecipes();
    return std::any_of(all.begin(), all.end(), [&](auto const& recipe) { return recipe.name == name && recipe.edit; });
}

// Encodes with one thread, so that the bytes are the same everywhere.
QStringList Words(QString arguments)
{
    return arguments.remove('\'').split(' ', Qt::SkipEmptyParts) + QStringList{"-threads", "1"};
}

} // namespace

bool Clips::HasReal()
{
    return QFileInfo::exists(Real("facts.json"));
}

QString Clips::Real(QString const& name)
{
    return QStringLiteral(TAVOLIN_CLIPS "/") + name;
}

QJsonObject const& Clips::RealFacts()
{
    static QJsonObject const facts = [] {
        QFile file(Real("facts.json"));
        if (!file.open(QIODevice::ReadOnly))
            return QJsonObject();
        return QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("files")).toObject();
    }();
    return facts;
}

QString Clips::Made(QString const& name)
{
    QString arguments = ArgumentsFor(name);
    for (int open = arguments.indexOf('{'); open >= 0; open = arguments.indexOf('{')) {
        int const close = arguments.indexOf('}');
        arguments.replace(open, close - open + 1, Made(arguments.mid(open + 1, close - open - 1)));
    }
    QString const path = MakeMedia(name, Words(arguments));
    return HasEdit(name) ? WriteMedia(name, Edited(name, ReadMedia(path))) : path;
}

QString Clips::MadeSequence()
{
    return MakeMediaRow("sequence", "take.%04d.png", Words(small.arg("2.4")) + QStringList{"-start_number", "970"});
}

std::vector<std::string> Clips::MadeNames()
{
    std::vector<std::string> names;
    for (Recipe const& recipe : Recipes())
        names.push_back(recipe.name.toStdString());
    return names;
}

std::vector<std::string> Clips::DifficultNames()
{
    std::vector<std::string> names;
    for (DifficultRecipe const& recipe : DifficultRecipes())
        names.push_back(recipe.name.toStdString());
    return names;
}

std::vector<std::string> Clips::RealMovieNames()
{
    return {"asf-msmpeg4-avg-rate-0.wmv",
            "asf-two-video-streams-rate-0.asf",
            "camera-avchd-1080i-ac3-pgs.mts",
            "camera-mjpeg-pcm16.avi",
            "corrupt-h264.mp4",
            "cut-in-packet.ts",
            "edit-dv-pal-720x576-sar59x54.mov",
            "edit-prores-422-proxy.mov",
            "edit-xdcam-hd-1440x1080-sar4x3.mov",
            "flv-h264-avg-rate-1000.flv",
            "h264-1x1-pixel.mp4",
            "h264-bpyramid-sar64x45.mp4",
            "h264-editlist-video-starts-at-1s.mp4",
            "h264-raw-size-change-352x288-640x480.264",
            "h264-start-10s-sar.mp4",
            "mkv-two-audio-subtitles-between.mkv",
            "ogg-theora-400x300-vorbis.ogv",
            "phone-h263-amr-vfr.3gp",
            "phone-hdr-hevc10-rot90-data-streams.mov",
            "phone-portrait-rot90-h264.mov",
            "phone-sideways-vfr-rot90.mov",
            "phone-vfr10fps-rot180-h264.mp4",
            "ps-mpeg1-sar64x45-cut.mpg",
            "rotate-tag-90.mkv",
            "ts-h264-854x480-start1.47s.ts",
            "ts-h264-first-picture-negative.ts",
            "ts-mpeg2-1080p-start1.5s.ts",
            "ts-mpeg2-first-picture-negative.ts",
            "webm-vp9-161x121.webm",
            "webm-vp9-opus-no-duration.webm"};
}

std::vector<std::string> Clips::MovieNames()
{
    std::vector<std::string> names = MadeNames();
    for (std::string const& name : DifficultNames())
        names.push_back(name);
    for (std::string const& name : RealMovieNames())
        names.push_back("real/" + name);
    return names;
}

std::string Clips::TestName(std::string name)
{
    for (char& character : name)
        character = std::isalnum(static_cast<unsigned char>(character)) ? character : '_';
    return name;
}

bool Clips::IsDamaged(std::string const& name)
{
    return name.find("damaged") != std::string::npos || name.find("corrupt") != std::string::npos;
}

bool Clips::IsWhole(std::string const& name)
{
    for (char const* fault : {"damaged", "corrupt", "cut", "first-picture-negative", "size-change"}) {
        if (name.find(fault) != std::string::npos)
            return false;
    }
    return true;
}

void Clips::WriteNumberedPictures(QString const& path, QString const& pattern, std::vector<long long> const& numbers)
{
    for (long long number : numbers) {
        QFile file(path + "/" + QString::asprintf(pattern.toUtf8().constData(), static_cast<int>(number)));
        if (!file.open(QIODevice::WriteOnly))
            throw std::runtime_error("cannot write " + file.fileName().toStdString());
        file.write("P6\n16 8\n255\n");
        file.write(QByteArray(16 * 8 * 3, static_cast<char>(number * 8 % 256)));
    }
}
