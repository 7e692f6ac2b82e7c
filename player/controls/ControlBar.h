#pragma once

#include "player/controls/KeyMap.h"
#include "player/controls/Theme.h"

#include <QWidget>

#include <memory>

class ElidedLabel;
class QHBoxLayout;
class QLabel;
class QSlider;
class QToolButton;
struct DecodedVideoFrame;
struct PlaybackStatus;

// The row of controls below the timeline: title, position, speed and volume. Where it has no room, what matters least
// is hidden: nothing overlaps.
class ControlBar : public QWidget
{
    Q_OBJECT

public:
    explicit ControlBar(QWidget* parent = nullptr);

    // Shows time and number of the displayed picture, or the engine's position without one. As long as the engine does
    // not know the true number, none is shown.
    void ShowStatus(PlaybackStatus const& status, DecodedVideoFrame const* shown);

    void ShowSound(double volume, bool muted);
    void ShowLooping(bool looping);
    void ShowTitle(QString const& title);

    // The status line. A passing note covers the lasting one for a few seconds. The lasting note stays until it is
    // replaced; an empty one clears it.
    void ShowPassingNote(QString const& note);
    void ShowLastingNote(QString const& note);
    QString GetNote() const;    // the text of the status line
    bool IsNoteCut() const;     // it does not fit
    QString GetReadout() const; // time, number and speed as they are shown, with spaces between them

signals:
    void Triggered(PlayerAction action);
    void VolumeChanged(double volume);

private:
    QToolButton* MakeButton(Symbols::Symbol symbol, PlayerAction action, QString const& tip);
    void UpdateNote();
    void FitRow();
    void resizeEvent(QResizeEvent* event) override;

    QToolButton* play;
    QLabel* time;
    QLabel* number;
    ElidedLabel* title;
    ElidedLabel* note;
    QLabel* speed;
    QToolButton* loop;
    QToolButton* mute;
    QSlider* volume;
    QToolButton* fullScreen;
    QHBoxLayout* row;
    bool showsPause = false;
    bool showsMuted = false;
    QString passingNote;
    QString lastingNote;
};
