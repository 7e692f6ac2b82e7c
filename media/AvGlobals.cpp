#include "media/AvGlobals.h"

#include <QStringList>

extern "C" {
#include <libavutil/time.h>
}

namespace {

QStringList const imageFormatNames = {"dpx", "exr", "mjpeg", "png", "targa", "tiff"};

} // namespace

int AvGlobals::maxAudioOutputChannels = 0;

long long AvGlobals::GetTime()
{
    return av_gettime();
}

bool AvGlobals::IsImageFormat(QString const& name)
{
    return imageFormatNames.contains(name.toLower());
}
