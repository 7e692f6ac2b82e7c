#pragma once

#include "playback/PlaybackStatus.h"
#include "player/controls/KeyMap.h"
#include "player/review/Markers.h"
#include "player/review/PictureNames.h"
#include "player/review/RangeSaver.h"

#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <optional>

class ControlBar;
class EntryField;
class PictureView;
class PlayerSession;
class PlayerSettings;
class QMenu;
class ReviewPanel;
class Timeline;
struct MarkerRow;

// What an editor or a labeller does with the open source: reads off times, timecodes and numbers and goes to them, sets
// markers with notes, exchanges them as files, saves the range. The window's thread.
class Review : public QObject
{
    Q_OBJECT

public:
    struct Parts
    {
        PlayerSession& session;
        PlayerSettings& settings;
        PictureView& view;
        Timeline& timeline;
        ControlBar& bar;
    };

    Review(Parts const& parts, QWidget* window); // both outlive it

    QWidget* GetPanel() const; // the list of markers, hidden until it is asked for
    EntryField* GetField() const { return field; }

    bool Perform(PlayerAction action); // false for an action of another part
    bool Cancel();                     // closes the field, or stops saving; false when there is neither
    void Follow(PlaybackStatus now);   // on every beat of the display
    void AddTo(QMenu& menu, KeyMap const& keys);

    // Takes a dropped file of markers; false when it is none.
    bool TakeFile(QStringList const& paths);

    void Export(QString const& path);
    void Import(QString const& path);
    void SaveRange(QString const& path);

    QString const& GetNote() const { return progress; } // of saving
    Markers const& GetMarkers() const { return markers; }

signals:
    void PanelToggled(); // the view has another size

private:
    void Begin();
    void TakeOpened();
    bool HasShownPicture(PlaybackStatus const& now) const;
    void ShowReading(long long time);
    void UpdateMarkers(bool isListed); // `isListed`: the panel shows them already
    void KeepMarkers(bool isListed);

    bool IsOpen() const { return status.kind != SourceKind::None; }
    long long Now() const;
    Reading CurrentReading() const;
    void SwitchReading();
    void Copy(Reading reading);
    void GoTo();
    void SetMarker();
    void RemoveMarker();
    void GoToMarker(std::optional<Marker> const& marker, char const* absence);
    QVector<MarkerRow> Rows() const;
    std::optional<long long> TimeOf(MarkerRow const& row) const;
    int TakeRows(QVector<MarkerRow> const& rows);
    void AskForExport();
    void AskForImport();
    void AskForRange(bool asSound);
    QString SuggestedPath(QString const& ending) const;

    Parts parts;
    QWidget* window;
    EntryField* field;
    ReviewPanel* panel;
    QPointer<RangeSaver> saver;
    QThreadPool keeper; // one thread, so that what was kept last is what stays
    QString progress;

    PlaybackStatus status; // of the last beat; closed while a file is being opened
    PictureNames names;
    Markers markers;
    std::optional<long long> shownIn;
    std::optional<long long> shownOut;
};
