#pragma once

#include <QString>

class PlayerSession;
class QMenu;

// The choice among a file's streams of sound, by key and by menu. The window's thread.
class SoundStreamMenu
{
public:
    explicit SoundStreamMenu(PlayerSession& session) : session(session) {} // which must outlive it

    QString ChooseNext(); // that can be decoded, the first after the last; what to tell the user

    // All of them, to choose by number; disabled where there is no choice.
    void AddTo(QMenu& menu);

private:
    PlayerSession& session;
};
