#include "player/DisplayBeat.h"

#include "playback/PlaybackStatus.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

constexpr qint64 restAfter = 1000; // milliseconds without a change

bool IsInput(QEvent::Type type)
{
    switch (type) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::Drop:
    case QEvent::TouchBegin:
        return true;
    default:
        return false;
    }
}

} // namespace

DisplayBeat::DisplayBeat(QObject* parent) : QObject(parent)
{
    timer.setTimerType(Qt::PreciseTimer);
    timer.setInterval(paused);
    connect(&timer, &QTimer::timeout, this, &DisplayBeat::Struck);
    QCoreApplication::instance()->installEventFilter(this);
}

void DisplayBeat::Start()
{
    sinceChange.start();
    timer.start();
}

void DisplayBeat::Follow(PlaybackStatus const& status, bool isBusy)
{
    Signs const signs = SignsOf(status);
    if (signs != seen || isBusy)
        sinceChange.start();
    seen = signs;
    bool const moves =
        status.state == PlaybackState::Playing || status.state == PlaybackState::Opening || status.waiting;
    if (moves)
        SetInterval(moving);
    else
        SetInterval(sinceChange.elapsed() < restAfter ? paused : resting);
}

DisplayBeat::Signs DisplayBeat::SignsOf(PlaybackStatus const& status)
{
    return {static_cast<long long>(status.state),
            status.position,
            status.duration,
            status.picturesShown,
            status.picturesDecoded,
            status.cachedBytes,
            status.soundEnd,
            status.channels};
}

bool DisplayBeat::eventFilter(QObject* /*watched*/, QEvent* event)
{
    if (IsInput(event->type())) {
        sinceChange.start();
        if (timer.interval() == resting)
            SetInterval(paused);
    }
    return false;
}

void DisplayBeat::SetInterval(int milliseconds)
{
    if (timer.interval() != milliseconds)
        timer.setInterval(milliseconds);
}
