#pragma once

#include "decode/ColourSettings.h"
#include "source/PictureStream.h"

#include <QList>

#include <limits>

class MediaInfo;
class MediaInstance;

// Reads the pictures of one stream in order and finds any of them exactly. Packets of sound are passed over undecoded.
//
// How a picture is found: the container is asked for the key picture before it. Where that lands too late (transport
// streams do, and pictures that stay for long begin far before the time at which they show), it is asked again for 1,
// 2, 4... seconds earlier, and at last the file is read from its start. Decoding then begins with a packet that the
// container calls key, but what comes counts only from the first picture on that the codec calls one: containers lie.
// Pictures that show before that key picture are left out, because they may refer to what was not decoded. A picture
// that lies ahead is reached by reading on, unless a key picture is likely to be on the way.
//
// On the way to its target the decoder may leave out pictures that nothing refers to. Should the stream show damage on
// that way, the same seek is done again without leaving out anything.
//
// Where a stretch ends with a group, the decoder is drained there, as the pictures that it holds back would otherwise
// come only with some of the next group. Groups are not always closed, though: should a picture be missing between the
// last one and the end of the stretch, reading stops there and the stretch is read again without that.
//
// A decoder that began shortly before the end of the stream can lose its last pictures. Where the pictures end is not
// known beforehand, as sound often goes on longer. So an end that comes so soon is not believed: the last picture is
// found again from an earlier key picture, and reading goes on from there.
class MoviePictures : public PictureStream
{
public:
    // `untimedRate`: pictures per second of a stream that says no rate. `threads`: see SourceOptions::movieThreads.
    MoviePictures(std::shared_ptr<MediaInfo> info, double untimedRate, ColourSettings const& colours = {},
                  int threads = 0);
    ~MoviePictures() override;

    bool Open(); // false when there is no stream of pictures that can be decoded

    ReadResult ReadNear(long long time, long long earliest, Picture& picture, StopCheck const& stop) override;
    void ReadOnlyBefore(long long time) override;
    void SetColours(ColourSettings const& colours) override;
    QString DescribeColours() const override;
    ReadResult Read(Picture& picture, StopCheck const& stop = neverStop) override;
    long long GetEnd() const override;
    QString GetError() const override;
    QVector<long long> GetDamage() const override;
    long long GetDecodedCount() const override;
    long long GetOrigin() const override;
    long long GetGroupDuration() const override;

private:
    enum class Landing { Found, Late, Stopped };

    bool Restart();
    bool RenewCodec();
    void SetUpDecoder();
    void SetSkipping(bool skips);
    ReadResult FindPicture(long long time, long long earliest, StopCheck const& stop);
    void Forget();
    void DropBefore(long long time);
    bool Land(long long time, long long latest, StopCheck const& stop);
    Landing ReadOnTo(long long time, long long earliest, StopCheck const& stop);
    Landing ReadUpTo(long long time, StopCheck const& stop);
    Landing SeekAndRead(long long target, long long latest, long long earliest, StopCheck const& stop);
    bool IsQuicklyReached(long long time) const;
    long long ExpectedKeyTime() const;
    void NoteKeyPacket();
    bool IsWithoutKeyPicture() const;
    bool FindFirst(StopCheck const& stop);
    bool IsGroupComplete() const;
    void DrainGroup();
    ReadResult ReadOn(Picture& picture, StopCheck const& stop);
    bool IsEndInDoubt() const;
    void DecodePacket();
    void TakeRecords(QList<Picture> records);
    void TakeLost(DecodedVideoFrame const& record);
    void TakeDamage();
    void TakePicture(Picture picture);
    void ReleaseNewest(long long endTime);
    long long Shift() const;
    long long DurationOf(DecodedVideoFrame const& picture) const;

    static constexpr long long longAgo = std::numeric_limits<long long>::min();
    static constexpr long long noStep = std::numeric_limits<long long>::max();

    std::shared_ptr<MediaInfo> info;
    double untimedRate;
    ColourSettings colours;
    int threads;
    std::unique_ptr<MediaInstance> instance;
    bool canLand = true;    // what is found after a seek can be trusted; otherwise everything is read from the start
    bool isStained = false; // the decoder has met damage
    bool losesLastPictures = false;                                  // when the stream ends soon after a landing
    int packetsSinceLanding = -1;                                    // of pictures; -1: all is read from the start
    long long latestLanding = std::numeric_limits<long long>::max(); // time from which to look for a key picture
    long long streamStart = 0;                                       // container time that the decoder takes for 0
    long long firstTime = longAgo; // decoder's time of the first picture of all; what lies after 0 is taken off
    long long dropBefore = -1;     // media time for the decoder's filter; negative: none
    long long brokenBefore = longAgo;
    long long latestKey = longAgo;    // since the last landing: a key picture after this is of no use
    long long lastStart = longAgo;    // of the pictures taken since the last landing
    long long limit = longAgo;        // no picture from here on is wanted
    long long shortestStep = noStep;  // between two pictures so far
    long long groupStart = longAgo;   // of the group that is being decoded
    long long keylessUntil = longAgo; // no key picture was found from there up to here
    long long groupsLength = 0;       // of the groups read from end to end
    int groupsCount = 0;
    bool hasClosedGroups = true; // as far as is known: no picture before a key picture comes after it in the stream
    bool skips = true;           // pictures on the way that nothing refers to
    bool drained = false;        // the mark of the end has come
    int fruitlessDrains = 0;
    long long doubtfulEnd = longAgo; // the picture that Read looks for again, until it has been found
    long long end = -1;
    long long decodedCount = 0;
    QString error;
    DamageTimes damage;

    QList<Picture> ready; // with their ends
    Picture newest;       // waits for the start of the next one, which is its end
};
