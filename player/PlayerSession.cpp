#include "player/PlayerSession.h"

#include "media/AvGlobals.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSettings.h"
#include "player/sound/SoundPlayer.h"
#include "player/sound/WaveformReader.h"

#include <algorithm>
#include <utility>

namespace {

PlaybackOptions EngineOptions(PlayerOptions const& options, PlayerSettings const& settings)
{
    PlaybackOptions engineOptions;
    engineOptions.cacheBudget = options.cacheMegabytes.value_or(settings.cacheMegabytes) * 1024LL * 1024LL;
    if (options.sequenceRate)
        engineOptions.sequenceRate = *options.sequenceRate;
    engineOptions.colours.followStream = options.streamColours.value_or(settings.streamColours);
    engineOptions.soundStream = options.soundStream;
    engineOptions.scrubSound = settings.scrubSound;
    engineOptions.colours.toneMapping = options.toneMapping;
    return engineOptions;
}

} // namespace

PlayerSession::PlayerSession(PlayerOptions const& options, PlayerSettings const& settings, QObject* parent)
    : QObject(parent),
      engineOptions(EngineOptions(options, settings)),
      engine(engineOptions),
      transport(engine),
      sound(std::make_unique<SoundPlayer>(engine, AudioDevice::Make(options.audio))),
      startTime(options.start),
      startsPaused(options.paused)
{
    connect(sound.get(), &SoundPlayer::NoteChanged, this, [this](QString const& note) { soundNote = note; });
    transport.SetSpeed(options.speed);
    transport.SetVolume(options.volume.value_or(settings.volume));
    transport.SetMuted(options.mute.value_or(settings.muted));
    transport.SetLooping(options.loop.value_or(settings.looping));
}

PlayerSession::~PlayerSession() = default;

void PlayerSession::Open(QStringList const& paths)
{
    playlist = Playlist(paths);
    if (!playlist.IsEmpty())
        OpenCurrent();
}

bool PlayerSession::Move(int entries)
{
    bool const moved = playlist.Move(entries);
    if (moved)
        OpenCurrent();
    return moved;
}

void PlayerSession::Close()
{
    sound->Stop();
    engine.Close();
}

void PlayerSession::OpenCurrent()
{
    sound->Stop();
    StopWaveform();
    emit PeaksRead({});
    opening = true;
    sounding = false;
    ended = false;
    emit Began();
    transport.Reset(); // paused until the file is there, to play from the start time on
    Playlist::Entry const& entry = playlist.GetCurrent();
    if (entry.isSequence)
        engine.OpenSequence(entry.path);
    else
        engine.Open(entry.path);
}

PlaybackStatus PlayerSession::Follow()
{
    PlaybackStatus status = engine.GetStatus();
    FollowOpening(status);
    FollowSound(status);
    FollowEnd(status);
    return status;
}

void PlayerSession::FollowOpening(PlaybackStatus const& status)
{
    if (!opening || status.state == PlaybackState::Opening || status.path != playlist.GetCurrent().path)
        return;
    if (status.state != PlaybackState::Closed) {
        TakeOpened(status);
    } else if (!status.error.isEmpty()) {
        opening = false;
        emit Failed(status.error);
    }
}

void PlayerSession::TakeOpened(PlaybackStatus const& status)
{
    opening = false;
    if (startTime != 0)
        engine.Seek(startTime);
    startTime = 0;
    transport.SetLooping(transport.IsLooping()); // over what is open now
    if (!startsPaused)
        transport.Play();
    emit Opened(status);
}

// The sound of a movie opens after its first picture: well after it where the sound starts far into the file.
void PlayerSession::FollowSound(PlaybackStatus const& status)
{
    if (opening)
        return;
    bool const wasPlaying = std::exchange(playing, status.state == PlaybackState::Playing);
    if (playing && !wasPlaying)
        sound->Reopen();
    if (status.isSoundChanging)
        return;
    if (!sounding && status.channels > 0 && status.sampleRate > 0) {
        sounding = true;
        sound->Start(status.sampleRate, status.channels);
        ReadWaveform(status);
    } else if (status.state != PlaybackState::Closed && status.state != PlaybackState::Opening &&
               status.durationKnown && status.start + status.duration != waveEnd) {
        ReadWaveform(status); // the container had the duration wrong
    } else if (status.soundStream != waveStream) {
        ReadWaveform(status);
    }
}

void PlayerSession::ReadWaveform(PlaybackStatus const& status)
{
    StopWaveform();
    waveEnd = status.start + status.duration;
    waveStream = status.soundStream;
    if (status.channels <= 0 || status.duration <= 0)
        return;
    waveform = new WaveformReader(status, this);
    connect(waveform, &QThread::finished, waveform, &QObject::deleteLater);
    connect(waveform, &WaveformReader::PeaksRead, this, [this, reader = waveform.data()](auto const& peaks) {
        if (reader == waveform)
            emit PeaksRead(peaks);
    });
    waveform->start(QThread::IdlePriority);
}

void PlayerSession::StopWaveform()
{
    if (waveform)
        waveform->Stop();
    waveform = nullptr;
}

void PlayerSession::FollowEnd(PlaybackStatus const& status)
{
    bool const wasEnded = ended;
    ended = !opening && status.state == PlaybackState::Ended && status.kind != SourceKind::Still;
    if (!ended || wasEnded)
        return;
    bool const isLastEnd = transport.GetSpeed() <= 0.0 || status.position <= status.start || !Move(1);
    if (isLastEnd)
        emit CameToEnd(status);
}

void PlayerSession::SetStreamColours(bool follow)
{
    engineOptions.colours.followStream = follow;
    engine.SetColours(engineOptions.colours);
}

void PlayerSession::SetScrubSound(bool on)
{
    engineOptions.scrubSound = on;
    engine.SetScrubSound(on);
}

// The device stays open for a stream of the same format.
void PlayerSession::SetSoundStream(int number)
{
    PlaybackStatus const status = engine.GetStatus();
    SoundStreamInfo const wanted = status.soundStreams.value(number);
    if (!wanted.isDecodable || number == status.soundStream)
        return;
    bool const fits = std::min(wanted.channels, AvGlobals::maxAudioOutputChannels) == status.channels &&
                      wanted.sampleRate == status.sampleRate;
    if (!fits) {
        sound->Stop();
        sounding = false;
    }
    engine.SetSoundStream(number);
}
