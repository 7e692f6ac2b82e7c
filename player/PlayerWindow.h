#pragma once

#include "player/DisplayBeat.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSession.h"
#include "player/PlayerSettings.h"
#include "player/controls/KeyMap.h"
#include "player/sound/SoundStreamMenu.h"

#include <QTimer>
#include <QWidget>

class ControlBar;
class FullScreenControls;
class HelpOverlay;
class PictureSaver;
class PictureTools;
class QLabel;
class Readout;
class Review;
class StatisticsOverlay;
class Timeline;
class WelcomePanel;

// The player's window. Shows the engine's picture on every tick of a timer, and passes on keys, mouse and files. Never
// waits for a file or a device.
class PlayerWindow : public QWidget
{
    Q_OBJECT

public:
    // Opens the files in `options`. `early`: as PlayerSession takes it.
    PlayerWindow(PlayerOptions const& options, PlayerSettings const& settings, EarlyEngine early = {});
    ~PlayerWindow() override; // saves the settings

    void Open(QStringList const& paths);
    void Perform(PlayerAction action);

    PlaybackEngine& GetEngine() { return session.GetEngine(); }
    Transport& GetTransport() { return session.GetTransport(); }
    PictureView& GetView() { return *view; }
    PictureTools& GetPictureTools() { return *tools; }

    int GetExitCode() const { return session.GetExitCode(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override; // so that Tab reaches keyPressEvent
    void changeEvent(QEvent* event) override;    // also a window manager begins and ends full screen
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

    void ShowOpening();
    void ShowOpened(PlaybackStatus const& status);
    void ShowFailed(QString const& error);
    void Report(QString const& fault) const; // to standard error, where the options ask for play without an onlooker
    void FinishOnce(PlaybackStatus const& status); // prints what was shown and closes, where the options ask for it
    void MoveInPlaylist(int entries);

    void Tick();
    void ShowStatus(PlaybackStatus const& status);
    void ShowControls();
    void FitOverlays();
    void ShowNotes(PlaybackStatus const& status);
    void ShowReadout(PlaybackStatus const& status);

    void SaveSettings();
    void ShowOpenDialog(bool forFolder);
    void ShowCompareDialog();
    void SetFullScreen(bool full);
    void LeaveFullScreen();
    void ToggleColours();
    void ToggleScrubSound();
    QString PaintingText() const;

    PlayerOptions options;
    PlayerSettings settings;
    RecentFiles recentFiles;
    KeyMap keys;
    PlayerSession session;
    SoundStreamMenu soundStreams;

    PictureView* view;
    Timeline* timeline;
    ControlBar* bar;
    QWidget* panel; // timeline and controls
    PictureTools* tools;
    HelpOverlay* help;
    StatisticsOverlay* statistics;
    WelcomePanel* welcome;
    QLabel* soundTitle; // in place of a picture

    Readout* readout;
    std::unique_ptr<FullScreenControls> fullScreen;
    Review* review;
    PictureSaver* saver;

    DisplayBeat beat;
};
