#include "player/PlayerWindow.h"

#include "common/TimeText.h"
#include "player/controls/ControlBar.h"
#include "player/controls/FullScreenControls.h"
#include "player/controls/Overlays.h"
#include "player/controls/Readout.h"
#include "player/controls/Theme.h"
#include "player/controls/Timeline.h"
#include "player/picture/PictureTools.h"
#include "player/review/EntryField.h"
#include "player/review/PictureSaver.h"
#include "player/review/Review.h"

#include <QApplication>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QScreen>
#include <QVBoxLayout>

#include <cmath>
#include <cstdio>
#include <utility>

namespace {

constexpr double zoomStep = 1.25;
constexpr double timelineZoomStep = 2.0;
constexpr double volumePerNotch = 0.05;
constexpr QSize defaultSize(1024, 640);
constexpr QSize minimumWindow(320, 180);
constexpr int titleBar = 32; // pixels; room for it on a small screen

// One sentence, empty without damage.
QString DamageNote(PlaybackStatus const& status)
{
    if (status.damage.isEmpty())
        return {};
    QString const first = TimeText::ShortClock(status.damage.first(), 3);
    if (status.damage.size() == 1)
        return QString("The picture at %1 is damaged.").arg(first);
    return QString("%1 pictures are damaged, the first at %2.").arg(status.damage.size()).arg(first);
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

PlayerWindow::PlayerWindow(PlayerOptions const& options, PlayerSettings const& settings, EarlyEngine early)
    : options(options), settings(settings), session(options, settings, std::move(early), this), soundStreams(session)
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
    beat.Start();
}

PlayerWindow::~PlayerWindow()
{
    SaveSettings();
}

void PlayerWindow::SaveSettings()
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
    for (QString const& fault : faults)
        std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(fault));
    if (faults.isEmpty())
        return;
    QTimer::singleShot(0, this, [this, faults] {
        help->SetFaults(faults);
        QString const count = faults.size() == 1 ? QString("a fault") : QString("%1 faults").arg(faults.size());
        bar->ShowPassingNote(QString("keys.conf has %1: press %2.").arg(count, keys.KeysOf(PlayerAction::Help)));
    });
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
    readout = new Readout(view);
    fullScreen = std::make_unique<FullScreenControls>(*view, *panel, *column);
    tools = new PictureTools(session, *view, *timeline, this);
    tools->SetPixelShown(settings.pixelReadout);
    saver = new PictureSaver(session, settings, *view, this);
}

void PlayerWindow::Connect()
{
    connect(&beat, &DisplayBeat::Struck, this, &PlayerWindow::Tick);
    connect(qApp, &QGuiApplication::commitDataRequest, this, &PlayerWindow::SaveSettings); // the session ends

    connect(&session, &PlayerSession::Began, this, &PlayerWindow::ShowOpening);
    connect(&session, &PlayerSession::Opened, this, &PlayerWindow::ShowOpened);
    connect(&session, &PlayerSession::PassedOver, this, &PlayerWindow::Report);
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
    connect(view, &PictureView::PointerMoved, fullScreen.get(), &FullScreenControls::FollowPointer);
    connect(view, &PictureView::WheelTurned, this, [this](int notches) {
        Transport& transport = session.GetTransport();
        transport.SetVolume(transport.GetVolume() + notches * volumePerNotch);
        ShowControls();
    });
    connect(tools, &PictureTools::Noted, bar, &ControlBar::ShowPassingNote);
    connect(saver, &PictureSaver::Noted, bar, &ControlBar::ShowPassingNote);
    connect(tools, &PictureTools::CompareRequested, this, &PlayerWindow::ShowCompareDialog);
    connect(welcome, &WelcomePanel::OpenRequested, this, [this] { ShowOpenDialog(/*forFolder=*/false); });
    connect(welcome, &WelcomePanel::FileRequested, this, [this](QString const& path) { Open({path}); });
}

void PlayerWindow::ApplyGeometry()
{
    if (!options.geometry) {
        QSize const room = screen()->availableSize() - QSize(0, titleBar);
        resize(defaultSize.boundedTo(room));
        restoreGeometry(settings.geometry);
        resize(size().boundedTo(room)); // it may have been another screen
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
    if (options.once)
        close();
}

void PlayerWindow::Report(QString const& fault) const
{
    if (options.once && !fault.isEmpty())
        std::fprintf(stderr, "tavolin-player: %s\n", qUtf8Printable(fault));
}

void PlayerWindow::FinishOnce(PlaybackStatus const& status)
{
    if (!options.once)
        return;
    Report(status.error);
    Report(DamageNote(status));
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
    PlaybackStatus const status = session.Follow(); // which may seek, so that no other picture is shown first
    tools->ShowPictures();
    ShowStatus(status);
    beat.Follow(status, tools->IsBusy());
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
    ShowReadout(status);
}

void PlayerWindow::ShowNotes(PlaybackStatus const& status)
{
    QStringList notes;
    QStringList const& passedOver = session.GetPassedOver();
    bool const isOpen = !session.IsOpening() && status.state != PlaybackState::Closed;
    if (session.IsReadingFolders())
        notes << "Reading the folder…";
    else if (session.IsOpening())
        notes << "Opening…";
    if (isOpen && passedOver.size() > 1)
        notes << QString("%1 files were passed over, the last because:").arg(passedOver.size()) << passedOver.last();
    else if (isOpen && !passedOver.isEmpty())
        notes << "Passed over:" << passedOver.last();
    if (isOpen && !status.error.isEmpty())
        notes << status.error;
    if (isOpen && !status.damage.isEmpty())
        notes << DamageNote(status);
    if (status.channels > 0 && !session.GetSoundNote().isEmpty())
        notes << session.GetSoundNote();
    if (!review->GetNote().isEmpty())
        notes << review->GetNote();
    if (!tools->GetNote().isEmpty())
        notes << tools->GetNote();
    bar->ShowLastingNote(notes.join(' '));
}

// What the controls would say while they are hidden, and a note for which they have no room.
void PlayerWindow::ShowReadout(PlaybackStatus const& status)
{
    if (!fullScreen->AreHidden()) {
        bool const isCut = bar->IsNoteCut();
        readout->Show(isCut ? bar->GetNote() : QString(), bar->GetNote());
        return;
    }
    QStringList lines = {bar->GetReadout(), bar->GetNote()};
    lines.removeAll(QString());
    // The time is no occasion while playing, when it changes with every picture.
    QString const occasion = status.speed == 0.0 ? bar->GetReadout() : QString::number(status.speed);
    readout->Show(lines.join('\n'), occasion + bar->GetNote());
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
    if (review->Perform(action) || saver->Perform(action))
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
    case PlayerAction::OpenFile:
        ShowOpenDialog(/*forFolder=*/false);
        break;
    case PlayerAction::OpenFolder:
        ShowOpenDialog(/*forFolder=*/true);
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

void PlayerWindow::ShowOpenDialog(bool forFolder)
{
    auto* dialog = new QFileDialog(this, forFolder ? "Open a folder" : "Open", settings.lastFolder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(forFolder ? QFileDialog::Directory : QFileDialog::ExistingFiles);
    connect(dialog, &QFileDialog::filesSelected, this, &PlayerWindow::Open);
    dialog->open();
}

void PlayerWindow::ShowCompareDialog()
{
    auto* dialog = new QFileDialog(this, "Compare with", settings.lastFolder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, tools, &PictureTools::Compare);
    dialog->open();
}

void PlayerWindow::SetFullScreen(bool full)
{
    setWindowState(full ? windowState() | Qt::WindowFullScreen : windowState() & ~Qt::WindowFullScreen);
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

void PlayerWindow::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange)
        fullScreen->Set(isFullScreen());
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
        fullScreen->Place();
        readout->Place();
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
        return to->addAction(QString("%1\t%2").arg(text, keys.KeysOf(action)), this,
                             [this, action] { Perform(action); });
    };
    auto const addSwitch = [&addAction](QMenu* to, QString const& text, PlayerAction action, bool isOn) {
        QAction* const added = addAction(to, text, action);
        added->setCheckable(true);
        added->setChecked(isOn);
    };
    addAction(menu, "Open…", PlayerAction::OpenFile);
    addAction(menu, "Open a folder…", PlayerAction::OpenFolder);
    QMenu* recent = menu->addMenu("Open again");
    for (QString const& path : recentFiles.Load())
        recent->addAction(QFileInfo(path).fileName(), this, [this, path] { Open({path}); });
    recent->setEnabled(!recent->isEmpty());
    menu->addSeparator();
    review->AddTo(*menu, keys);
    menu->addSeparator();
    addAction(menu, "Save the picture", PlayerAction::SavePicture)->setEnabled(view->GetShown() != nullptr);
    addAction(menu, "Copy the picture", PlayerAction::CopyPicture)->setEnabled(view->GetShown() != nullptr);
    menu->addSeparator();
    addSwitch(menu, "Full screen", PlayerAction::FullScreen, isFullScreen());
    addAction(menu, "Fitted or pixel for pixel", PlayerAction::ToggleFit);
    addSwitch(menu, "Colours as the stream says", PlayerAction::ToggleColours, session.FollowsStreamColours());
    soundStreams.AddTo(*menu);
    addAction(menu, "Compare with…", PlayerAction::Compare);
    addSwitch(menu, "Statistics", PlayerAction::Statistics, statistics->isVisible());
    addAction(menu, "All keys", PlayerAction::Help);
    menu->addSeparator();
    addAction(menu, "Quit", PlayerAction::Quit);
    menu->popup(event->globalPos());
}

void PlayerWindow::closeEvent(QCloseEvent* event)
{
    SaveSettings();
    session.Close();
    QWidget::closeEvent(event);
}
