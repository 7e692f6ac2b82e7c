#pragma once

#include "playback/PlaybackEngine.h"
#include "player/Playlist.h"
#include "player/controls/Transport.h"

#include <QObject>
#include <QPointer>
#include <QVector>

#include <memory>

class PlayerOptions;
class PlayerSettings;
class SoundPlayer;
class WaveformReader;

// Plays the entries of a playlist one after another: opens each on the engine, starts its sound, has its waveform read,
// and goes on to the next at its end. Knows no widget. The window's thread.
class PlayerSession : public QObject
{
    Q_OBJECT

public:
    PlayerSession(PlayerOptions const& options, PlayerSettings const& settings, QObject* parent = nullptr);
    ~PlayerSession() override;

    PlaybackEngine& GetEngine() { return engine; }
    Transport& GetTransport() { return transport; }
    Playlist const& GetPlaylist() const { return playlist; }
    PlaybackOptions const& GetEngineOptions() const { return engineOptions; }

    void Open(QStringList const& paths);
    bool Move(int entries); // to a later or earlier entry; false where there is none
    void Close();           // stops sound and engine

    // To be called on every beat of the display: acts on what the engine has done since the last call.
    PlaybackStatus Follow();

    bool IsOpening() const { return opening; }                // from Began to Opened or Failed
    QString const& GetSoundNote() const { return soundNote; } // why there is no sound; empty when there is

    SourceOptions const& GetSourceOptions() const { return engineOptions; } // with which files are opened
    bool FollowsStreamColours() const { return engineOptions.colours.followStream; }
    void SetStreamColours(bool follow); // also for what is open

    void SetSoundStream(int number); // of the current entry, see PlaybackEngine

    bool HasScrubSound() const { return engineOptions.scrubSound; } // see PlaybackEngine::SetScrubSound
    void SetScrubSound(bool on);

signals:
    void Began(); // the current entry is being opened
    void Opened(PlaybackStatus const& status);
    void Failed(QString const& error);            // the current entry cannot be opened
    void CameToEnd(PlaybackStatus const& status); // once each time that the last entry plays to its end
    void PeaksRead(QVector<quint8> const& peaks); // as a WaveformReader gives them; empty for a new entry

private:
    void OpenCurrent();
    void FollowOpening(PlaybackStatus const& status);
    void TakeOpened(PlaybackStatus const& status);
    void FollowSound(PlaybackStatus const& status);
    void FollowEnd(PlaybackStatus const& status);
    void ReadWaveform(PlaybackStatus const& status);
    void StopWaveform();

    PlaybackOptions engineOptions;
    PlaybackEngine engine;
    Transport transport;
    std::unique_ptr<SoundPlayer> sound; // behind the engine, which it asks until it is gone
    QPointer<WaveformReader> waveform;
    Playlist playlist;
    long long startTime; // microseconds; of the first file alone
    bool startsPaused;
    bool opening = false;
    bool sounding = false; // the current entry's sound has been started
    bool playing = false;  // as of the last Follow
    bool ended = false;    // the current entry has come to its end
    long long waveEnd = 0; // of the media when the waveform was read
    int waveStream = -1;   // of sound, of which it was read
    QString soundNote;
};
