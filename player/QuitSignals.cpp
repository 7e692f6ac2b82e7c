#include "player/QuitSignals.h"

#include <QSocketNotifier>

#include <array>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr std::array<int, 3> quitSignals = {SIGINT, SIGTERM, SIGHUP};

std::array<int, 2> pipeEnds = {-1, -1}; // for reading, for writing
std::array<struct sigaction, quitSignals.size()> former;

// A handler may do hardly anything; the event loop reads the number and does the rest.
void WriteToPipe(int number)
{
    auto const byte = static_cast<unsigned char>(number);
    [[maybe_unused]] auto const written = write(pipeEnds[1], &byte, 1);
}

} // namespace

QuitSignals::QuitSignals()
{
    if (pipe2(pipeEnds.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return; // signals then end the program as they always do
    notifier = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    connect(notifier.get(), &QSocketNotifier::activated, this, &QuitSignals::Take);
    struct sigaction action = {};
    action.sa_handler = WriteToPipe;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    for (size_t i = 0; i < quitSignals.size(); ++i)
        sigaction(quitSignals[i], &action, &former[i]);
}

QuitSignals::~QuitSignals()
{
    if (!notifier)
        return;
    for (size_t i = 0; i < quitSignals.size(); ++i)
        sigaction(quitSignals[i], &former[i], nullptr);
    notifier.reset();
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

void QuitSignals::Take()
{
    unsigned char number = 0;
    if (read(pipeEnds[0], &number, 1) != 1)
        return;
    received = number;
    emit Received();
}
