#include "common/Logger.h"
#include "media/AvGlobals.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSettings.h"
#include "player/PlayerWindow.h"
#include "player/QuitSignals.h"
#include "player/controls/Theme.h"

#include <QApplication>
#include <QIcon>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>

namespace {

// At most two channels: the order of more differs between devices.
constexpr int outputChannels = 2;

// An exit code above this tells the signal that ended the program, as shells have it.
constexpr int signalCode = 128;

int Run(PlayerOptions const& options)
{
    AvGlobals::maxAudioOutputChannels = outputChannels;
    av_log_set_level(AV_LOG_FATAL); // the window shows all messages
    Logger::GetInstance().SetSink([](Logger::Level, QString const&, int) {});
    QuitSignals quitSignals;
    PlayerWindow window(options, PlayerSettings::Load());
    QObject::connect(&quitSignals, &QuitSignals::Received, &window, [&window] {
        window.close(); // which saves the settings
        QApplication::quit();
    });
    window.show();
    int const result = QApplication::exec();
    if (quitSignals.GetReceived() != 0)
        return signalCode + quitSignals.GetReceived();
    return options.once ? window.GetExitCode() : result;
}

// What `--help` and `--version` print, which takes no display; empty for anything else.
QString RequestedText(int& argc, char** argv)
{
    QCoreApplication const application(argc, argv);
    return PlayerOptions::Parse(QCoreApplication::arguments()).text;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication::setApplicationName("tavolin-player");
    QCoreApplication::setApplicationVersion(TAVOLIN_VERSION);
    QString const text = RequestedText(argc, argv);
    if (!text.isEmpty()) {
        std::fputs(qUtf8Printable(text), stdout);
        return 0;
    }
    Theme::Prepare();
    QApplication application(argc, argv);
    QApplication::setDesktopFileName("tavolin-player");
    QApplication::setWindowIcon(QIcon::fromTheme("tavolin-player"));
    Theme::Apply(application);
    PlayerOptions const options = PlayerOptions::Parse(QApplication::arguments());
    if (!options.fault.isEmpty()) {
        std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(options.fault));
        return 2;
    }
    return Run(options);
}
