#pragma once

#include <QString>

#include <optional>

// A timecode of SMPTE ST 12-1: the address of a picture as hours, minutes, seconds and frames of one day,
// "01:00:10:02".
//
// Counts a whole number of frames per second, so at 29.97 pictures per second an hour of non-drop timecode lasts 3.6
// seconds too long. Drop frame ("01:00:10;02") corrects this by skipping numbers at the start of every minute except
// each tenth: 0 and 1 at 29.97, 0 to 3 at 59.94. No picture is skipped. After 24 hours the count restarts. A value.
class Timecode
{
public:
    static constexpr int highestRate = 120;

    // Non-drop 00:00:00:00 at `rate` pictures per second. Empty for rates that do not round to 1 to 120.
    static std::optional<Timecode> Zero(double rate);

    // Reads "01:00:10:02", and "01:00:10;02" as drop frame. Empty for other text, for a number that does not exist at
    // that rate (a dropped one too), and for drop frame at a rate that is no multiple of 30.
    static std::optional<Timecode> Parse(QString const& text, double rate);

    // Whether typed text means a timecode and not a time: three colons, or a semicolon.
    static bool IsMeantBy(QString const& text);

    // How many pictures bear the same timecode: 2 where 50 pictures a second have a timecode of 25. At least 1.
    static long long PicturesPerFrame(double pictureRate, double timecodeRate);

    // Reads typed text with this timecode's rate and counting; ":" before the frames is accepted for drop frame too.
    std::optional<Timecode> ParseAlike(QString const& text) const;

    QString ToText() const; // two digits for frames, three above 100 per second

    Timecode Plus(long long frames) const;                      // may be negative
    long long FramesSince(Timecode const& earlier) const;       // of the same counting, within 24 hours
    long long GetFrames() const { return frames; }              // since 00:00:00:00
    bool IsDropFrame() const { return droppedPerMinute > 0; }   // counts with dropped numbers
    int GetRate() const { return static_cast<int>(perSecond); } // whole frames per second: 30 at 29.97

private:
    Timecode(long long perSecond, bool dropFrame);

    std::optional<long long> FramesIn(QString const& text) const;
    long long PerMinute() const { return 60 * perSecond - droppedPerMinute; } // except each tenth minute
    long long PerTenMinutes() const { return 600 * perSecond - 9 * droppedPerMinute; }
    long long PerDay() const { return 144 * PerTenMinutes(); }

    long long perSecond;
    long long droppedPerMinute;
    long long frames = 0; // below PerDay()
};
