#include "tests/support/Media.h"

#include <QByteArrayList>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QtEndian>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void Fail(QString const& what)
{
    throw std::runtime_error(what.toStdString());
}

// The file for a recipe; `make` writes it to the path that it gets. Each recipe has its own folder, so the file can
// keep its plain name.
QString Cached(QString const& name, QByteArray const& recipe, std::function<void(QString const&)> const& make)
{
    QByteArray const key = QCryptographicHash::hash(recipe, QCryptographicHash::Md5).toHex().left(12);
    QDir const folder(QString::fromUtf8(TAVOLIN_MEDIA_CACHE "/") + QString::fromLatin1(key));
    QString const path = folder.filePath(name);
    if (QFileInfo::exists(path))
        return path;
    folder.mkpath(QStringLiteral("."));
    QLockFile lock(folder.filePath(QStringLiteral("lock")));
    lock.setStaleLockTime(0);
    if (!lock.lock())
        Fail("no lock for " + path);
    if (QFileInfo::exists(path))
        return path;
    QString const unfinished = folder.filePath("unfinished-" + name);
    QFile::remove(unfinished);
    make(unfinished);
    if (!QDir().rename(unfinished, path))
        Fail("cannot make " + path);
    return path;
}

void Write(QString const& path, QByteArray const& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        Fail("cannot write " + path);
}

// Not by QProcess, whose fork copies all page tables of a program under a sanitizer. What ffmpeg says is seen in the
// test's output.
void RunFfmpeg(QStringList const& arguments, QString const& output)
{
    QStringList const all =
        QStringList{TAVOLIN_FFMPEG, "-hide_banner", "-nostdin", "-v", "error", "-y"} + arguments + QStringList(output);
    QByteArrayList words;
    for (QString const& word : all)
        words << word.toUtf8();
    std::vector<char*> argv;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t process = 0;
    int status = -1;
    bool const runs = posix_spawn(&process, argv.front(), nullptr, nullptr, argv.data(), environ) == 0;
    while (runs && waitpid(process, &status, 0) < 0 && errno == EINTR) { // by another child's end
    }
    if (status != 0)
        Fail("no success: " + all.join(' '));
}

void AppendLittleEndian(QByteArray& bytes, quint32 value, int size)
{
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(value >> 8 * i & 0xff));
}

} // namespace

QString MakeMedia(QString const& name, QStringList const& arguments)
{
    return Cached(name, (name + ' ' + arguments.join(' ')).toUtf8(),
                  [&](QString const& path) { RunFfmpeg(arguments, path); });
}

QString MakeMediaRow(QString const& name, QString const& pattern, QStringList const& arguments)
{
    QString const recipe = name + ' ' + pattern + ' ' + arguments.join(' ');
    return Cached(name, recipe.toUtf8(),
                  [&](QString const& path) {
                      QDir(path).removeRecursively();
                      QDir().mkpath(path);
                      RunFfmpeg(arguments, path + '/' + pattern);
                  }) +
           '/' + pattern;
}

QString WriteMedia(QString const& name, QByteArray const& bytes)
{
    return Cached(name, name.toUtf8() + '\n' + bytes, [&](QString const& path) { Write(path, bytes); });
}

QByteArray ReadMedia(QString const& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Fail("cannot read " + path);
    return file.readAll();
}

QString PatchMedia(QString const& name, QString const& source, QByteArray const& from, QByteArray const& to)
{
    QByteArray bytes = ReadMedia(source);
    auto const place = bytes.indexOf(from);
    if (place < 0 || bytes.indexOf(from, place + 1) >= 0 || from.size() != to.size())
        Fail("no single place to patch in " + source);
    bytes.replace(place, from.size(), to);
    return WriteMedia(name, bytes);
}

QStringList Picture(QString const& size, int rate, double seconds)
{
    return {"-f", "lavfi", "-i",
            QStringLiteral("testsrc=size=%1:rate=%2:duration=%3").arg(size).arg(rate).arg(seconds)};
}

QStringList Tone(int rate, int channels, double seconds)
{
    QStringList const tones = {"sin(2764*t)/4", "sin(1382*t)/4", "sin(691*t)/4"};
    QStringList all;
    for (int i = 0; i < channels; ++i)
        all << tones[i % 3];
    return {"-f", "lavfi", "-i",
            QStringLiteral("aevalsrc=exprs=%1:sample_rate=%2:duration=%3").arg(all.join('|')).arg(rate).arg(seconds)};
}

QString WithoutDecoder(QString const& name, QString const& source, QByteArray const& codec)
{
    return WriteMedia(name, ReadMedia(source).replace(codec, "zzzz").replace(codec == "mp4a" ? "esds" : codec, "zzzz"));
}

QString WithMatroskaDuration(QString const& name, QString const& source, double milliseconds)
{
    QByteArray bytes = ReadMedia(source);
    auto const place = bytes.indexOf(QByteArray("\x44\x89\x88", 3)); // Duration, eight bytes
    if (place < 0)
        Fail("no duration in " + source);
    quint64 bits;
    std::memcpy(&bits, &milliseconds, sizeof bits);
    qToBigEndian(bits, bytes.data() + place + 3);
    return WriteMedia(name, bytes);
}

QString WithTrackMatrix(QString const& name, QString const& source, std::vector<double> const& matrix)
{
    QByteArray bytes = ReadMedia(source);
    auto const place = bytes.indexOf("tkhd");
    if (place < 0 || bytes.at(place + 4) != 0)
        Fail("no track header of version 0 in " + source);
    for (size_t i = 0; i < 9; ++i) {
        double const one = i % 3 == 2 ? 1073741824.0 : 65536.0; // 2.30 in the last column, 16.16 elsewhere
        auto const value = static_cast<qint32>(std::lround(matrix[i] * one));
        qToBigEndian(value, bytes.data() + place + 4 + 40 + static_cast<int>(i) * 4);
    }
    return WriteMedia(name, bytes);
}

QByteArray WavBytes(int formatTag, int channels, int sampleRate, int bitsPerSample, QByteArray const& data)
{
    int const frameBytes = channels * bitsPerSample / 8;
    QByteArray bytes = "RIFF";
    AppendLittleEndian(bytes, static_cast<quint32>(36 + data.size()), 4);
    bytes += "WAVEfmt ";
    AppendLittleEndian(bytes, 16, 4);
    AppendLittleEndian(bytes, static_cast<quint32>(formatTag), 2);
    AppendLittleEndian(bytes, static_cast<quint32>(channels), 2);
    AppendLittleEndian(bytes, static_cast<quint32>(sampleRate), 4);
    AppendLittleEndian(bytes, static_cast<quint32>(sampleRate) * static_cast<quint32>(frameBytes), 4);
    AppendLittleEndian(bytes, static_cast<quint32>(frameBytes), 2);
    AppendLittleEndian(bytes, static_cast<quint32>(bitsPerSample), 2);
    bytes += "data";
    AppendLittleEndian(bytes, static_cast<quint32>(data.size()), 4);
    return bytes + data;
}
