#pragma once

#include "player/controls/KeyMap.h"
#include "player/controls/Theme.h"

#include <QWidget>

#include <memory>

class QLabel;
class QSlider;
class QToolButton;
struct DecodedVideoFrame;
struct PlaybackStatus;

// The row of controls below the timeline: title, position, speed and volume.
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
    QString GetNote() const; // the text of the status line

signals:
    void Triggered(PlayerAction action);
    void VolumeChanged(double volume);

private:
    QToolButton* MakeButton(Symbols::Symbol symbol, PlayerAction action, QString const& tip);
    void UpdateNote();
    void resizeEvent(QResizeEvent* event) override;

    QToolButton* play;
    QLabel* time;
    QLabel* number;
    QLabel* title;
    QLabel* note;
    QLabel* speed;
    QToolButton* loop;
    QToolButton* mute;
    QSlider* volume;
    bool showsPause = false;
    bool showsMuted = false;
    QString fullTitle;
    QString passingNote;
    QString lastingNote;
};
