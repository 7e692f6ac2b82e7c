#pragma once

#include "playback/PlaybackEngine.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSettings.h"
#include "player/Playlist.h"
#include "player/RecentFiles.h"
#include "player/controls/KeyMap.h"
#include "player/controls/Transport.h"

#include <QFutureWatcher>
#include <QPointer>
#include <QTimer>
#include <QWidget>

class ControlBar;
class HelpOverlay;
class QLabel;
class SoundPlayer;
class StatisticsOverlay;
class Timeline;
class WaveformReader;
class WelcomePanel;

// The player's window. It asks the engine for the picture on every beat of a timer, and hands keys, mouse and files to
// whom they concern; nothing in it waits for a file or a device.
class PlayerWindow : public QWidget
{
    Q_OBJECT

public:
    // Opens the files that the options name.
    PlayerWindow(PlayerOptions const& options, PlayerSettings const& settings);
    ~PlayerWindow() override; // saves the settings

    void Open(QStringList const& paths);
    void Perform(PlayerAction action);

    PlaybackEngine& GetEngine();
    Transport& GetTransport();
    PictureView& GetView();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override; // Tab is a key like any other
    void resizeEvent(QResizeEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void BuildLayout();
    void Connect();
    void ReadKeys();
    void ApplyGeometry();

    void OpenCurrent();
    void MoveInPlaylist(int entries);
    void TakeOpened(PlaybackStatus const& status);
    void TakeFailed(PlaybackStatus const& status);
    void FollowSound(PlaybackStatus const& status);
    void ReadWaveform(PlaybackStatus const& status);

    void Tick();
    void FollowOpening(PlaybackStatus const& status);
    void FollowEnd(PlaybackStatus const& status);
    void Finish(PlaybackStatus const& status);
    void ShowStatus(PlaybackStatus const& status);
    void ShowControls();
    void ShowNotes(PlaybackStatus const& status);

    void ShowOpenDialog();
    void SavePicture();
    void CopyPicture();
    void SetFullScreen(bool full);
    void LeaveFullScreen();
    void FollowPointer(QPoint position);
    void ToggleColours();
    QString PaintingText() const;
    QString FreePictureName() const;

    PlayerOptions options;
    PlayerSettings settings;
    RecentFiles recentFiles;
    KeyMap keys;
    Playlist playlist;
    PlaybackOptions engineOptions;
    PlaybackEngine engine;
    Transport transport;

    PictureView* view;
    Timeline* timeline;
    ControlBar* bar;
    QWidget* panel; // timeline and controls
    HelpOverlay* help;
    StatisticsOverlay* statistics;
    WelcomePanel* welcome;
    QLabel* soundTitle; // in place of a picture
    SoundPlayer* sound;
    QPointer<WaveformReader> waveform;

    QTimer beat;
    QTimer pointerRest;    // hides the pointer in full screen
    bool opening = false;  // the present entry, until it plays or fails
    bool sounding = false; // its sound has been started
    bool firstFile = true; // the start time is for it alone
    bool ended = false;    // the present entry has come to its end
    long long waveEnd = 0; // of the media when the waveform was read
    QString soundNote;     // why there is no sound
};
