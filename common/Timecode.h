#pragma once

#include <QString>

#include <optional>

// A timecode of SMPTE ST 12-1: the address of a picture as hours, minutes, seconds and frames of one day,
// "01:00:10:02".
//
// The frames are counted by a whole number a second, so that at 29.97 pictures a second an hour of non-drop timecode
// lasts 3.6 seconds too long. Drop frame ("01:00:10;02") makes up for that: at 29.97 the numbers 0 and 1, at 59.94 the
// numbers 0 to 3 are left out at the start of every minute except each tenth. No picture is left out. After 24 hours
// the count begins anew. A value.
class Timecode
{
public:
    static constexpr int highestRate = 120;

    // 00:00:00:00 at `rate` pictures a second, non-drop. Empty for rates that do not round to 1 to 120.
    static std::optional<Timecode> Zero(double rate);

    // Reads "01:00:10:02", and "01:00:10;02" as drop frame. Empty for other text, for a number that does not exist at
    // that rate (a dropped one too), and for drop frame at a rate that is no multiple of 30.
    static std::optional<Timecode> Parse(QString const& text, double rate);

    // Reads what someone types: counted as this one, and with ":" before the frames also when that is drop frame.
    std::optional<Timecode> ParseAlike(QString const& text) const;

    QString ToText() const; // frames with two digits, with three above 100 a second

    Timecode Plus(long long frames) const;                      // also below 0
    long long FramesSince(Timecode const& earlier) const;       // of the same counting, within 24 hours
    long long GetFrames() const { return frames; }              // since 00:00:00:00
    bool IsDropFrame() const { return droppedPerMinute > 0; }   // counts with dropped numbers
    int GetRate() const { return static_cast<int>(perSecond); } // whole frames a second: 30 at 29.97

private:
    Timecode(long long perSecond, bool dropFrame);

    std::optional<long long> FramesIn(QString const& text) const;
    long long PerMinute() const { return 60 * perSecond - droppedPerMinute; } // but for each tenth
    long long PerTenMinutes() const { return 600 * perSecond - 9 * droppedPerMinute; }
    long long PerDay() const { return 144 * PerTenMinutes(); }

    long long perSecond;
    long long droppedPerMinute;
    long long frames = 0; // below PerDay()
};
