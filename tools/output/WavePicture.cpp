#include "tools/output/WavePicture.h"

#include "tools/output/Canvas.h"
#include "tools/output/SoundLevels.h"
#include "tools/output/TimeAxis.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Colour backgroundColour = {22, 24, 28};
constexpr Colour laneColour = {30, 33, 39};
constexpr Colour absentColour = {12, 13, 15};
constexpr Colour gridColour = {44, 48, 56};
constexpr Colour peakColour = {52, 120, 150};
constexpr Colour rmsColour = {116, 196, 220};
constexpr Colour textColour = {176, 182, 192};

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

constexpr double loudest = 32768.0;

// A lane's rows, and the row of a sample in it.
struct Lane
{
    int top = 0;
    int height = 0;

    int RowOf(double sample) const
    {
        double const share = (loudest - sample) / (2.0 * loudest);
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
    for (double const half : {-loudest / 2, loudest / 2})
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
