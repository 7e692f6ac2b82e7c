#include "tests/support/Clips.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

bool HasClips()
{
    return QFileInfo::exists(ClipPath(QStringLiteral("facts.json")));
}

QString ClipPath(QString const& name)
{
    return QString::fromUtf8(TAVOLIN_CLIPS "/") + name;
}

QJsonObject const& ClipFacts()
{
    static QJsonObject const facts = [] {
        QFile file(ClipPath(QStringLiteral("facts.json")));
        if (!file.open(QIODevice::ReadOnly))
            return QJsonObject();
        return QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("files")).toObject();
    }();
    return facts;
}
