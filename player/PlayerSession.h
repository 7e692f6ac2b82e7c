#pragma once

#include "playback/PlaybackEngine.h"
#include "player/Playlist.h"
#include "player/controls/Transport.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVector>

#include <chrono>
#include <future>
#include <memory>
#include <optional>

class PlayerOptions;
class PlayerSettings;
class SoundPlayer;
class WaveformReader;

// An engine that opens a file before there is an application object, as the toolkit takes a good part of the start.
struct EarlyEngine
{
    // Begins with the first file of `options`; without an engine where what that stands for takes reading a folder.
    static EarlyEngine Start(PlayerOptions const& options, PlayerSettings const& settings);

    std::unique_ptr<PlaybackEngine> engine; // may be null
    QString path;                           // that it opens
};

// Plays the entries of a playlist one after another: opens each on the engine, starts its sound, has its waveform read,
// and goes on to the next at its end. What cannot be opened is passed over. Knows no widget. The window's thread.
class PlayerSession : public QObject
{
    Q_OBJECT

public:
    // `early`: made of the same options, or empty.
    PlayerSession(PlayerOptions const& options, PlayerSettings const& settings, EarlyEngine early = {},
                  QObject* parent = nullptr);
    ~PlayerSession() override;

    PlaybackEngine& GetEngine() { return *engine; }
    Transport& GetTransport() { return transport; }
    Playlist const& GetPlaylist() const { return playlist; }
    PlaybackOptions const& GetEngineOptions() const { return engineOptions; }

    void Open(QStringList const& paths); // files, patterns and folders; a large folder is read in the background
    bool Move(int entries);              // to a later or earlier entry; false where there is none
    void Close();                        // stops sound and engine

    // To be called on every beat of the display: acts on what the engine has done since the last call.
    PlaybackStatus Follow();

    bool IsReadingFolders() const { return reading.valid(); } // for the playlist of the last Open
    bool IsOpening() const { return opening; }                // from Began to Opened or Failed
    QString const& GetSoundNote() const { return soundNote; } // why there is no sound; empty when there is

    // Why files in front of the current one were passed over, a sentence each; empty when none was.
    QStringList const& GetPassedOver() const { return passedOver; }

    // As the commands have it: 0 when all that was opened was played whole, 3 for one file that cannot be opened, 4 for
    // one with damage or with a half that has no decoder, 1 when one of several failed either way.
    int GetExitCode() const;

    SourceOptions const& GetSourceOptions() const { return engineOptions; } // with which files are opened
    bool FollowsStreamColours() const { return engineOptions.colours.followStream; }
    void SetStreamColours(bool follow); // also for what is open

    void SetSoundStream(int number); // of the current entry, see PlaybackEngine

    bool HasScrubSound() const { return engineOptions.scrubSound; } // see PlaybackEngine::SetScrubSound
    void SetScrubSound(bool on);

signals:
    void Began(); // the current entry is being opened
    void Opened(PlaybackStatus const& status);
    void PassedOver(QString const& error);        // the current entry cannot be opened
    void Failed(QString const& error);            // nor can any behind it; why, a line for each
    void CameToEnd(PlaybackStatus const& status); // once each time that the last entry plays to its end
    void PeaksRead(QVector<quint8> const& peaks); // as a WaveformReader gives them; empty for a new entry

private:
    void TakePlaylist(std::chrono::milliseconds patience);
    bool MoveOn(int entries);
    void OpenCurrent();
    void FollowOpening(PlaybackStatus const& status);
    void TakeOpened(PlaybackStatus const& status);
    void TakeFailed(QString const& error);
    void FollowDamage(PlaybackStatus const& status);
    void FollowSound(PlaybackStatus const& status);
    void FollowEnd(PlaybackStatus const& status);
    bool HasEnded(PlaybackStatus const& status);
    bool IsWaveformStretched(PlaybackStatus const& status) const;
    void ReadWaveform(PlaybackStatus const& status);
    void StopWaveform();

    PlaybackOptions engineOptions;
    std::unique_ptr<PlaybackEngine> const engine;
    QString earlyPath; // what the engine opens already, until the session comes to open a file
    Transport transport;
    std::unique_ptr<SoundPlayer> sound; // behind the engine, which it asks until it is gone
    QPointer<WaveformReader> waveform;
    std::future<Playlist> reading;
    Playlist playlist;
    long long startTime; // microseconds; of the first file alone
    bool startsPaused;
    bool once;                          // each file is played to its end without a key pressed
    std::optional<double> stillSeconds; // empty: until the next key
    QElapsedTimer stillTimer;           // since the still image on show began to be played
    int direction = 1;                  // in which the playlist was gone through last
    QStringList passedOver;
    int unopened = 0;       // files
    int damaged = 0;        // files
    bool isDamaged = false; // the current entry
    bool opening = false;
    bool sounding = false; // the current entry's sound has been started
    bool playing = false;  // as of the last Follow
    int endedBeats = 0;    // for which the current entry has been at its end, up to 3
    long long waveEnd = 0; // of the media when the waveform was read
    int waveStream = -1;   // of sound, of which it was read
    QString soundNote;
};
