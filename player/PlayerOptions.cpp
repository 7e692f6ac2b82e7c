#include "player/PlayerOptions.h"

#include "common/TimeText.h"
#include "player/PlayerOptionTable.h"

#include <QCommandLineParser>
#include <QRegularExpression>

#include <cmath>

namespace {

constexpr double maxSpeed = 16.0;
constexpr double longestStill = 86400.0; // seconds

void Declare(QCommandLineParser& parser)
{
    parser.setApplicationDescription("Plays movies, sound, pictures and image sequences, forwards and backwards.");
    parser.addPositionalArgument("FILE", "What to play, one after another.", "[FILE...]");
    parser.addHelpOption();
    parser.addVersionOption();
    for (Option const& option : playerOptions)
        parser.addOption(option.Declared());
}

std::optional<double> Number(QString const& text, double lowest, double highest)
{
    bool isNumber = false;
    double const value = text.toDouble(&isNumber);
    if (!isNumber || !(value >= lowest && value <= highest))
        return std::nullopt;
    return value;
}

std::optional<QRect> Geometry(QString const& text)
{
    static QRegularExpression const pattern("^(\\d{1,5})x(\\d{1,5})(?:\\+(\\d{1,5})\\+(\\d{1,5}))?$");
    auto const match = pattern.match(text);
    if (!match.hasMatch() || match.captured(1).toInt() < 1 || match.captured(2).toInt() < 1)
        return std::nullopt;
    QPoint const place =
        match.captured(3).isEmpty() ? QPoint(-1, -1) : QPoint(match.captured(3).toInt(), match.captured(4).toInt());
    return QRect(place, QSize(match.captured(1).toInt(), match.captured(2).toInt()));
}

std::optional<bool> YesOrNo(QString const& text)
{
    if (text == "yes" || text == "no")
        return text == "yes";
    return std::nullopt;
}

// Reads single options and keeps the first fault.
class Reader
{
public:
    Reader(QCommandLineParser const& parser, QString& fault) : parser(parser), fault(fault) {}

    template <typename T, typename Convert>
    void Read(char const* name, T& place, Convert const& convert)
    {
        if (!parser.isSet(name))
            return;
        if (auto const value = convert(parser.value(name)))
            place = *value;
        else if (fault.isEmpty())
            fault = QString("--%1 does not take \"%2\".").arg(name, parser.value(name));
    }

private:
    QCommandLineParser const& parser;
    QString& fault;
};

std::optional<double> Speed(QString const& text)
{
    auto const speed = Number(text, -maxSpeed, maxSpeed);
    return speed && *speed != 0.0 ? speed : std::nullopt;
}

std::optional<int> CacheSize(QString const& text)
{
    auto const size = Number(text, 1.0, 1024.0 * 1024.0);
    return size ? std::optional<int>(static_cast<int>(*size)) : std::nullopt;
}

std::optional<int> SoundStreamNumber(QString const& text)
{
    bool isNumber = false;
    int const number = text.toInt(&isNumber);
    return isNumber && number >= 1 ? std::optional<int>(number - 1) : std::nullopt;
}

std::optional<double> Volume(QString const& text)
{
    auto const percent = Number(text, 0.0, 100.0);
    return percent ? std::optional<double>(*percent / 100.0) : std::nullopt;
}

std::optional<QString> Audio(QString const& text)
{
    bool const isKnown = text == "portaudio" || text == "null" || (text.startsWith("wav:") && text.size() > 4);
    return isKnown ? std::optional<QString>(text) : std::nullopt;
}

std::optional<bool> StreamOrPlain(QString const& text)
{
    if (text == "stream" || text == "plain")
        return text == "stream";
    return std::nullopt;
}

std::optional<PictureView::Painting> Painting(QString const& text)
{
    auto const wanted = YesOrNo(text);
    if (!wanted)
        return std::nullopt;
    return *wanted ? PictureView::Painting::OpenGl : PictureView::Painting::Painter;
}

} // namespace

PlayerOptions PlayerOptions::Parse(QStringList const& arguments)
{
    PlayerOptions options;
    QCommandLineParser parser;
    Declare(parser);
    if (!parser.parse(WithBareValues(arguments, playerOptions))) {
        options.fault = parser.errorText();
        return options;
    }
    if (parser.isSet("help"))
        options.text = parser.helpText();
    else if (parser.isSet("version"))
        options.text = QString("tavolin-player %1\n").arg(QCoreApplication::applicationVersion());
    options.files = parser.positionalArguments();
    options.paused = parser.isSet("paused");
    options.once = parser.isSet("once");
    options.toneMapping = !parser.isSet("no-tone-mapping");
    options.fullScreen = parser.isSet("fullscreen");
    options.compare = parser.value("compare");

    Reader reader(parser, options.fault);
    reader.Read("speed", options.speed, Speed);
    reader.Read("start", options.start, TimeText::Parse);
    reader.Read("loop", options.loop, YesOrNo);
    reader.Read("mute", options.mute, YesOrNo);
    reader.Read("volume", options.volume, Volume);
    reader.Read("cache-mb", options.cacheMegabytes, CacheSize);
    reader.Read("fps", options.sequenceRate, [](QString const& text) { return Number(text, 0.1, 1000.0); });
    reader.Read("still-seconds", options.stillSeconds,
                [](QString const& text) { return Number(text, 0.0, longestStill); });
    reader.Read("colours", options.streamColours, StreamOrPlain);
    reader.Read("sound-stream", options.soundStream, SoundStreamNumber);
    reader.Read("geometry", options.geometry, Geometry);
    reader.Read("audio", options.audio, Audio);
    reader.Read("opengl", options.painting, Painting);
    return options;
}
