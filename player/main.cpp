#include "common/Logger.h"
#include "media/AvGlobals.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSettings.h"
#include "player/PlayerWindow.h"
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

int Run(PlayerOptions const& options)
{
    AvGlobals::maxAudioOutputChannels = outputChannels;
    av_log_set_level(AV_LOG_FATAL); // the window shows all messages
    Logger::GetInstance().SetSink([](Logger::Level, QString const&, int) {});
    PlayerWindow window(options, PlayerSettings::Load());
    window.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName("tavolin-player");
    QApplication::setApplicationVersion(TAVOLIN_VERSION);
    QApplication::setDesktopFileName("tavolin-player");
    QApplication::setWindowIcon(QIcon::fromTheme("tavolin-player"));
    Theme::Apply(application);
    PlayerOptions const options = PlayerOptions::Parse(QApplication::arguments());
    if (!options.fault.isEmpty()) {
        std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(options.fault));
        return 2;
    }
    if (!options.text.isEmpty()) {
        std::fputs(qUtf8Printable(options.text), stdout);
        return 0;
    }
    return Run(options);
}
