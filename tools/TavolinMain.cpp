#include "tools/TavolinMain.h"

#include "media/AvGlobals.h"
#include "tools/commands/Commands.h"
#include "tools/report/Console.h"

#include <QCoreApplication>
#include <QStringList>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

namespace {

// More channels than any layout that FFmpeg names, so that nothing is mixed down silently.
constexpr int mostChannels = 64;

// File names are UTF-8 in every locale, "C" included.
void UseUtf8ForFileNames()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
#endif
}

QStringList Utf8Words(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
    return arguments;
}

} // namespace

int TavolinMain(int argc, char** argv)
{
    UseUtf8ForFileNames();
    QStringList const arguments = Utf8Words(argc, argv);
    QCoreApplication const application(argc, argv);
    AvGlobals::maxAudioOutputChannels = mostChannels;

    ExitCode const result = CommandLine::Run(arguments);
    Console::ClearProgress();
    if (!Console::FinishData()) {
        Console::Say(QStringLiteral("the standard output could not be written"));
        return static_cast<int>(ExitCode::WritingFailed);
    }
    return static_cast<int>(result);
}
