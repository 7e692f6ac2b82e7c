#pragma once

#include "player/controls/KeyMap.h"
#include "player/controls/Theme.h"

#include <QWidget>

#include <memory>

class ElidedLabel;
class QHBoxLayout;
class QHBoxLayout;
class QLabel;
class QSlider;
class QToolButton;
struct PlaybackStatus;

// The row of controls below the timeline: title, position, speed and volume. Where it has no room, what matters least
// is hidden: nothing overlaps.
class ControlBar : public QWidget
{
    Q_OBJECT

public:
    explicit ControlBar(QWidget* parent = nullptr);

    void ShowStatus(PlaybackStatus const& status);

    // Which picture is shown: by the reading that the user has chosen, by another one where there is room, and by
    // what both do not tell in the tip.
    void ShowReading(QString const& reading, QString const& other, QString const& tip);
    QString GetReading() const;

    void AddField(QWidget* field); // takes the title's place while it is visible

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
    bool eventFilter(QObject* watched, QEvent* event) override; // clicks on the reading

    QToolButton* play;
    QHBoxLayout* row;
    QLabel* reading;
    QLabel* otherReading;
    ElidedLabel* title;
    ElidedLabel* note;
    QLabel* speed;
    QToolButton* loop;
    QToolButton* mute;
    QSlider* volume;
    QToolButton* fullScreen;
    bool showsPause = false;
    bool showsMuted = false;
    QString passingNote;
    QString lastingNote;
};
