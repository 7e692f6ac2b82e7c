#include "player/PlayerWindow.h"

#include "common/TimeText.h"
#include "decode/DecodedVideoFrame.h"
#include "player/controls/ControlBar.h"
#include "player/controls/Overlays.h"
#include "player/controls/Theme.h"
#include "player/controls/Timeline.h"
#include "player/picture/PictureTools.h"
#include "player/review/EntryField.h"
#include "player/review/Review.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QScreen>
#include <QVBoxLayout>
#include <QtConcurrent>

#include <cmath>
#include <cstdio>

namespace {

constexpr int playingBeat = 8; // milliseconds; the most by which a picture is late, enough for 120 per second
constexpr int pausedBeat = 30;
constexpr int pointerPatience = 2000; // milliseconds
constexpr int panelReach = 110;       // pixels from the lower edge; in full screen the pointer shows the controls there
constexpr double zoomStep = 1.25;
constexpr double timelineZoomStep = 2.0;
constexpr double volumePerNotch = 0.05;
constexpr QSize defaultSize(1024, 640);
constexpr QSize minimumWindow(480, 270);

bool IsMoving(PlaybackStatus const& status)
{
    return status.state == PlaybackState::Playing || status.state == PlaybackState::Opening || status.waiting;
}

QStringList LocalFiles(QMimeData const& data)
{
    QStringList files;
    for (QUrl const& url : data.urls())
        if (url.isLocalFile())
            files << url.toLocalFile();
    return files;
}

} // namespace

PlayerWindow::PlayerWindow(PlayerOptions const& options, PlayerSettings const& settings)
    : options(options), settings(settings), session(options, settings, this), soundStreams(session)
{
    setWindowTitle("Tavolin Player");
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(minimumWindow);
    ReadKeys();
    BuildLayout();
    Connect();
    ShowControls();
    ApplyGeometry();
    welcome->Show({}, recentFiles.Load());
    if (!options.compare.isEmpty())
        tools->Compare(options.compare);
    if (!options.files.isEmpty())
        Open(options.files);
    if (options.fullScreen)
        SetFullScreen(true);
    beat.start(pausedBeat);
}

PlayerWindow::~PlayerWindow()
{
    Transport const& transport = session.GetTransport();
    settings.volume = transport.GetVolume();
    settings.muted = transport.IsMuted();
    settings.scrubSound = session.HasScrubSound();
    settings.looping = transport.IsLooping();
    settings.streamColours = session.FollowsStreamColours();
    settings.pixelReadout = tools->IsPixelShown();
    if (!isFullScreen())
        settings.geometry = saveGeometry();
    settings.Save();
}

void PlayerWindow::ReadKeys()
{
    QString const path = PlayerSettings::KeyFilePath();
    if (!QFileInfo::exists(path))
        KeyMap::WriteDefaults(path); // for the user to edit; a failure does no harm
    QStringList const faults = keys.Read(path);
    if (!faults.isEmpty())
        QTimer::singleShot(0, this, [this, faults] { bar->ShowPassingNote(faults.first()); });
}

void PlayerWindow::BuildLayout()
{
    view = new PictureView(options.painting, this);
    timeline = new Timeline(this);
    bar = new ControlBar(this);
    panel = new QWidget(this);
    auto* panelColumn = new QVBoxLayout(panel);
    panelColumn->setContentsMargins(0, 0, 0, 0);
    panelColumn->setSpacing(0);
    panelColumn->addWidget(timeline);
    panelColumn->addWidget(bar);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    review = new Review({session, settings, *view, *timeline, *bar}, this);
    auto* middle = new QHBoxLayout;
    middle->addWidget(view, 1);
    middle->addWidget(review->GetPanel());
    column->addLayout(middle, 1);
    column->addWidget(panel);

    soundTitle = new QLabel(view);
    soundTitle->setAlignment(Qt::AlignCenter);
    soundTitle->setTextFormat(Qt::PlainText);
    soundTitle->setWordWrap(true);
    QFont large = soundTitle->font();
    large.setPixelSize(22);
    soundTitle->setFont(large);
    soundTitle->setAttribute(Qt::WA_TransparentForMouseEvents);
    soundTitle->hide();
    welcome = new WelcomePanel(view);
    statistics = new StatisticsOverlay(view);
    statistics->move(12, 12);
    statistics->hide();
    help = new HelpOverlay(keys, view);
    help->hide();
    tools = new PictureTools(session, *view, *timeline, this);
    tools->SetPixelShown(settings.pixelReadout);
}

void PlayerWindow::Connect()
{
    connect(&beat, &QTimer::timeout, this, &PlayerWindow::Tick);
    beat.setTimerType(Qt::PreciseTimer);
    pointerRest.setSingleShot(true);
    connect(&pointerRest, &QTimer::timeout, this, [this] { view->setCursor(Qt::BlankCursor); });

    connect(&session, &PlayerSession::Began, this, &PlayerWindow::ShowOpening);
    connect(&session, &PlayerSession::Opened, this, &PlayerWindow::ShowOpened);
    connect(&session, &PlayerSession::Failed, this, &PlayerWindow::ShowFailed);
    connect(&session, &PlayerSession::CameToEnd, this, &PlayerWindow::FinishOnce);
    connect(&session, &PlayerSession::PeaksRead, timeline, &Timeline::SetPeaks);
    connect(timeline, &Timeline::Previewed, this, [this](long long time) { session.GetEngine().SeekPreview(time); });
    connect(timeline, &Timeline::Chosen, this, [this](long long time) { session.GetEngine().Seek(time); });
    connect(review, &Review::PanelToggled, this, &PlayerWindow::FitOverlays);
    connect(review->GetField(), &EntryField::Opened, panel, &QWidget::show);
    connect(bar, &ControlBar::Triggered, this, &PlayerWindow::Perform);
    connect(bar, &ControlBar::VolumeChanged, this, [this](double volume) {
        session.GetTransport().SetVolume(volume);
        ShowControls();
    });
    connect(view, &PictureView::DoubleClicked, this, [this] { Perform(PlayerAction::FullScreen); });
    connect(view, &PictureView::PointerMoved, this, &PlayerWindow::FollowPointer);
    connect(view, &PictureView::WheelTurned, this, [this](int notches) {
        Transport& transport = session.GetTransport();
        transport.SetVolume(transport.GetVolume() + notches * volumePerNotch);
        ShowControls();
    });
    connect(tools, &PictureTools::Noted, bar, &ControlBar::ShowPassingNote);
    connect(tools, &PictureTools::CompareRequested, this, &PlayerWindow::ShowCompareDialog);
    connect(welcome, &WelcomePanel::OpenRequested, this, &PlayerWindow::ShowOpenDialog);
    connect(welcome, &WelcomePanel::FileRequested, this, [this](QString const& path) { Open({path}); });
}

void PlayerWindow::ApplyGeometry()
{
    if (!options.geometry) {
        resize(defaultSize);
        restoreGeometry(settings.geometry);
        return;
    }
    resize(options.geometry->size());
    if (options.geometry->topLeft() != QPoint(-1, -1))
        move(options.geometry->topLeft());
}

void PlayerWindow::Open(QStringList const& paths)
{
    session.Open(paths);
}

void PlayerWindow::ShowOpening()
{
    timeline->SetMedia({});
    soundTitle->hide();
    welcome->hide();
    view->Show(nullptr);
    view->Fit();
    Playlist const& playlist = session.GetPlaylist();
    QString const name = QFileInfo(playlist.GetCurrent().path).fileName();
    QString const place =
        playlist.GetCount() > 1 ? QString("%1/%2  ").arg(playlist.GetIndex() + 1).arg(playlist.GetCount()) : QString();
    bar->ShowTitle(place + name);
    setWindowTitle(QString("%1 – Tavolin Player").arg(name));
}

void PlayerWindow::ShowOpened(PlaybackStatus const& status)
{
    QString const path = session.GetPlaylist().GetCurrent().path;
    recentFiles.Add(path);
    settings.lastFolder = QFileInfo(path).absolutePath();
    soundTitle->setText(QFileInfo(path).completeBaseName());
    soundTitle->setVisible(status.width <= 0);
}

void PlayerWindow::ShowFailed(QString const& error)
{
    view->Show(nullptr);
    welcome->Show(error, recentFiles.Load());
    setWindowTitle("Tavolin Player");
    if (!options.once)
        return;
    std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(error));
    if (!session.Move(1))
        close();
}

void PlayerWindow::FinishOnce(PlaybackStatus const& status)
{
    if (!options.once)
        return;
    std::printf("%lld pictures shown, %lld dropped\n", status.picturesShown, status.picturesDropped);
    close();
}

void PlayerWindow::MoveInPlaylist(int entries)
{
    if (!session.Move(entries) && !session.GetPlaylist().IsEmpty())
        bar->ShowPassingNote(entries > 0 ? "This is the last file." : "This is the first file.");
}

void PlayerWindow::Tick()
{
    tools->ShowPictures();
    PlaybackStatus const status = session.Follow();
    ShowStatus(status);
    int const interval = IsMoving(status) ? playingBeat : pausedBeat;
    if (beat.interval() != interval)
        beat.setInterval(interval);
}

void PlayerWindow::ShowStatus(PlaybackStatus const& status)
{
    bar->ShowStatus(status);
    review->Follow(status);
    if (!session.IsOpening()) {
        timeline->Show(status);
        timeline->SetRange(session.GetTransport().GetIn(), session.GetTransport().GetOut());
    }
    if (statistics->isVisible())
        statistics->Show(status, PaintingText());
    ShowNotes(status);
}

void PlayerWindow::ShowNotes(PlaybackStatus const& status)
{
    QStringList notes;
    if (session.IsOpening())
        notes << "Opening…";
    else if (status.state != PlaybackState::Closed && !status.error.isEmpty())
        notes << status.error;
    if (status.channels > 0 && !session.GetSoundNote().isEmpty())
        notes << session.GetSoundNote();
    if (!review->GetNote().isEmpty())
        notes << review->GetNote();
    if (!tools->GetNote().isEmpty())
        notes << tools->GetNote();
    bar->ShowLastingNote(notes.join(' '));
}

QString PlayerWindow::PaintingText() const
{
    QString const way = view->PaintsWithOpenGl() ? "OpenGL" : "QPainter";
    return QString("%1, %2 %").arg(way).arg(std::lround(view->GetGeometry().GetZoom() * 100.0));
}

void PlayerWindow::ShowControls()
{
    Transport const& transport = session.GetTransport();
    bar->ShowSound(transport.GetVolume(), transport.IsMuted());
    bar->ShowLooping(transport.IsLooping());
}

void PlayerWindow::Perform(PlayerAction action)
{
    Transport& transport = session.GetTransport();
    double const speed = transport.GetSpeed();
    if (transport.Perform(action)) {
        ShowControls();
        if (transport.GetSpeed() != speed)
            bar->ShowPassingNote(QString("Speed %1×").arg(transport.GetSpeed()));
        Tick();
        return;
    }
    if (review->Perform(action))
        return;
    if (tools->Perform(action)) {
        Tick();
        return;
    }
    switch (action) {
    case PlayerAction::FullScreen:
        SetFullScreen(!isFullScreen());
        break;
    case PlayerAction::LeaveFullScreen:
        LeaveFullScreen();
        break;
    case PlayerAction::ToggleFit:
        view->ToggleFit();
        break;
    case PlayerAction::ZoomIn:
        view->Zoom(zoomStep);
        break;
    case PlayerAction::ZoomOut:
        view->Zoom(1.0 / zoomStep);
        break;
    case PlayerAction::ZoomTimelineIn:
        timeline->Zoom(timelineZoomStep);
        break;
    case PlayerAction::ZoomTimelineOut:
        timeline->Zoom(1.0 / timelineZoomStep);
        break;
    case PlayerAction::ShowWholeTimeline:
        timeline->ShowAll();
        break;
    case PlayerAction::ToggleColours:
        ToggleColours();
        break;
    case PlayerAction::NextSoundStream:
        bar->ShowPassingNote(soundStreams.ChooseNext());
        break;
    case PlayerAction::ScrubSound:
        ToggleScrubSound();
        break;
    case PlayerAction::SavePicture:
        SavePicture();
        break;
    case PlayerAction::CopyPicture:
        CopyPicture();
        break;
    case PlayerAction::OpenFile:
        ShowOpenDialog();
        break;
    case PlayerAction::NextFile:
        MoveInPlaylist(1);
        break;
    case PlayerAction::PreviousFile:
        MoveInPlaylist(-1);
        break;
    case PlayerAction::Statistics:
        statistics->setVisible(!statistics->isVisible());
        break;
    case PlayerAction::Help:
        help->setVisible(!help->isVisible());
        help->raise();
        break;
    case PlayerAction::Quit:
        close();
        break;
    default:
        break;
    }
}

void PlayerWindow::ToggleColours()
{
    session.SetStreamColours(!session.FollowsStreamColours());
    bar->ShowPassingNote(session.FollowsStreamColours() ? "Colours as the stream says" : "Plain colours");
}

void PlayerWindow::ToggleScrubSound()
{
    session.SetScrubSound(!session.HasScrubSound());
    bar->ShowPassingNote(session.HasScrubSound() ? "Sound while stepping and dragging"
                                                 : "No sound while stepping and dragging");
}

void PlayerWindow::ShowOpenDialog()
{
    auto* dialog = new QFileDialog(this, "Open", settings.lastFolder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    connect(dialog, &QFileDialog::filesSelected, this, &PlayerWindow::Open);
    dialog->open();
}

// The number of the picture shown, or its time where the number is not known.
QString PlayerWindow::PictureMark()
{
    long long const start = view->GetShown()->startTime;
    auto const index = session.GetEngine().GetStatus().index;
    long long const number = index ? index->NumberFrom(start) : -1;
    if (number >= 0)
        return QString("%1").arg(number, 6, 10, QChar('0'));
    return TimeText::PictureClock(start, start).replace(':', '-'); // which no file system minds
}

void PlayerWindow::ShowCompareDialog()
{
    auto* dialog = new QFileDialog(this, "Compare with", settings.lastFolder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, tools, &PictureTools::Compare);
    dialog->open();
}

QString PlayerWindow::FreePictureName()
{
    QString const base = QFileInfo(session.GetPlaylist().GetCurrent().path).completeBaseName();
    QString const stem = QDir(settings.pictureFolder).filePath(QString("%1-%2").arg(base, PictureMark()));
    QString name = stem + ".png";
    for (int i = 2; QFileInfo::exists(name); ++i)
        name = QString("%1-%2.png").arg(stem).arg(i);
    return name;
}

void PlayerWindow::SavePicture()
{
    auto const picture = view->GetShown();
    if (!picture) {
        bar->ShowPassingNote("There is no picture to save.");
        return;
    }
    QString const name = FreePictureName();
    auto* saving = new QFutureWatcher<bool>(this);
    connect(saving, &QFutureWatcher<bool>::finished, this, [this, saving, name] {
        bar->ShowPassingNote(QString(saving->result() ? "Saved %1" : "The picture cannot be saved to %1.").arg(name));
        saving->deleteLater();
    });
    saving->setFuture(QtConcurrent::run([picture, name] {
        QDir().mkpath(QFileInfo(name).absolutePath());
        return PictureView::Render(*picture).save(name, "PNG");
    }));
}

void PlayerWindow::CopyPicture()
{
    auto const picture = view->GetShown();
    if (!picture) {
        bar->ShowPassingNote("There is no picture to copy.");
        return;
    }
    QApplication::clipboard()->setImage(PictureView::Render(*picture));
    bar->ShowPassingNote("Picture copied");
}

void PlayerWindow::SetFullScreen(bool full)
{
    setWindowState(full ? windowState() | Qt::WindowFullScreen : windowState() & ~Qt::WindowFullScreen);
    panel->setVisible(!full);
    view->unsetCursor();
    if (full)
        pointerRest.start(pointerPatience);
    else
        pointerRest.stop();
}

void PlayerWindow::LeaveFullScreen()
{
    if (review->Cancel())
        return;
    if (help->isVisible())
        help->hide();
    else if (isFullScreen())
        SetFullScreen(false);
}

void PlayerWindow::FollowPointer(QPoint position)
{
    if (!isFullScreen())
        return;
    view->unsetCursor();
    pointerRest.start(pointerPatience);
    panel->setVisible(view->mapTo(this, position).y() > height() - panelReach);
}

void PlayerWindow::keyPressEvent(QKeyEvent* event)
{
    auto const action = keys.ActionFor(*event);
    if (action)
        Perform(*action);
    else
        QWidget::keyPressEvent(event);
}

bool PlayerWindow::focusNextPrevChild(bool /*next*/)
{
    return false;
}

void PlayerWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    FitOverlays();
}

void PlayerWindow::FitOverlays()
{
    // After the layout has run, the view has its new size.
    QTimer::singleShot(0, this, [this] {
        for (QWidget* overlay :
             {static_cast<QWidget*>(welcome), static_cast<QWidget*>(help), static_cast<QWidget*>(soundTitle)})
            overlay->setGeometry(view->rect());
    });
}

void PlayerWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (!LocalFiles(*event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void PlayerWindow::dropEvent(QDropEvent* event)
{
    event->acceptProposedAction();
    QStringList const files = LocalFiles(*event->mimeData());
    if (!review->TakeFile(files))
        Open(files);
}

void PlayerWindow::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    auto const addAction = [this](QMenu* to, QString const& text, PlayerAction action) {
        to->addAction(QString("%1\t%2").arg(text, keys.KeysOf(action)), this, [this, action] { Perform(action); });
    };
    addAction(menu, "Open…", PlayerAction::OpenFile);
    QMenu* recent = menu->addMenu("Open again");
    for (QString const& path : recentFiles.Load())
        recent->addAction(QFileInfo(path).fileName(), this, [this, path] { Open({path}); });
    recent->setEnabled(!recent->isEmpty());
    menu->addSeparator();
    review->AddTo(*menu, keys);
    menu->addSeparator();
    addAction(menu, "Full screen", PlayerAction::FullScreen);
    addAction(menu, "Fitted or pixel for pixel", PlayerAction::ToggleFit);
    addAction(menu, "Colours as the stream says", PlayerAction::ToggleColours);
    soundStreams.AddTo(*menu);
    addAction(menu, "Compare with…", PlayerAction::Compare);
    addAction(menu, "Statistics", PlayerAction::Statistics);
    addAction(menu, "All keys", PlayerAction::Help);
    menu->addSeparator();
    addAction(menu, "Quit", PlayerAction::Quit);
    menu->popup(event->globalPos());
}

void PlayerWindow::closeEvent(QCloseEvent* event)
{
    session.Close();
    QWidget::closeEvent(event);
}
