#include "common/Logger.h"
#include "media/AvGlobals.h"
#include "player/PlayerOptions.h"
#include "player/PlayerSession.h"
#include "player/PlayerSettings.h"
#include "player/PlayerWindow.h"
#include "player/QuitSignals.h"
#include "player/controls/Theme.h"
#include "player/picture/GraphicsCard.h"

#include <QApplication>
#include <QIcon>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>
#include <utility>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

// At most two channels: the order of more differs between devices.
constexpr int outputChannels = 2;

// An exit code above this tells the signal that ended the program, as shells have it.
constexpr int signalCode = 128;

constexpr int largeBlock = 256 * 1024; // bytes; below a colour plane of a large picture
constexpr int mostArenas = 2;

// Large blocks go back to the system when they are freed. As the allocator chooses by itself, blocks as large as
// pictures come to lie between small ones, and keep memory that nobody uses. It also gives every thread an arena of its
// own, each with such gaps; the threads here allocate too little to be in each other's way.
void SaveMemory()
{
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, largeBlock);
    mallopt(M_ARENA_MAX, mostArenas);
#endif
}

void SetUpLibraries()
{
    AvGlobals::maxAudioOutputChannels = outputChannels;
    av_log_set_level(AV_LOG_FATAL); // the window shows all messages
    Logger::GetInstance().SetSink([](Logger::Level, QString const&, int) {});
}

int Run(PlayerOptions const& options, PlayerSettings const& settings, EarlyEngine early)
{
    QuitSignals quitSignals;
    PlayerWindow window(options, settings, std::move(early));
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

// Before there is a display, for what takes none. Qt's own options are faults then.
PlayerOptions ParseEarly(int& argc, char** argv)
{
    QCoreApplication const application(argc, argv);
    return PlayerOptions::Parse(QCoreApplication::arguments());
}

// Qt loads OpenGL's driver with the first window, used or not. One in software takes 50 MB and a fifth of the start.
void LeaveOutUnusedDriver(PlayerOptions const& options)
{
    using Painting = PictureView::Painting;
    bool const isUnused =
        options.painting == Painting::Painter || (options.painting == Painting::Automatic && !HasGraphicsCard());
    if (isUnused && options.fault.isEmpty() && !qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none");
}

} // namespace

int main(int argc, char** argv)
{
    SaveMemory();
    QCoreApplication::setApplicationName("tavolin-player");
    QCoreApplication::setApplicationVersion(TAVOLIN_VERSION);
    PlayerOptions const early = ParseEarly(argc, argv);
    if (!early.text.isEmpty()) {
        std::fputs(qUtf8Printable(early.text), stdout);
        return 0;
    }
    LeaveOutUnusedDriver(early);
    Theme::Prepare();
    SetUpLibraries();
    PlayerSettings const settings = PlayerSettings::Load();
    EarlyEngine engine = EarlyEngine::Start(early, settings); // from here on threads read the environment
    QApplication application(argc, argv);
    QApplication::setDesktopFileName("tavolin-player");
    QApplication::setWindowIcon(QIcon::fromTheme("tavolin-player"));
    Theme::Apply(application);
    PlayerOptions const options = PlayerOptions::Parse(QApplication::arguments());
    if (!options.fault.isEmpty()) {
        std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(options.fault));
        return 2;
    }
    return Run(options, settings, std::move(engine));
}
