#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

// Media made by the `ffmpeg` command, once per build tree; the file's folder is named by its recipe, so a changed
// recipe makes a new file. Several test programs may ask at the same time. If a file cannot be made, it throws, which
// fails the test.

// The file made with `arguments`; `name` is its last path component, whose suffix chooses the container.
QString MakeMedia(QString const& name, QStringList const& arguments);

// The same for a folder `name` of numbered pictures; returns the path of their printf pattern.
QString MakeMediaRow(QString const& name, QString const& pattern, QStringList const& arguments);

// A file with these bytes.
QString WriteMedia(QString const& name, QByteArray const& bytes);

QByteArray ReadMedia(QString const& path);

// `source` with the only occurrence of `from` replaced by `to`, of the same length.
QString PatchMedia(QString const& name, QString const& source, QByteArray const& from, QByteArray const& to);

// The `ffmpeg` arguments of a moving test picture and of a tone, both small.
QStringList Picture(QString const& size, int rate, double seconds);
QStringList Tone(int rate, int channels, double seconds);

// `source`, an MP4 file, with its codec name ("avc1", "mp4a") replaced by one without a decoder, also in the "esds"
// box.
QString WithoutDecoder(QString const& name, QString const& source, QByteArray const& codec);

// `source`, a Matroska file, with another duration in its header, in milliseconds.
QString WithMatroskaDuration(QString const& name, QString const& source, double milliseconds);

// `source`, a QuickTime or MP4 file, with another matrix for its first track: rows a b u, c d v, x y w, in whole units.
QString WithTrackMatrix(QString const& name, QString const& source, std::vector<double> const& matrix);

// A RIFF/WAVE file. `formatTag` 1: integer PCM, 3: float.
QByteArray WavBytes(int formatTag, int channels, int sampleRate, int bitsPerSample, QByteArray const& data);
