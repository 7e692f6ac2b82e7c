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

// The row of controls below the timeline: what plays, where it is, how fast and how loud.
class ControlBar : public QWidget
{
    Q_OBJECT

public:
    explicit ControlBar(QWidget* parent = nullptr);

    // Time and number are those of the picture shown; without one, the engine's position.
    void ShowStatus(PlaybackStatus const& status, DecodedVideoFrame const* shown);

    void ShowSound(double volume, bool muted);
    void ShowLooping(bool looping);
    void ShowTitle(QString const& title);

    // The status line: `passing` notes go away after some seconds and uncover the lasting one, which stays until it is
    // replaced by an empty one.
    void ShowPassingNote(QString const& note);
    void ShowLastingNote(QString const& note);
    QString GetNote() const; // what the status line says now

    // The number of the picture among those of its stream, from 0; estimated where the rate varies.
    static long long NumberOf(DecodedVideoFrame const& picture);

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
