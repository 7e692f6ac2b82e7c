#include "player/review/Review.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "player/PlayerSession.h"
#include "player/PlayerSettings.h"
#include "player/controls/ControlBar.h"
#include "player/controls/Timeline.h"
#include "player/picture/PictureView.h"
#include "player/review/EntryField.h"
#include "player/review/MarkerFile.h"
#include "player/review/MarkerStore.h"
#include "player/review/ReviewPanel.h"
#include "source/PictureIndex.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QMenu>
#include <QtConcurrent>

#include <algorithm>

namespace {

bool HasMovingPicture(PlaybackStatus const& status)
{
    return status.kind == SourceKind::Movie || status.kind == SourceKind::Sequence;
}

// Whether the same moments have the same names.
bool IsNamedAlike(PlaybackStatus const& left, PlaybackStatus const& right)
{
    return left.kind == right.kind && left.path == right.path && left.index == right.index &&
           left.start == right.start && left.duration == right.duration && left.timecode == right.timecode &&
           left.frameRate == right.frameRate;
}

QString FileName(QString const& path)
{
    return QFileInfo(path).fileName();
}

QString CountText(int count)
{
    return count == 1 ? QString("1 entry") : QString("%1 entries").arg(count);
}

} // namespace

Review::Review(Parts const& newParts, QWidget* newWindow)
    : QObject(newWindow),
      parts(newParts),
      window(newWindow),
      field(new EntryField(&newParts.bar)),
      panel(new ReviewPanel(newWindow))
{
    panel->hide();
    keeper.setMaxThreadCount(1);
    parts.bar.AddField(field);
    connect(&parts.session, &PlayerSession::Began, this, &Review::Begin);
    connect(&parts.session, &PlayerSession::Opened, this, &Review::TakeOpened);
    connect(panel, &ReviewPanel::Chosen, this, [this](long long time) { parts.session.GetEngine().Seek(time); });
    connect(panel, &ReviewPanel::NoteChanged, this, [this](long long time, QString const& note) {
        markers.Set(time, note);
        KeepMarkers(/*isListed=*/true);
    });
}

QWidget* Review::GetPanel() const
{
    return panel;
}

void Review::Begin()
{
    field->Close();
    status = {};
    names = {};
    markers = {};
    UpdateMarkers(/*isListed=*/false);
    parts.bar.ShowReading({}, {}, {});
}

void Review::TakeOpened()
{
    keeper.waitForDone(); // this file may have been open before
    markers = MarkerStore::Load(parts.session.GetPlaylist().GetCurrent().path);
    UpdateMarkers(/*isListed=*/false);
}

void Review::UpdateMarkers(bool isListed)
{
    QVector<Timeline::Mark> marks;
    for (Marker const& marker : markers.GetAll())
        marks << Timeline::Mark{marker.time, marker.note};
    parts.timeline.SetMarks(marks);
    if (!isListed)
        panel->ShowMarkers(markers, names);
}

void Review::KeepMarkers(bool isListed)
{
    UpdateMarkers(isListed);
    auto* keeping = new QFutureWatcher<bool>(this);
    connect(keeping, &QFutureWatcher<bool>::finished, this, [this, keeping] {
        if (!keeping->result())
            parts.bar.ShowPassingNote(QString("The markers cannot be kept in %1.").arg(MarkerStore::Folder()));
        keeping->deleteLater();
    });
    keeping->setFuture(QtConcurrent::run(&keeper, [movie = parts.session.GetPlaylist().GetCurrent().path,
                                                   kept = markers] { return MarkerStore::Save(movie, kept); }));
}

void Review::Follow(PlaybackStatus now)
{
    if (parts.session.IsOpening() || now.state == PlaybackState::Closed || now.state == PlaybackState::Opening)
        return;
    if (!HasShownPicture(now))
        now.index = nullptr;
    Transport const& transport = parts.session.GetTransport();
    bool const isNamedAnew = !IsNamedAlike(now, status);
    bool const hasOtherRange = transport.GetIn() != shownIn || transport.GetOut() != shownOut;
    status = now;
    if (isNamedAnew) {
        names = PictureNames(status);
        panel->ShowMarkers(markers, names);
    }
    if (isNamedAnew || hasOtherRange) {
        shownIn = transport.GetIn();
        shownOut = transport.GetOut();
        panel->ShowRange(shownIn, shownOut, names);
    }
    ShowReading(Now());
}

// Whether the numbers that are known count the picture on show, too.
bool Review::HasShownPicture(PlaybackStatus const& now) const
{
    auto const shown = parts.view.GetShown();
    return !now.index || !shown || !HasMovingPicture(now) || now.index->NumberFrom(shown->startTime) >= 0;
}

// The picture's name and that of the whole; beside it what the first one does not tell.
void Review::ShowReading(long long time)
{
    Reading const reading = CurrentReading();
    long long const start = names.GetStart();
    long long const end = names.GetEnd();
    QString const length = names.LengthText(start, end, Reading::Time);
    QString const ofLength = length.isEmpty() ? QString() : " / " + length; // a still image has none
    QString const timeText = names.At(time, Reading::Time) + ofLength;
    QString const numberText = names.Has(Reading::Number)
                                   ? QString("%1 / %2").arg(names.At(time, Reading::Number), names.WholeText())
                                   : QString();
    QString const timecodeText = names.At(time, Reading::Timecode);
    if (reading == Reading::Time)
        parts.bar.ShowReading(timeText, numberText, timecodeText);
    else if (reading == Reading::Number)
        parts.bar.ShowReading(numberText, timeText, timecodeText);
    else
        parts.bar.ShowReading(timecodeText + ofLength, numberText, timeText);
}

Reading Review::CurrentReading() const
{
    return names.Has(parts.settings.reading) ? parts.settings.reading : Reading::Time;
}

// When the picture on show begins; the position where none moves.
long long Review::Now() const
{
    auto const shown = parts.view.GetShown();
    return shown && HasMovingPicture(status) ? shown->startTime : status.position;
}

bool Review::Perform(PlayerAction action)
{
    long long const now = Now();
    switch (action) {
    case PlayerAction::SwitchReading:
        SwitchReading();
        return true;
    case PlayerAction::GoTo:
        GoTo();
        return true;
    case PlayerAction::CopyReading:
        Copy(CurrentReading());
        return true;
    case PlayerAction::SetMarker:
        SetMarker();
        return true;
    case PlayerAction::RemoveMarker:
        RemoveMarker();
        return true;
    case PlayerAction::PreviousMarker:
        GoToMarker(markers.Before(names.StartOfPicture(now)), "There is no earlier marker.");
        return true;
    case PlayerAction::NextMarker:
        GoToMarker(markers.From(names.EndOfPicture(now)), "There is no later marker.");
        return true;
    case PlayerAction::MarkerPanel:
        panel->setVisible(!panel->isVisible());
        emit PanelToggled();
        return true;
    case PlayerAction::ExportMarkers:
        AskForExport();
        return true;
    case PlayerAction::ImportMarkers:
        AskForImport();
        return true;
    case PlayerAction::SaveRange:
        AskForRange(/*asSound=*/!HasMovingPicture(status));
        return true;
    default:
        return false;
    }
}

bool Review::Cancel()
{
    bool const isAsking = field->IsOpen();
    if (isAsking)
        field->Close();
    else if (saver)
        saver->Stop();
    return isAsking || saver;
}

void Review::SwitchReading()
{
    int next = static_cast<int>(CurrentReading());
    do
        next = (next + 1) % 3;
    while (!names.Has(readings[next]));
    if (readings[next] == CurrentReading())
        parts.bar.ShowPassingNote("Only the time is known here.");
    else
        parts.settings.reading = readings[next];
    if (IsOpen())
        ShowReading(Now());
}

void Review::Copy(Reading reading)
{
    if (!IsOpen() || !names.Has(reading)) {
        parts.bar.ShowPassingNote(QString("There is no %1 to copy.").arg(NameOf(reading)));
        return;
    }
    QString const text = names.At(Now(), reading);
    QApplication::clipboard()->setText(text);
    parts.bar.ShowPassingNote(QString("Copied %1").arg(text));
}

void Review::GoTo()
{
    if (!IsOpen())
        return;
    field->Ask("Go to", names.At(Now(), CurrentReading()), [this](QString const& line) {
        PictureNames::Place const place = names.Find(line, CurrentReading());
        if (place.time)
            parts.session.GetEngine().Seek(*place.time);
        return place.fault;
    });
}

void Review::SetMarker()
{
    if (!IsOpen())
        return;
    long long const time = Now();
    auto const present = markers.FindIn(names.StartOfPicture(time), names.EndOfPicture(time));
    long long const place = present ? present->time : time;
    QString const caption = QString("Marker %1").arg(names.At(place, CurrentReading()));
    field->Ask(caption, present ? present->note : QString(), [this, place](QString const& line) {
        if (!markers.Set(place, line))
            return QString("There are %1 markers already.").arg(Markers::mostMarkers);
        KeepMarkers(/*isListed=*/false);
        return QString();
    });
}

void Review::RemoveMarker()
{
    if (!markers.RemoveIn(names.StartOfPicture(Now()), names.EndOfPicture(Now()))) {
        parts.bar.ShowPassingNote("There is no marker here.");
        return;
    }
    KeepMarkers(/*isListed=*/false);
}

void Review::GoToMarker(std::optional<Marker> const& marker, char const* absence)
{
    if (marker)
        parts.session.GetEngine().Seek(marker->time);
    else
        parts.bar.ShowPassingNote(absence);
}

QVector<MarkerRow> Review::Rows() const
{
    QVector<MarkerRow> rows;
    auto const add = [&](MarkerRow::Kind kind, long long time, QString const& note) {
        rows << MarkerRow{kind, time, names.NumberAt(time), names.At(time, Reading::Timecode), note};
    };
    Transport const& transport = parts.session.GetTransport();
    if (transport.GetIn())
        add(MarkerRow::Kind::In, names.StartOfPicture(*transport.GetIn()), {});
    if (transport.GetOut())
        add(MarkerRow::Kind::Out, names.LastPictureBefore(*transport.GetOut()), {});
    for (Marker const& marker : markers.GetAll())
        add(MarkerRow::Kind::Marker, marker.time, marker.note);
    return rows;
}

void Review::Export(QString const& path)
{
    QString const fault = MarkerFile::IsName(path) ? MarkerFile::Write(path, Rows(), FileName(status.path))
                                                   : QString("its name ends neither in .csv nor in .json");
    parts.bar.ShowPassingNote(fault.isEmpty() ? QString("Saved %1").arg(path)
                                              : QString("%1 cannot be written: %2.").arg(path, fault));
}

// The time counts where there is one, then the number, then the timecode.
std::optional<long long> Review::TimeOf(MarkerRow const& row) const
{
    if (row.time)
        return names.Contains(*row.time) ? std::optional<long long>(names.StartOfPicture(*row.time)) : std::nullopt;
    if (row.number)
        return names.FindNumber(QString::number(*row.number)).time;
    return names.FindTimecode(row.timecode).time;
}

// Returns how many rows lie outside the file, or are too many.
int Review::TakeRows(QVector<MarkerRow> const& rows)
{
    Transport& transport = parts.session.GetTransport();
    auto in = transport.GetIn();
    auto out = transport.GetOut();
    int leftOut = 0;
    for (MarkerRow const& row : rows) {
        auto const time = TimeOf(row);
        if (time && row.kind == MarkerRow::Kind::In)
            in = time;
        else if (time && row.kind == MarkerRow::Kind::Out)
            out = names.EndOfPicture(*time);
        else if (!time || !markers.Set(*time, row.note))
            ++leftOut;
    }
    if (!in || !out || *in < *out)
        transport.SetRange(in, out);
    return leftOut;
}

void Review::Import(QString const& path)
{
    if (!IsOpen()) {
        parts.bar.ShowPassingNote("Markers belong to a file: open that first.");
        return;
    }
    MarkerFile::Content const content = MarkerFile::Read(path);
    if (!content.fault.isEmpty()) {
        parts.bar.ShowPassingNote(QString("%1 holds no markers: %2").arg(FileName(path), content.fault));
        return;
    }
    int const leftOut = content.unreadable + TakeRows(content.rows);
    KeepMarkers(/*isListed=*/false);
    QString note = QString("%1 read").arg(CountText(content.rows.size() + content.unreadable - leftOut));
    if (leftOut > 0)
        note += QString(", %1 outside this file left out").arg(leftOut);
    if (!content.movie.isEmpty() && FileName(content.movie) != FileName(status.path))
        note += QString("; made for %1").arg(FileName(content.movie));
    parts.bar.ShowPassingNote(note + '.');
}

bool Review::TakeFile(QStringList const& paths)
{
    bool const isMarkers = paths.size() == 1 && MarkerFile::IsName(paths.first());
    if (isMarkers)
        Import(paths.first());
    return isMarkers;
}

void Review::SaveRange(QString const& path)
{
    if (saver) {
        parts.bar.ShowPassingNote("A range is being saved already. Esc cancels that.");
        return;
    }
    Transport const& transport = parts.session.GetTransport();
    RangeSaver::Job job;
    job.path = path;
    job.from = transport.GetIn().value_or(names.GetStart());
    job.to = transport.GetOut().value_or(names.GetEnd());
    job.item = parts.session.GetPlaylist().GetCurrent();
    job.firstNumber = status.firstNumber;
    job.options = parts.session.GetSourceOptions();
    job.index = status.index;
    job.soundInfo = status.soundInfo;
    job.soundStream = status.soundStreams.value(status.soundStream).index;
    job.origin = status.origin;
    saver = new RangeSaver(job, this);
    connect(saver, &RangeSaver::Progressed, this, [this](QString const& text) { progress = text; });
    connect(saver, &RangeSaver::Ended, this, [this](QString const& sentence) {
        progress.clear();
        parts.bar.ShowPassingNote(sentence);
    });
    connect(saver, &QThread::finished, saver, &QObject::deleteLater);
    saver->start(QThread::IdlePriority);
}

QString Review::SuggestedPath(QString const& ending) const
{
    QFileInfo const movie(status.path);
    return QDir(parts.settings.lastFolder).filePath(movie.completeBaseName() + ending);
}

void Review::AskForExport()
{
    if (!IsOpen())
        return;
    auto* dialog = new QFileDialog(window, "Export markers", SuggestedPath(".csv"), "CSV (*.csv);;JSON (*.json)");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix("csv");
    connect(dialog, &QFileDialog::filterSelected, dialog,
            [dialog](QString const& filter) { dialog->setDefaultSuffix(filter.startsWith("JSON") ? "json" : "csv"); });
    connect(dialog, &QFileDialog::fileSelected, this, &Review::Export);
    dialog->open();
}

void Review::AskForImport()
{
    auto* dialog = new QFileDialog(window, "Import markers", parts.settings.lastFolder, "Markers (*.csv *.json)");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &Review::Import);
    dialog->open();
}

void Review::AskForRange(bool asSound)
{
    if (!IsOpen())
        return;
    QString const filters[] = {"Numbered pictures (*.png)", "Sound (*.wav)"};
    auto* dialog = new QFileDialog(window, "Save the range", SuggestedPath(asSound ? ".wav" : ".png"),
                                   filters[0] + ";;" + filters[1]);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(asSound ? "wav" : "png");
    dialog->selectNameFilter(filters[asSound ? 1 : 0]);
    connect(dialog, &QFileDialog::filterSelected, dialog, [dialog, sound = filters[1]](QString const& filter) {
        dialog->setDefaultSuffix(filter == sound ? "wav" : "png");
    });
    connect(dialog, &QFileDialog::fileSelected, this, &Review::SaveRange);
    dialog->open();
}

void Review::AddTo(QMenu& menu, KeyMap const& keys)
{
    auto const text = [&keys](QString const& title, PlayerAction action) {
        return QString("%1\t%2").arg(title, keys.KeysOf(action));
    };
    menu.addAction(text("Go to…", PlayerAction::GoTo), this, &Review::GoTo)->setEnabled(IsOpen());
    for (Reading const reading : readings) {
        QString const title = QString("Copy the %1").arg(NameOf(reading));
        menu.addAction(reading == CurrentReading() ? text(title, PlayerAction::CopyReading) : title, this,
                       [this, reading] { Copy(reading); })
            ->setEnabled(IsOpen() && names.Has(reading));
    }
    QMenu* markersMenu = menu.addMenu("Markers");
    for (auto const& [title, action] :
         {std::pair{"Set a marker…", PlayerAction::SetMarker},
          std::pair{"Remove the marker", PlayerAction::RemoveMarker}, std::pair{"List", PlayerAction::MarkerPanel},
          std::pair{"Export…", PlayerAction::ExportMarkers}, std::pair{"Import…", PlayerAction::ImportMarkers}})
        markersMenu->addAction(text(title, action), this, [this, chosen = action] { Perform(chosen); });
    menu.addAction(text("Save the range as pictures…", PlayerAction::SaveRange), this, [this] { AskForRange(false); })
        ->setEnabled(HasMovingPicture(status));
    menu.addAction("Save the range as sound…", this, [this] { AskForRange(true); })->setEnabled(status.channels > 0);
}
