#pragma once

#include <QObject>

#include <memory>

class QSocketNotifier;

// Tells the event loop of the signals by which a terminal, a session or a supervisor ends a program: SIGINT, SIGTERM
// and SIGHUP. A second one ends the program without asking. One object at a time in a process; the thread of the event
// loop.
class QuitSignals : public QObject
{
    Q_OBJECT

public:
    QuitSignals();
    ~QuitSignals() override; // signals are what they were before

    int GetReceived() const { return received; } // number of the signal; 0: none so far

signals:
    void Received();

private:
    void Take();

    std::unique_ptr<QSocketNotifier> notifier;
    int received = 0;
};
