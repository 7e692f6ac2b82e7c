#pragma once

#include "player/PlayerOptions.h"
#include "player/PlayerSession.h"
#include "player/PlayerSettings.h"
#include "player/controls/KeyMap.h"
#include "player/sound/SoundStreamMenu.h"

#include <QTimer>
#include <QWidget>

class ControlBar;
class HelpOverlay;
class PictureTools;
class QLabel;
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
    // Opens the files in `options`.
    PlayerWindow(PlayerOptions const& options, PlayerSettings const& settings);
    ~PlayerWindow() override; // saves the settings

    void Open(QStringList const& paths);
    void Perform(PlayerAction action);

    PlaybackEngine& GetEngine() { return session.GetEngine(); }
    Transport& GetTransport() { return session.GetTransport(); }
    PictureView& GetView() { return *view; }
    PictureTools& GetPictureTools() { return *tools; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override; // so that Tab reaches keyPressEvent
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
    void FinishOnce(PlaybackStatus const& status); // prints what was shown and closes, where the options ask for it
    void MoveInPlaylist(int entries);

    void Tick();
    void ShowStatus(PlaybackStatus const& status);
    void ShowControls();
    void FitOverlays();
    void ShowNotes(PlaybackStatus const& status);

    void ShowOpenDialog();
    void ShowCompareDialog();
    void SavePicture();
    void CopyPicture();
    void SetFullScreen(bool full);
    void LeaveFullScreen();
    void FollowPointer(QPoint position);
    void ToggleColours();
    void ToggleScrubSound();
    QString PaintingText() const;
    QString PictureMark();
    QString FreePictureName();

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

    Review* review;

    QTimer beat;
    QTimer pointerRest; // hides the pointer in full screen
};
