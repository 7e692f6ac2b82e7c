#pragma once

#include "player/controls/KeyMap.h"

#include <QObject>

class PictureView;
class PlayerSession;
class PlayerSettings;

// Saves or copies the picture shown, upright and as it was decoded. The window's thread; files are written on another.
class PictureSaver : public QObject
{
    Q_OBJECT

public:
    // All three outlive it.
    PictureSaver(PlayerSession& session, PlayerSettings const& settings, PictureView const& view, QObject* parent);

    bool Perform(PlayerAction action); // false for an action of others

signals:
    void Noted(QString const& note); // for the user, in passing

private:
    void Save();
    QString FreePath() const;
    QString PictureMark() const;

    PlayerSession& session;
    PlayerSettings const& settings;
    PictureView const& view;
};
