#pragma once

#include <QList>
#include <QMap>
#include <QString>

class Source;
struct AVStream;

// How the pictures of a stream are coded, in ffprobe's names and words. What the stream does not say is empty.
struct StreamColours
{
    int index = -1; // of the container's stream
    QString pixelFormat;
    QString range;
    QString matrix;
    QString transfer;
    QString primaries;
    QString chromaLocation;
    QString fieldOrder;
    QMap<QString, QString> masteringDisplay; // values by ffprobe's keys
    QMap<QString, int> lightLevels;

    QString conversion; // what the library does to the light of an HDR stream; empty for others

    bool IsHdr() const; // PQ or HLG

    static StreamColours Tagged(AVStream const& stream); // as the container tells them

    // Source::GetTaggedColours, and of HDR streams what the first picture tells, which is decoded for that: it may bear
    // the light levels.
    static QList<StreamColours> Probe(Source const& source);

    // Of these, those of the container's stream `index`; empty ones when it is not among them.
    static StreamColours Of(int index, QList<StreamColours> const& all);
};
