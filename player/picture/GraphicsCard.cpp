#include "player/picture/GraphicsCard.h"

#include <QDir>

bool HasGraphicsCard()
{
#ifdef Q_OS_LINUX
    QStringList const cards = QDir("/dev/dri").entryList({"card*", "renderD*"}, QDir::System);
    return !cards.isEmpty() || QDir("/dev").exists("nvidia0");
#else
    return true;
#endif
}
