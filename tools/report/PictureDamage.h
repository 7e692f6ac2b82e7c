#pragma once

#include <QString>

#include <map>
#include <optional>
#include <set>
#include <vector>

class Source;

// Which pictures of a stretch of a movie are damaged or lost. Decoders conceal much damage and report it in messages
// that name no picture, and several threads at work report it early or late. So one thread decodes the stretch once
// more, one packet after the other, from two key pictures before it on. What a picture is made from counts as well as
// the picture itself: damage lasts until the next key picture.
//
// Costs as much as decoding the stretch: ask when decoding has reported errors. Times are microseconds of media time.
class PictureDamage
{
public:
    // Of what shows from `from` to `to`, both inside. `origin`: the container's time of media time 0. Empty when
    // nothing can be told, because packets bear no times or the file cannot be opened. One call at a time: see
    // FfmpegMessages.
    static std::optional<PictureDamage> Probe(Source const& source, long long origin, long long from, long long to);

    bool IsDamaged(long long start) const; // the picture that starts then

    // When the first picture begins that the file has, or had, in (after, until], and that could not be decoded;
    // `after` is the start of the last one that could. Empty when there is none.
    std::optional<long long> FindLost(long long after, long long until) const;

    QString const& GetFirstMessage() const { return firstMessage; } // FFmpeg's, of the stretch; may be empty

private:
    class Reader;

    struct Gap // unreadable bytes between two packets
    {
        long long before; // time of the packet in front of it
        long long behind;
    };

    std::map<long long, bool> packets; // by time: whether it is damaged, or what it is made from
    std::set<long long> marked;        // times of pictures that the decoder itself calls damaged
    std::vector<Gap> gaps;
    long long step = 0; // from picture to picture, as far as is known
    QString firstMessage;
};
