#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <array>

struct PlaybackStatus;

// When the window looks at the engine again: often while something moves, less often while paused, and rarely once
// nothing has changed for a second, so that a paused window costs next to nothing. Any input makes it look soon.
class DisplayBeat : public QObject
{
    Q_OBJECT

public:
    static constexpr int moving = 8;    // milliseconds; the most by which a picture is late, enough for 120 per second
    static constexpr int paused = 30;   // milliseconds
    static constexpr int resting = 250; // milliseconds

    explicit DisplayBeat(QObject* parent = nullptr);

    void Start();

    // After each beat: what the engine has said. `isBusy`: something else moves.
    void Follow(PlaybackStatus const& status, bool isBusy);

    int GetInterval() const { return timer.interval(); } // milliseconds

signals:
    void Struck();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    using Signs = std::array<long long, 8>; // of a change

    static Signs SignsOf(PlaybackStatus const& status);
    void SetInterval(int milliseconds);

    QTimer timer;
    Signs seen = {};
    QElapsedTimer sinceChange;
};
