#include "Clips.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <map>
#include <stdexcept>

namespace {

QString const folder = QStringLiteral(TAVOLIN_TEST_CLIPS);

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
    {"tone.wma", tone.arg(6) + "-ac 2 -c:a wmav2"}, // of which the last frame comes out with the drain
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

QString ArgumentsFor(QString const& name)
{
    for (Recipe const& recipe : Recipes()) {
        if (recipe.name == name)
            return recipe.arguments;
    }
    return otherRecipes.at(name);
}

void RunFfmpeg(QStringList const& arguments)
{
    QProcess process;
    process.start(QStringLiteral(TAVOLIN_FFMPEG), QStringList{"-v", "error", "-y", "-nostdin"} + arguments);
    if (!process.waitForFinished(120000) || process.exitCode() != 0)
        throw std::runtime_error("ffmpeg: " + process.readAllStandardError().toStdString());
}

} // namespace

bool Clips::HasReal()
{
    return QFileInfo(QStringLiteral(TAVOLIN_REAL_CLIPS)).isDir();
}

QString Clips::Real(QString const& name)
{
    return QStringLiteral(TAVOLIN_REAL_CLIPS "/") + name;
}

QString Clips::Made(QString const& name)
{
    QString const path = folder + "/" + name;
    if (QFileInfo::exists(path))
        return path;
    QDir().mkpath(folder);
    QString arguments = ArgumentsFor(name);
    for (int open = arguments.indexOf('{'); open >= 0; open = arguments.indexOf('{')) {
        int const close = arguments.indexOf('}');
        arguments.replace(open, close - open + 1, Made(arguments.mid(open + 1, close - open - 1)));
    }
    // Under another name first, because tests in other processes may want it at the same time.
    QString const part = folder + "/" + QString::number(QCoreApplication::applicationPid()) + "." + name;
    QStringList list = arguments.remove('\'').split(' ', Qt::SkipEmptyParts);
    RunFfmpeg(list << "-threads"
                   << "1" << part);
    QFile::rename(part, path);
    QFile::remove(part);
    return path;
}

QString Clips::MadeSequence()
{
    QString const row = folder + "/sequence";
    if (QFileInfo::exists(row))
        return row + "/take.%04d.png";
    QString const part = folder + "/" + QString::number(QCoreApplication::applicationPid()) + ".sequence";
    QDir().mkpath(part);
    QStringList const list = small.arg("2.4").split(' ', Qt::SkipEmptyParts);
    RunFfmpeg(list + QStringList{"-start_number", "970", part + "/take.%04d.png"});
    if (!QDir().rename(part, row))
        QDir(part).removeRecursively();
    return row + "/take.%04d.png";
}

std::vector<std::string> Clips::MadeNames()
{
    std::vector<std::string> names;
    for (Recipe const& recipe : Recipes())
        names.push_back(recipe.name.toStdString());
    return names;
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
