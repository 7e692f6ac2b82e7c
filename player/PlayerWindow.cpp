#include "player/PlayerWindow.h"

#include "decode/DecodedVideoFrame.h"
#include "player/ControlBar.h"
#include "player/HelpOverlay.h"
#include "player/SoundPlayer.h"
#include "player/StatisticsOverlay.h"
#include "player/Theme.h"
#include "player/Timeline.h"
#include "player/WaveformReader.h"
#include "player/WelcomePanel.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
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

constexpr int playingBeat = 8; // milliseconds: no picture of up to 120 a second is late by more
constexpr int pausedBeat = 30;
constexpr int pointerPatience = 2000; // milliseconds
constexpr int panelReach = 110;       // pixels from the lower edge that call the controls in full screen
constexpr double zoomStep = 1.25;
constexpr double volumePerNotch = 0.05;
constexpr QSize defaultSize(1024, 640);
constexpr QSize minimumWindow(480, 270);

PlaybackOptions EngineOptions(PlayerOptions const& options, PlayerSettings const& settings)
{
    PlaybackOptions engineOptions;
    engineOptions.cacheBudget = options.cacheMegabytes.value_or(settings.cacheMegabytes) * 1024LL * 1024LL;
    if (options.sequenceRate)
        engineOptions.sequenceRate = *options.sequenceRate;
    engineOptions.colours.followStream = options.streamColours.value_or(settings.streamColours);
    engineOptions.colours.toneMapping = options.toneMapping;
    return engineOptions;
}

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
    : options(options),
      settings(settings),
      engineOptions(EngineOptions(options, settings)),
      engine(engineOptions),
      transport(engine)
{
    this->settings.streamColours = engineOptions.colours.followStream;
    setWindowTitle("Tavolin Player");
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(minimumWindow);
    ReadKeys();
    BuildLayout();
    sound = new SoundPlayer(engine, AudioDevice::Make(options.audio), this);
    Connect();
    transport.SetSpeed(options.speed);
    transport.SetVolume(options.volume.value_or(settings.volume));
    transport.SetMuted(options.mute.value_or(settings.muted));
    transport.SetLooping(options.loop.value_or(settings.looping));
    ShowControls();
    ApplyGeometry();
    welcome->Show({}, recentFiles.Load());
    if (!options.files.isEmpty())
        Open(options.files);
    if (options.fullScreen)
        SetFullScreen(true);
    beat.start(pausedBeat);
}

PlayerWindow::~PlayerWindow()
{
    delete sound; // before the engine that it asks
    settings.volume = transport.GetVolume();
    settings.muted = transport.IsMuted();
    settings.looping = transport.IsLooping();
    if (!isFullScreen())
        settings.geometry = saveGeometry();
    settings.Save();
}

void PlayerWindow::ReadKeys()
{
    QString const path = PlayerSettings::KeyFilePath();
    if (!QFileInfo::exists(path))
        KeyMap::WriteDefaults(path); // to be edited; without it there are the defaults all the same
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
    column->addWidget(view, 1);
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
}

void PlayerWindow::Connect()
{
    connect(&beat, &QTimer::timeout, this, &PlayerWindow::Tick);
    beat.setTimerType(Qt::PreciseTimer);
    pointerRest.setSingleShot(true);
    connect(&pointerRest, &QTimer::timeout, this, [this] { view->setCursor(Qt::BlankCursor); });

    connect(timeline, &Timeline::Previewed, this, [this](long long time) { engine.SeekPreview(time); });
    connect(timeline, &Timeline::Chosen, this, [this](long long time) { engine.Seek(time); });
    connect(bar, &ControlBar::Triggered, this, &PlayerWindow::Perform);
    connect(bar, &ControlBar::VolumeChanged, this, [this](double volume) {
        transport.SetVolume(volume);
        ShowControls();
    });
    connect(view, &PictureView::DoubleClicked, this, [this] { Perform(PlayerAction::FullScreen); });
    connect(view, &PictureView::PointerMoved, this, &PlayerWindow::FollowPointer);
    connect(view, &PictureView::WheelTurned, this, [this](int notches) {
        transport.SetVolume(transport.GetVolume() + notches * volumePerNotch);
        ShowControls();
    });
    connect(welcome, &WelcomePanel::OpenRequested, this, &PlayerWindow::ShowOpenDialog);
    connect(welcome, &WelcomePanel::FileRequested, this, [this](QString const& path) { Open({path}); });
    connect(sound, &SoundPlayer::NoteChanged, this, [this](QString const& note) { soundNote = note; });
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
    playlist = Playlist(paths);
    if (!playlist.IsEmpty())
        OpenCurrent();
}

void PlayerWindow::OpenCurrent()
{
    sound->Stop();
    if (waveform)
        waveform->Stop();
    timeline->SetPeaks({});
    timeline->SetMedia({});
    soundTitle->hide();
    welcome->hide();
    view->Show(nullptr);
    view->Fit();
    opening = true;
    sounding = false;
    ended = false;

    Playlist::Entry const& entry = playlist.GetCurrent();
    QString const name = QFileInfo(entry.path).fileName();
    QString const place =
        playlist.GetCount() > 1 ? QString("%1/%2  ").arg(playlist.GetIndex() + 1).arg(playlist.GetCount()) : QString();
    bar->ShowTitle(place + name);
    setWindowTitle(QString("%1 – Tavolin Player").arg(name));
    transport.BeginPaused(); // plays from the start time on, once the file is there
    if (entry.isSequence)
        engine.OpenSequence(entry.path);
    else
        engine.Open(entry.path);
}

void PlayerWindow::MoveInPlaylist(int entries)
{
    if (playlist.Move(entries))
        OpenCurrent();
    else if (!playlist.IsEmpty())
        bar->ShowPassingNote(entries > 0 ? "This is the last file." : "This is the first file.");
}

void PlayerWindow::Tick()
{
    view->Show(engine.GetPicture());
    PlaybackStatus const status = engine.GetStatus();
    FollowOpening(status);
    FollowSound(status);
    FollowEnd(status);
    ShowStatus(status);
    int const interval = IsMoving(status) ? playingBeat : pausedBeat;
    if (beat.interval() != interval)
        beat.setInterval(interval);
}

void PlayerWindow::FollowOpening(PlaybackStatus const& status)
{
    if (!opening || status.state == PlaybackState::Opening || status.path != playlist.GetCurrent().path)
        return;
    if (status.state != PlaybackState::Closed)
        TakeOpened(status);
    else if (!status.error.isEmpty())
        TakeFailed(status);
}

void PlayerWindow::TakeOpened(PlaybackStatus const& status)
{
    opening = false;
    QString const path = playlist.GetCurrent().path;
    recentFiles.Add(path);
    settings.lastFolder = QFileInfo(path).absolutePath();
    if (firstFile && options.start != 0)
        engine.Seek(options.start);
    firstFile = false;
    transport.SetLooping(transport.IsLooping()); // over what is open now
    if (!options.paused)
        transport.Play();
    soundTitle->setText(QFileInfo(path).completeBaseName());
    soundTitle->setVisible(status.width <= 0);
}

void PlayerWindow::TakeFailed(PlaybackStatus const& status)
{
    opening = false;
    view->Show(nullptr);
    welcome->Show(status.error, recentFiles.Load());
    setWindowTitle("Tavolin Player");
    if (!options.once)
        return;
    std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(status.error));
    if (playlist.Move(1))
        OpenCurrent();
    else
        close();
}

// The sound of a movie opens after its first picture, some time after it where it stands far behind in the file.
void PlayerWindow::FollowSound(PlaybackStatus const& status)
{
    if (opening || sounding || status.channels <= 0 || status.sampleRate <= 0)
        return;
    sounding = true;
    sound->Start(status.sampleRate, status.channels);
    ReadWaveform(status);
}

void PlayerWindow::ReadWaveform(PlaybackStatus const& status)
{
    if (waveform)
        waveform->Stop();
    waveEnd = status.start + status.duration;
    if (status.channels <= 0 || status.duration <= 0)
        return;
    waveform = new WaveformReader(status, this);
    connect(waveform, &QThread::finished, waveform, &QObject::deleteLater);
    connect(waveform, &WaveformReader::PeaksRead, timeline, [this, reader = waveform.data()](auto const& peaks) {
        if (reader == waveform)
            timeline->SetPeaks(peaks);
    });
    waveform->start(QThread::IdlePriority);
}

void PlayerWindow::ToggleColours()
{
    settings.streamColours = !settings.streamColours;
    engineOptions.colours.followStream = settings.streamColours;
    engine.SetColours(engineOptions.colours);
    bar->ShowPassingNote(settings.streamColours ? "Colours as the stream says" : "Plain colours");
}

void PlayerWindow::FollowEnd(PlaybackStatus const& status)
{
    bool const isEnd = !opening && status.state == PlaybackState::Ended && status.kind != SourceKind::Still;
    if (isEnd && !ended) {
        if (transport.GetSpeed() > 0.0 && status.position > status.start && playlist.Move(1)) {
            OpenCurrent();
            return;
        }
        if (options.once)
            Finish(status);
    }
    ended = isEnd;
}

void PlayerWindow::Finish(PlaybackStatus const& status)
{
    std::printf("%lld pictures shown, %lld dropped\n", status.picturesShown, status.picturesDropped);
    close();
}

void PlayerWindow::ShowStatus(PlaybackStatus const& status)
{
    bar->ShowStatus(status, view->GetShown().get());
    bool const isOpen = status.state != PlaybackState::Closed && status.state != PlaybackState::Opening;
    if (isOpen && !opening) {
        long long const end = status.start + status.duration;
        timeline->SetMedia({status.start, end});
        timeline->SetPosition(status.position);
        timeline->SetCached({status.cacheStart, status.cacheEnd});
        timeline->SetRange(transport.GetIn(), transport.GetOut());
        if (status.durationKnown && end != waveEnd)
            ReadWaveform(status); // the container had the duration wrong
    }
    if (statistics->isVisible())
        statistics->Show(status, PaintingText());
    ShowNotes(status);
}

void PlayerWindow::ShowNotes(PlaybackStatus const& status)
{
    QStringList notes;
    if (opening)
        notes << "Opening…";
    else if (status.state != PlaybackState::Closed && !status.error.isEmpty())
        notes << status.error;
    if (status.channels > 0 && !soundNote.isEmpty())
        notes << soundNote;
    bar->ShowLastingNote(notes.join(' '));
}

QString PlayerWindow::PaintingText() const
{
    QString const way = view->PaintsWithOpenGl() ? "OpenGL" : "QPainter";
    return QString("%1, %2 %").arg(way).arg(std::lround(view->GetGeometry().GetZoom() * 100.0));
}

void PlayerWindow::ShowControls()
{
    bar->ShowSound(transport.GetVolume(), transport.IsMuted());
    bar->ShowLooping(transport.IsLooping());
}

void PlayerWindow::Perform(PlayerAction action)
{
    double const speed = transport.GetSpeed();
    if (transport.Perform(action)) {
        ShowControls();
        if (transport.GetSpeed() != speed)
            bar->ShowPassingNote(QString("Speed %1×").arg(transport.GetSpeed()));
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
    case PlayerAction::ToggleColours:
        ToggleColours();
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

void PlayerWindow::ShowOpenDialog()
{
    auto* dialog = new QFileDialog(this, "Open", settings.lastFolder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    connect(dialog, &QFileDialog::filesSelected, this, &PlayerWindow::Open);
    dialog->open();
}

QString PlayerWindow::FreePictureName() const
{
    QString const base = QFileInfo(playlist.GetCurrent().path).completeBaseName();
    QString const number = QString("%1").arg(ControlBar::NumberOf(*view->GetShown()), 6, 10, QChar('0'));
    QString const stem = QDir(settings.pictureFolder).filePath(QString("%1-%2").arg(base, number));
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
    // The view has its new size once the layout has run.
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
    Open(LocalFiles(*event->mimeData()));
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
    addAction(menu, "Full screen", PlayerAction::FullScreen);
    addAction(menu, "Fitted or pixel for pixel", PlayerAction::ToggleFit);
    addAction(menu, "Colours as the stream says", PlayerAction::ToggleColours);
    addAction(menu, "Statistics", PlayerAction::Statistics);
    addAction(menu, "All keys", PlayerAction::Help);
    menu->addSeparator();
    addAction(menu, "Quit", PlayerAction::Quit);
    menu->popup(event->globalPos());
}

void PlayerWindow::closeEvent(QCloseEvent* event)
{
    sound->Stop();
    engine.Close();
    QWidget::closeEvent(event);
}

PlaybackEngine& PlayerWindow::GetEngine()
{
    return engine;
}

Transport& PlayerWindow::GetTransport()
{
    return transport;
}

PictureView& PlayerWindow::GetView()
{
    return *view;
}
