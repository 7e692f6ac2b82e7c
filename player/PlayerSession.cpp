#include "player/PlayerSession.h"

#include "media/AvGlobals.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSettings.h"
#include "player/sound/SoundPlayer.h"
#include "player/sound/WaveformReader.h"
#include "source/ImageFormat.h"
#include "source/SequencePictures.h"

#include <QFileInfo>
#include <QThreadPool>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

// Longest that the window waits for the list of a folder. A slower one is taken when it is ready.
constexpr std::chrono::milliseconds folderPatience(50);

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

std::optional<double> StillSeconds(PlayerOptions const& options, PlayerSettings const& settings)
{
    if (options.stillSeconds)
        return options.stillSeconds;
    if (settings.stillSeconds > 0.0)
        return settings.stillSeconds;
    return options.once ? std::optional<double>(0.0) : std::nullopt;
}

} // namespace

EarlyEngine EarlyEngine::Start(PlayerOptions const& options, PlayerSettings const& settings)
{
    QString const path = options.files.value(0);
    if (!options.fault.isEmpty() || !QFileInfo(path).isFile() || !ImageFormatOf(path).isEmpty())
        return {};
    EarlyEngine early{std::make_unique<PlaybackEngine>(EngineOptions(options, settings)), path};
    early.engine->Open(path);
    return early;
}

// cppcheck-suppress passedByValue ; it is moved from
PlayerSession::PlayerSession(PlayerOptions const& options, PlayerSettings const& settings, EarlyEngine early,
                             QObject* parent)
    : QObject(parent),
      engineOptions(EngineOptions(options, settings)),
      engine(early.engine ? std::move(early.engine) : std::make_unique<PlaybackEngine>(engineOptions)),
      earlyPath(std::move(early.path)),
      transport(*engine),
      sound(std::make_unique<SoundPlayer>(*engine, AudioDevice::Make(options.audio))),
      startTime(options.start),
      startsPaused(options.paused),
      once(options.once),
      stillSeconds(StillSeconds(options, settings))
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
    auto const task = std::make_shared<std::packaged_task<Playlist()>>([paths] { return Playlist(paths); });
    reading = task->get_future();
    QThreadPool::globalInstance()->start([task] { (*task)(); });
    TakePlaylist(folderPatience);
}

void PlayerSession::TakePlaylist(std::chrono::milliseconds patience)
{
    if (!reading.valid() || reading.wait_for(patience) != std::future_status::ready)
        return;
    playlist = reading.get();
    passedOver.clear();
    direction = 1;
    if (!playlist.IsEmpty())
        OpenCurrent();
}

bool PlayerSession::Move(int entries)
{
    passedOver.clear();
    return MoveOn(entries);
}

bool PlayerSession::MoveOn(int entries)
{
    bool const moved = playlist.Move(entries);
    direction = entries < 0 ? -1 : 1;
    if (moved)
        OpenCurrent();
    return moved;
}

void PlayerSession::Close()
{
    sound->Stop();
    engine->Close();
}

void PlayerSession::OpenCurrent()
{
    sound->Stop();
    StopWaveform();
    emit PeaksRead({});
    opening = true;
    sounding = false;
    endedBeats = 0;
    isDamaged = false;
    stillTimer.invalidate();
    emit Began();
    transport.Reset(); // paused until the file is there, to play from the start time on
    Playlist::Entry const& entry = playlist.GetCurrent();
    bool const isOpen = entry.path == std::exchange(earlyPath, {}) && !entry.isSequence;
    if (entry.isSequence)
        engine->OpenSequence(entry.path);
    else if (!isOpen)
        engine->Open(entry.path);
    if (startTime != 0)
        engine->Seek(startTime);
    else if (entry.startIndex > 0)
        engine->Seek(SequencePictures::TimeOf(entry.startIndex, SequencePictures::RateFor(engineOptions)));
}

PlaybackStatus PlayerSession::Follow()
{
    TakePlaylist(std::chrono::milliseconds(0));
    PlaybackStatus status = engine->GetStatus();
    FollowOpening(status);
    FollowDamage(status);
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
        TakeFailed(status.error);
    }
}

void PlayerSession::TakeFailed(QString const& error)
{
    opening = false;
    ++unopened;
    passedOver << error;
    emit PassedOver(error);
    if (!MoveOn(direction))
        emit Failed(passedOver.join('\n'));
}

void PlayerSession::TakeOpened(PlaybackStatus const& status)
{
    opening = false;
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
               status.durationKnown && IsWaveformStretched(status)) {
        ReadWaveform(status); // the container had the duration wrong
    } else if (status.soundStream != waveStream) {
        ReadWaveform(status);
    }
}

// By more than two of its peaks: the sound of most movies ends with a packet that reaches beyond their end.
bool PlayerSession::IsWaveformStretched(PlaybackStatus const& status) const
{
    return std::abs(status.start + status.duration - waveEnd) > 2 * status.duration / WaveformReader::peakCount;
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

void PlayerSession::FollowDamage(PlaybackStatus const& status)
{
    if (opening || isDamaged || (status.error.isEmpty() && status.damage.isEmpty()))
        return;
    isDamaged = true;
    ++damaged;
}

void PlayerSession::FollowEnd(PlaybackStatus const& status)
{
    // A beat after the end has come, so that the last picture has been on show.
    endedBeats = !opening && HasEnded(status) ? std::min(endedBeats + 1, 3) : 0;
    if (endedBeats != 2)
        return;
    // By hand, play backwards ends where the file begins. Without an onlooker it is as good an end as the other.
    bool const isForwards = transport.GetSpeed() > 0.0 && status.position > status.start;
    bool const isAtEnd = status.kind == SourceKind::Still || isForwards || (once && transport.GetSpeed() < 0.0);
    if (!isAtEnd || !Move(1))
        emit CameToEnd(status);
}

// A still image has no end of its own: it stays for the time that was asked for, which passes while it is not paused.
bool PlayerSession::HasEnded(PlaybackStatus const& status)
{
    if (status.kind != SourceKind::Still)
        return status.state == PlaybackState::Ended;
    if (status.speed == 0.0 || !stillSeconds)
        stillTimer.invalidate();
    else if (!stillTimer.isValid())
        stillTimer.start();
    return stillTimer.isValid() && static_cast<double>(stillTimer.elapsed()) >= *stillSeconds * 1000.0;
}

int PlayerSession::GetExitCode() const
{
    if (unopened == 0 && damaged == 0)
        return 0;
    if (playlist.GetCount() > 1)
        return 1;
    return unopened > 0 ? 3 : 4;
}

void PlayerSession::SetStreamColours(bool follow)
{
    engineOptions.colours.followStream = follow;
    engine->SetColours(engineOptions.colours);
}

void PlayerSession::SetScrubSound(bool on)
{
    engineOptions.scrubSound = on;
    engine->SetScrubSound(on);
}

// The device stays open for a stream of the same format.
void PlayerSession::SetSoundStream(int number)
{
    PlaybackStatus const status = engine->GetStatus();
    SoundStreamInfo const wanted = status.soundStreams.value(number);
    if (!wanted.isDecodable || number == status.soundStream)
        return;
    bool const fits = std::min(wanted.channels, AvGlobals::maxAudioOutputChannels) == status.channels &&
                      wanted.sampleRate == status.sampleRate;
    if (!fits) {
        sound->Stop();
        sounding = false;
    }
    engine->SetSoundStream(number);
}
