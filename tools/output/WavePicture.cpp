#include "tools/output/WavePicture.h"

#include "common/Microseconds.h"
#include "tools/output/Canvas.h"
#include "tools/output/SoundLevels.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr Colour laneColour = {30, 33, 39};
constexpr Colour absentColour = {12, 13, 15};
constexpr Colour gridColour = {44, 48, 56};
constexpr Colour peakColour = {52, 120, 150};
constexpr Colour rmsColour = {116, 196, 220};

constexpr int sideSpace = 12;
constexpr int topSpace = 12;
constexpr int laneDistance = 6;
constexpr int usualLane = 120;
constexpr int leastLane = 9;

constexpr int textScale = 2;
constexpr int markLength = 6;
constexpr int axisSpace = 36; // marks, texts and what is around them
constexpr int textDistance = 24;
constexpr int widestText = 88; // "0:05.250"

constexpr double fullScale = 32768.0;

// A lane's rows, and the row of a sample in it.
struct Lane
{
    int top = 0;
    int height = 0;

    int RowOf(double sample) const
    {
        double const share = (fullScale - sample) / (2.0 * fullScale);
        return top + std::clamp(static_cast<int>(share * height), 0, height - 1);
    }
};

int LanesOf(int channels, int laneHeight)
{
    return topSpace + channels * laneHeight + (channels - 1) * laneDistance + axisSpace;
}

void DrawLine(Canvas& canvas, int column, int upper, int lower, Colour colour)
{
    canvas.Fill(sideSpace + column, upper, 1, lower - upper + 1, colour);
}

void DrawLevel(Canvas& canvas, Lane const& lane, int column, SoundLevels::Level const& level)
{
    if (level.count == 0) {
        DrawLine(canvas, column, lane.top, lane.top + lane.height - 1, absentColour);
        return;
    }
    int const upper = lane.RowOf(level.highest);
    int const lower = lane.RowOf(level.lowest);
    DrawLine(canvas, column, upper, lower, peakColour);
    int const rmsUpper = std::max(upper, lane.RowOf(level.GetRms()));
    int const rmsLower = std::min(lower, lane.RowOf(-level.GetRms()));
    if (rmsUpper <= rmsLower)
        DrawLine(canvas, column, rmsUpper, rmsLower, rmsColour);
}

void DrawLane(Canvas& canvas, Lane const& lane, SoundLevels const& levels, int channel)
{
    canvas.Fill(sideSpace, lane.top, levels.GetColumnCount(), lane.height, laneColour);
    for (double const half : {-fullScale / 2, fullScale / 2})
        canvas.Fill(sideSpace, lane.RowOf(half), levels.GetColumnCount(), 1, gridColour);
    for (int column = 0; column < levels.GetColumnCount(); ++column)
        DrawLevel(canvas, lane, column, levels.GetLevel(channel, column));
}

void DrawAxis(Canvas& canvas, SoundLevels const& levels, int top)
{
    int const columns = levels.GetColumnCount();
    int const most = columns / (widestText + textDistance);
    canvas.Fill(sideSpace, top, columns, 1, gridColour);
    for (TimeAxis::Mark const& mark : TimeAxis::Marks(levels.GetFrom(), levels.GetTo(), most)) {
        int const column = std::min(static_cast<int>(mark.place * columns), columns - 1);
        canvas.Fill(sideSpace + column, top, 1, markLength, textColour);
        int const width = Canvas::TextWidth(mark.text, textScale);
        int const left = std::clamp(sideSpace + column - width / 2, sideSpace, sideSpace + columns - width);
        canvas.Write(mark.text, left, top + markLength + 4, textScale, textColour);
    }
}

} // namespace

int WavePicture::SideSpace()
{
    return sideSpace;
}

int WavePicture::DefaultHeight(int channels)
{
    return LanesOf(channels, usualLane);
}

int WavePicture::LeastHeight(int channels)
{
    return LanesOf(channels, leastLane);
}

RgbPicture WavePicture::Draw(SoundLevels const& levels, int height)
{
    int const channels = levels.GetChannelCount();
    Canvas canvas(levels.GetColumnCount() + 2 * sideSpace, height, backgroundColour);
    int const room = height - topSpace - axisSpace - (channels - 1) * laneDistance;
    Lane lane{topSpace, room / channels};
    for (int channel = 0; channel < channels; ++channel) {
        DrawLane(canvas, lane, levels, channel);
        lane.top += lane.height + laneDistance;
    }
    DrawAxis(canvas, levels, lane.top);
    return canvas.GetPicture();
}

namespace {

constexpr long long minuteUs = 60 * secondUs;
constexpr long long hourUs = 60 * minuteUs;

// Round steps of time; beyond the last one it doubles.
constexpr long long steps[] = {1000,          2000,          5000,          10000,    20000,        50000,
                               100000,        200000,        500000,        secondUs, 2 * secondUs, 5 * secondUs,
                               10 * secondUs, 15 * secondUs, 30 * secondUs, minuteUs, 2 * minuteUs, 5 * minuteUs,
                               10 * minuteUs, 15 * minuteUs, 30 * minuteUs, hourUs,   2 * hourUs,   6 * hourUs,
                               12 * hourUs,   24 * hourUs};

long long StepFor(long long duration, int most)
{
    for (long long const step : steps) {
        if (duration / step < most)
            return step;
    }
    long long step = *std::rbegin(steps);
    while (duration / step >= most && step < std::numeric_limits<long long>::max() / 2)
        step *= 2;
    return step;
}

QString Digits(long long number, int width)
{
    return QStringLiteral("%1").arg(number, width, 10, QLatin1Char('0'));
}

// Milliseconds where the step needs them, without zeros at the end.
QString Fraction(long long time, long long step)
{
    if (step >= secondUs)
        return {};
    int const digits = step % 100000 == 0 ? 1 : step % 10000 == 0 ? 2 : 3;
    return QLatin1Char('.') + Digits(time % secondUs / 1000, 3).left(digits);
}

QString TextOf(long long time, long long step)
{
    QString const sign = time < 0 ? QStringLiteral("-") : QString();
    long long const distance = time < 0 ? -time : time;
    QString const seconds = Digits(distance / secondUs % 60, 2) + Fraction(distance, step);
    if (distance < hourUs)
        return sign + QStringLiteral("%1:%2").arg(distance / minuteUs).arg(seconds);
    return sign + QStringLiteral("%1:%2:%3").arg(distance / hourUs).arg(Digits(distance / minuteUs % 60, 2), seconds);
}

} // namespace

std::vector<TimeAxis::Mark> TimeAxis::Marks(long long from, long long to, int most)
{
    long long const step = StepFor(to - from, std::max(most, 1));
    long long time = from / step * step;
    if (time < from)
        time += step;
    std::vector<Mark> marks;
    for (; time <= to; time += step)
        marks.push_back({static_cast<double>(time - from) / static_cast<double>(to - from), TextOf(time, step)});
    return marks;
}
