#include "tests/player/DemoMovie.h"

#include <QDir>
#include <QFile>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QtEndian>

#include <cmath>

namespace {

constexpr int flashPictures = 4;
constexpr double pi = 3.14159265358979323846;

QDir Folder()
{
    static QTemporaryDir const folder;
    return QDir(folder.path());
}

bool IsFlash(int picture)
{
    return picture % DemoMovie::rate < flashPictures;
}

// Writes the matrix that turns pictures by so many degrees, a quarter's multiple, into the header of the video track;
// ffmpeg's own option means another direction with each version.
void Turn(QByteArray& file, int clockwiseDegrees)
{
    int const tag = file.indexOf("tkhd"); // the video track comes first
    int const sine = clockwiseDegrees == 90 ? 1 : clockwiseDegrees == 270 ? -1 : 0;
    int const cosine = clockwiseDegrees == 0 ? 1 : clockwiseDegrees == 180 ? -1 : 0;
    int const rows[4][2] = {{0, cosine}, {1, sine}, {3, -sine}, {4, cosine}}; // place in the matrix, whole number
    for (auto const& [place, value] : rows)
        qToBigEndian<qint32>(value * 65536, file.data() + tag + 4 + 40 + 4 * place);
}

bool RunFfmpeg(QStringList const& arguments)
{
    return QProcess::execute("ffmpeg", QStringList{"-v", "error", "-nostdin", "-y"} + arguments) == 0;
}

bool WritePictures(QString const& path, int pictures)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    for (int i = 0; i < pictures; ++i) {
        QImage const picture = DemoMovie::Picture(i);
        file.write(reinterpret_cast<char const*>(picture.constBits()), picture.sizeInBytes());
    }
    return true;
}

} // namespace

QImage DemoMovie::Picture(int number)
{
    QImage image(width, height, QImage::Format_RGB888); // rows of 960 bytes, without padding
    image.fill(QColor(110, 110, 110));
    QPainter painter(&image);
    for (int i = 0; i < squares; ++i)
        painter.fillRect(i * square, 0, square, square, (number >> (squares - 1 - i) & 1) != 0 ? Qt::white : Qt::black);
    painter.fillRect(0, height / 2, width, height / 2, IsFlash(number) ? Qt::white : Qt::black);
    return image;
}

QColor DemoMovie::Patch(int column, int row)
{
    // Inside what every conversion can show: no channel near its ends, no saturation that another matrix clips.
    return QColor(70 + 16 * column, 180 - 20 * row, 90 + 12 * ((column + row) % 8));
}

QString DemoMovie::MakeCard(QString const& matrix, QString const& range)
{
    QImage card(width, height, QImage::Format_RGB888);
    QPainter painter(&card);
    for (int column = 0; column < 8; ++column)
        for (int row = 0; row < 6; ++row)
            painter.fillRect(40 * column, 40 * row, 40, 40, Patch(column, row));
    painter.end();
    QString const still = Folder().filePath("card.png");
    QString const path = Folder().filePath(QString("card-%1-%2.mp4").arg(matrix, range));
    QString const convert = QString("scale=out_color_matrix=%1:out_range=%2,format=yuv444p").arg(matrix, range);
    bool const made = card.save(still) &&
                      RunFfmpeg({"-loop", "1", "-framerate", "25", "-i", still, "-frames:v", "25", "-vf", convert,
                                 "-c:v", "libx264", "-qp", "0", "-colorspace", matrix, "-color_range", range, path});
    return made ? path : QString();
}

QByteArray DemoMovie::Sound(int pictures)
{
    constexpr int samplesPerPicture = sampleRate / rate;
    QByteArray bytes;
    for (int i = 0; i < pictures * samplesPerPicture; ++i) {
        double const time = static_cast<double>(i) / sampleRate;
        bool const beeps = IsFlash(i / samplesPerPicture);
        short const values[2] = {static_cast<short>(8000.0 * std::sin(2.0 * pi * 1000.0 * time)),
                                 static_cast<short>(beeps ? 16000.0 * std::sin(2.0 * pi * 2000.0 * time) : 0.0)};
        bytes.append(reinterpret_cast<char const*>(values), sizeof values);
    }
    return bytes;
}

QString DemoMovie::Make(int pictures, int rotation)
{
    QString const path = Folder().filePath(QString("demo-%1-%2.mp4").arg(pictures).arg(rotation));
    if (QFile::exists(path))
        return path;
    QString const raw = Folder().filePath("pictures.rgb");
    QFile sound(Folder().filePath("sound.pcm"));
    if (!WritePictures(raw, pictures) || !sound.open(QIODevice::WriteOnly))
        return {};
    sound.write(Sound(pictures));
    sound.close();
    // FLAC, because it ends with the pictures: with AAC the length would depend on FFmpeg's version.
    QString const upright = Folder().filePath("upright.mp4");
    if (!RunFfmpeg({"-f",      "rawvideo", "-pix_fmt", "rgb24",   "-s",    "320x240", "-r", "25", "-i",
                    raw,       "-f",       "s16le",    "-ar",     "48000", "-ac",     "2",  "-i", sound.fileName(),
                    "-c:v",    "libx264",  "-preset",  "fast",    "-bf",   "3",       "-g", "50", "-pix_fmt",
                    "yuv420p", "-c:a",     "flac",     "-strict", "-2",    upright}))
        return {};
    QFile made(upright);
    if (!made.open(QIODevice::ReadOnly))
        return {};
    QByteArray bytes = made.readAll();
    Turn(bytes, rotation);
    QFile turned(path);
    return turned.open(QIODevice::WriteOnly) && turned.write(bytes) == bytes.size() ? path : QString();
}

QString DemoMovie::MakeWithLateSound()
{
    QString const path = Folder().filePath("late-sound.mov");
    if (QFile::exists(path))
        return path;
    bool const made = RunFfmpeg({"-f", "lavfi", "-i", "color=size=16x16:rate=1000:duration=30", "-itsoffset", "30",
                                 "-f", "lavfi", "-i", "sine=duration=1:sample_rate=48000", "-c:v", "rawvideo",
                                 "-pix_fmt", "gray", "-c:a", "pcm_s16le", path});
    return made ? path : QString();
}

QString DemoMovie::MakeWithThreeSounds()
{
    QString const path = Folder().filePath("three-sounds.mkv");
    QString const sine = "sine=frequency=%1:duration=10:sample_rate=48000,volume=4,aformat=channel_layouts=%2";
    QStringList const arguments =
        QStringList{"-i", Make(10 * rate)} + QStringList{"-f", "lavfi", "-i", sine.arg(700).arg("stereo")} +
        QStringList{"-f", "lavfi", "-i", sine.arg(300).arg("mono")} +
        QString("-map 0 -map 1 -map 2 -c:v copy -c:a flac -metadata:s:a:1 language=ger -metadata:s:a:1 title=Kommentar")
            .split(' ');
    return QFile::exists(path) || RunFfmpeg(arguments + QStringList{path}) ? path : QString();
}

QString DemoMovie::MakeSequence(int pictures)
{
    QDir const folder(Folder().filePath(QString("row-%1").arg(pictures)));
    if (folder.exists())
        return folder.path();
    QDir().mkpath(folder.path());
    for (int i = 0; i < pictures; ++i)
        Picture(i).save(folder.filePath(QString("take.%1.png").arg(i, 4, 10, QChar('0'))));
    return folder.path();
}
