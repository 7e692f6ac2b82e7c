#include "player/review/PictureSaver.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "player/PlayerSession.h"
#include "player/PlayerSettings.h"
#include "player/picture/PictureView.h"
#include "source/PictureIndex.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QtConcurrent>

PictureSaver::PictureSaver(PlayerSession& newSession, PlayerSettings const& newSettings, PictureView const& newView,
                           QObject* parent)
    : QObject(parent), session(newSession), settings(newSettings), view(newView)
{}

bool PictureSaver::Perform(PlayerAction action)
{
    bool const isSave = action == PlayerAction::SavePicture;
    if (!isSave && action != PlayerAction::CopyPicture)
        return false;
    if (!view.GetShown()) {
        emit Noted(QString("There is no picture to %1.").arg(isSave ? "save" : "copy"));
    } else if (isSave) {
        Save();
    } else {
        QApplication::clipboard()->setImage(PictureView::Render(*view.GetShown()));
        emit Noted("Picture copied");
    }
    return true;
}

void PictureSaver::Save()
{
    QString const path = FreePath();
    auto* saving = new QFutureWatcher<bool>(this);
    connect(saving, &QFutureWatcher<bool>::finished, this, [this, saving, path] {
        emit Noted(QString(saving->result() ? "Saved %1" : "The picture cannot be saved to %1.").arg(path));
        saving->deleteLater();
    });
    saving->setFuture(QtConcurrent::run([picture = view.GetShown(), path] {
        QDir().mkpath(QFileInfo(path).absolutePath());
        return PictureView::Render(*picture).save(path, "PNG");
    }));
}

// In the folder for pictures, named after the file and the picture: "demo-000137.png", then "demo-000137-2.png".
QString PictureSaver::FreePath() const
{
    QString const base = QFileInfo(session.GetPlaylist().GetCurrent().path).completeBaseName();
    QString const stem = QDir(settings.pictureFolder).filePath(QString("%1-%2").arg(base, PictureMark()));
    QString path = stem + ".png";
    for (int i = 2; QFileInfo::exists(path); ++i)
        path = QString("%1-%2.png").arg(stem).arg(i);
    return path;
}

// The number of the picture shown, or its time where the number is not known.
QString PictureSaver::PictureMark() const
{
    long long const start = view.GetShown()->startTime;
    PlaybackStatus const status = session.GetEngine().GetStatus();
    long long const number = status.index ? status.index->NumberFrom(start) : -1;
    if (number >= 0)
        return QString("%1").arg(status.firstNumber + number, 6, 10, QChar('0'));
    return TimeText::PictureClock(start, start).replace(':', '-'); // some file systems refuse a colon
}
