#pragma once

#include "player/controls/KeyMap.h"
#include "player/picture/PictureLook.h"

#include <QElapsedTimer>
#include <QObject>

#include <memory>

class Comparison;
class PictureView;
class PixelReadout;
class PlayerSession;
class Timeline;
class TimelinePreview;
struct DecodedVideoFrame;
struct PlaybackStatus;

// What helps to look closer at what a session plays: the second file beside it, the channels, the exposure and the
// fields, the pixel under the pointer, and small pictures above the timeline. Puts the pictures into the view. The
// window's thread.
class PictureTools : public QObject
{
    Q_OBJECT

public:
    PictureTools(PlayerSession& session, PictureView& view, Timeline& timeline, QWidget* window);
    ~PictureTools() override;

    bool Perform(PlayerAction action); // false for an action of others

    void ShowPictures(); // on every beat: what the engines have for now

    bool IsBusy(); // the second file's picture is not decoded yet

    void Compare(QString const& path);                             // plays the file beside what is open
    Comparison* GetComparison() const { return comparison.get(); } // null without

    void SetPixelShown(bool shown);
    bool IsPixelShown() const;

    QString GetNote() const; // how the display differs from the picture; empty when it does not

signals:
    void Noted(QString const& note); // for the user, in passing
    void CompareRequested();         // with a file that the user has yet to choose

private:
    bool PerformLook(PlayerAction action);
    bool PerformComparison(PlayerAction action);
    void FollowFirst(PlaybackStatus const& status, DecodedVideoFrame const* shown);
    bool IsPairDue(PlaybackStatus const& status);
    void EndComparison();

    PlayerSession& session;
    PictureView& view;
    PixelReadout* readout;
    TimelinePreview* preview;
    PictureLook look;
    std::unique_ptr<Comparison> comparison;
    QString comparedName;
    QElapsedTimer sinceInStep; // since the second engine had the picture to show
};
