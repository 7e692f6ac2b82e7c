#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

// Media made by the `ffmpeg` command, once for a build; the name of a file tells its recipe, so that a changed one is
// made anew. Several test programs may ask at the same time. A file that cannot be made throws, which fails the test.

// The file that `arguments` make; `name` is its last component, with the suffix that chooses the container.
QString MakeMedia(QString const& name, QStringList const& arguments);

// The same for a folder `name` of numbered pictures; the path of their printf pattern.
QString MakeMediaRow(QString const& name, QString const& pattern, QStringList const& arguments);

// A file of these bytes.
QString WriteMedia(QString const& name, QByteArray const& bytes);

QByteArray ReadMedia(QString const& path);

// `source` with the only occurrence of `from` replaced by the equally long `to`.
QString PatchMedia(QString const& name, QString const& source, QByteArray const& from, QByteArray const& to);

// The arguments of a moving test picture and of a tone, both small.
QStringList Picture(QString const& size, int rate, double seconds);
QStringList Tone(int rate, int channels, double seconds);

// `source`, an MP4, with another name for its codec ("avc1", "mp4a") that no decoder answers to, nor to what a box
// "esds" says of it.
QString WithoutDecoder(QString const& name, QString const& source, QByteArray const& codec);

// `source`, a Matroska file, with another duration in its header, in milliseconds.
QString WithMatroskaDuration(QString const& name, QString const& source, double milliseconds);

// `source`, a QuickTime or MP4 file, with another matrix for its first track: rows a b u, c d v, x y w, in whole units.
QString WithTrackMatrix(QString const& name, QString const& source, std::vector<double> const& matrix);

// A RIFF/WAVE file. `formatTag` 1: integer PCM, 3: float.
QByteArray WavBytes(int formatTag, int channels, int sampleRate, int bitsPerSample, QByteArray const& data);
