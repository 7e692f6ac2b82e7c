#include "common/Timecode.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace {

// Drop frame exists for 30000/1001 pictures per second and its multiples.
constexpr long long dropFrameRate = 30;
constexpr long long droppedAtThirty = 2;

// 0 for a rate without timecode.
long long WholeRate(double rate)
{
    bool const isUsable = std::isfinite(rate) && rate >= 0.5 && rate < Timecode::highestRate + 0.5;
    return isUsable ? static_cast<long long>(std::floor(rate + 0.5)) : 0;
}

QString Padded(long long number, int digits)
{
    return QStringLiteral("%1").arg(number, digits, 10, QLatin1Char('0'));
}

} // namespace

Timecode::Timecode(long long newPerSecond, bool dropFrame)
    : perSecond(newPerSecond), droppedPerMinute(dropFrame ? newPerSecond / dropFrameRate * droppedAtThirty : 0)
{}

std::optional<Timecode> Timecode::Zero(double rate)
{
    long long const whole = WholeRate(rate);
    return whole > 0 ? std::optional<Timecode>(Timecode(whole, /*dropFrame=*/false)) : std::nullopt;
}

std::optional<Timecode> Timecode::Parse(QString const& text, double rate)
{
    long long const whole = WholeRate(rate);
    bool const isDropFrame = text.contains(QLatin1Char(';'));
    if (whole == 0 || (isDropFrame && whole % dropFrameRate != 0))
        return std::nullopt;
    return Timecode(whole, isDropFrame).ParseAlike(text);
}

bool Timecode::IsMeantBy(QString const& text)
{
    return text.count(QLatin1Char(':')) == 3 || text.contains(QLatin1Char(';'));
}

long long Timecode::PicturesPerFrame(double pictureRate, double timecodeRate)
{
    double const pictures = pictureRate / timecodeRate;
    return std::isfinite(pictures) && pictures < highestRate ? std::max(1LL, std::llround(pictures)) : 1;
}

std::optional<Timecode> Timecode::ParseAlike(QString const& text) const
{
    auto const parsed = FramesIn(text);
    if (!parsed)
        return std::nullopt;
    Timecode timecode = *this;
    timecode.frames = *parsed;
    return timecode;
}

std::optional<long long> Timecode::FramesIn(QString const& text) const
{
    static QRegularExpression const form(QStringLiteral("^([0-9]{1,2}):([0-9]{1,2}):([0-9]{1,2})([:;])([0-9]{1,3})$"));
    QRegularExpressionMatch const match = form.match(text);
    if (!match.hasMatch() || (match.captured(4) == QLatin1String(";") && !IsDropFrame()))
        return std::nullopt;
    long long const hours = match.captured(1).toInt();
    long long const minutes = match.captured(2).toInt();
    long long const seconds = match.captured(3).toInt();
    long long const frame = match.captured(5).toInt();
    if (hours >= 24 || minutes >= 60 || seconds >= 60 || frame >= perSecond)
        return std::nullopt;
    if (seconds == 0 && minutes % 10 != 0 && frame < droppedPerMinute)
        return std::nullopt; // a dropped number
    long long const allMinutes = 60 * hours + minutes;
    return (60 * allMinutes + seconds) * perSecond + frame - droppedPerMinute * (allMinutes - allMinutes / 10);
}

QString Timecode::ToText() const
{
    // Adds the dropped numbers to the count. The first of ten minutes drops none.
    long long const inTen = frames % PerTenMinutes();
    long long const laterMinutes = inTen < 60 * perSecond ? 0 : 1 + (inTen - 60 * perSecond) / PerMinute();
    long long const number = frames + droppedPerMinute * (9 * (frames / PerTenMinutes()) + laterMinutes);
    long long const seconds = number / perSecond;
    return Padded(seconds / 3600, 2) + QLatin1Char(':') + Padded(seconds / 60 % 60, 2) + QLatin1Char(':') +
           Padded(seconds % 60, 2) + QLatin1Char(IsDropFrame() ? ';' : ':') +
           Padded(number % perSecond, perSecond > 100 ? 3 : 2);
}

Timecode Timecode::Plus(long long more) const
{
    Timecode sum = *this;
    sum.frames = ((frames + more % PerDay()) % PerDay() + PerDay()) % PerDay();
    return sum;
}

long long Timecode::FramesSince(Timecode const& earlier) const
{
    return (frames - earlier.frames + PerDay()) % PerDay();
}
