#include "player/controls/ControlBar.h"

#include "playback/PlaybackStatus.h"
#include "player/controls/ElidedLabel.h"
#include "player/controls/Theme.h"

#include <QEvent>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QTimer>
#include <QToolButton>

#include <cmath>

namespace {

constexpr int noteDuration = 4000; // milliseconds
constexpr int sliderWidth = 90;
constexpr char const* styleRules = R"(
    QToolButton { border: none; border-radius: 4px; padding: 4px; }
    QToolButton:hover { background: #2b2d30; }
    QToolButton:checked { background: #34506d; }
    QSlider::groove:horizontal { height: 4px; background: #2b2d30; border-radius: 2px; }
    QSlider::sub-page:horizontal { height: 4px; background: #5ea0e8; border-radius: 2px; }
    QSlider::handle:horizontal { width: 12px; height: 12px; margin: -4px 0; border-radius: 6px; background: #dedfe1; }
)";

// Digits of equal width, so that the layout stays still while they change.
QLabel* MakeFigures(QWidget* parent, QColor const& colour)
{
    auto* label = new QLabel(parent);
    QFont font = label->font();
    font.setFamily(QFontDatabase::systemFont(QFontDatabase::FixedFont).family());
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    return label;
}

ElidedLabel* MakeText(QWidget* parent, QColor const& colour)
{
    auto* label = new ElidedLabel(parent);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
    return label;
}

QString SpeedText(double speed)
{
    if (speed == 0.0)
        return "paused";
    return QString("%1×").arg(QString::number(speed, 'g', 4).replace('-', QChar(0x2212)));
}

int WidthOf(QWidget const& widget)
{
    return qBound(widget.minimumWidth(), widget.minimumSizeHint().width(), widget.maximumWidth());
}

} // namespace

ControlBar::ControlBar(QWidget* parent) : QWidget(parent)
{
    setStyleSheet(styleRules);
    play = MakeButton(Symbols::Symbol::Play, PlayerAction::PlayPause, "Play or pause");
    reading = MakeFigures(this, Theme::text);
    reading->setCursor(Qt::PointingHandCursor);
    reading->installEventFilter(this);
    otherReading = MakeFigures(this, Theme::quietText);
    title = MakeText(this, Theme::quietText);
    note = MakeText(this, Theme::warning);
    speed = MakeFigures(this, Theme::quietText);
    loop = MakeButton(Symbols::Symbol::Loop, PlayerAction::ToggleLoop, "Repeat");
    loop->setCheckable(true);
    mute = MakeButton(Symbols::Symbol::Sound, PlayerAction::Mute, "Sound off and on");
    volume = new QSlider(Qt::Horizontal, this);
    volume->setObjectName("volume");
    volume->setRange(0, 100);
    volume->setFixedWidth(sliderWidth);
    volume->setFocusPolicy(Qt::NoFocus);
    connect(volume, &QSlider::valueChanged, this, [this](int value) { emit VolumeChanged(value / 100.0); });
    fullScreen = MakeButton(Symbols::Symbol::FullScreen, PlayerAction::FullScreen, "Full screen");

    row = new QHBoxLayout(this);
    row->setContentsMargins(8, 0, 8, 8);
    row->setSpacing(10);
    for (QWidget* widget :
         {static_cast<QWidget*>(play), static_cast<QWidget*>(reading), static_cast<QWidget*>(otherReading)})
        row->addWidget(widget);
    row->addWidget(title, 1);
    for (QWidget* widget :
         {static_cast<QWidget*>(note), static_cast<QWidget*>(speed), static_cast<QWidget*>(loop),
          static_cast<QWidget*>(mute), static_cast<QWidget*>(volume), static_cast<QWidget*>(fullScreen)})
        row->addWidget(widget);
    title->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

QToolButton* ControlBar::MakeButton(Symbols::Symbol symbol, PlayerAction action, QString const& tip)
{
    auto* button = new QToolButton(this);
    button->setIcon(Symbols::Draw(symbol, Theme::text));
    button->setIconSize(QSize(20, 20));
    button->setToolTip(tip);
    button->setFocusPolicy(Qt::NoFocus);
    connect(button, &QToolButton::clicked, this, [this, action] { emit Triggered(action); });
    return button;
}

void ControlBar::ShowReading(QString const& newReading, QString const& other, QString const& tip)
{
    reading->setText(newReading);
    otherReading->setText(other);
    reading->setToolTip(tip);
    FitRow();
}

QString ControlBar::GetReading() const
{
    return reading->text();
}

void ControlBar::AddField(QWidget* field)
{
    row->insertWidget(row->indexOf(title), field);
}

bool ControlBar::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == reading && event->type() == QEvent::MouseButtonRelease)
        emit Triggered(PlayerAction::SwitchReading);
    return QWidget::eventFilter(watched, event);
}

void ControlBar::ShowStatus(PlaybackStatus const& status)
{
    bool const isOpen = status.kind != SourceKind::None && status.state != PlaybackState::Closed;
    speed->setText(isOpen ? SpeedText(status.speed) : QString());
    FitRow();

    bool const isPlaying = isOpen && status.speed != 0.0 && status.state != PlaybackState::Ended;
    if (isPlaying == showsPause)
        return;
    showsPause = isPlaying;
    play->setIcon(Symbols::Draw(isPlaying ? Symbols::Symbol::Pause : Symbols::Symbol::Play, Theme::text));
}

void ControlBar::ShowSound(double newVolume, bool muted)
{
    QSignalBlocker const blocker(volume);
    volume->setValue(static_cast<int>(std::lround(newVolume * 100.0)));
    if (muted == showsMuted)
        return;
    showsMuted = muted;
    mute->setIcon(Symbols::Draw(muted ? Symbols::Symbol::NoSound : Symbols::Symbol::Sound, Theme::text));
}

void ControlBar::ShowLooping(bool looping)
{
    loop->setChecked(looping);
}

void ControlBar::ShowTitle(QString const& newTitle)
{
    title->Show(newTitle);
}

void ControlBar::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    FitRow();
}

// Hides one thing after the other until the rest has room. The reading gives way to an open field alone.
void ControlBar::FitRow()
{
    QList<QWidget*> const leaving = {volume, loop, mute, fullScreen, otherReading, speed, reading};
    int needed = row->contentsMargins().left() + row->contentsMargins().right() - row->spacing();
    for (int i = 0; i < row->count(); ++i) {
        QWidget* const widget = row->itemAt(i)->widget();
        if (widget->isHidden() && !leaving.contains(widget))
            continue;
        needed += row->spacing() + WidthOf(*widget);
    }
    for (QWidget* widget : leaving) {
        bool const fits = needed <= width();
        widget->setVisible(fits);
        needed -= fits ? 0 : WidthOf(*widget) + row->spacing();
    }
}

void ControlBar::ShowPassingNote(QString const& newNote)
{
    passingNote = newNote;
    UpdateNote();
    QTimer::singleShot(noteDuration, this, [this, newNote] {
        if (passingNote != newNote)
            return; // a newer note has its own timer
        passingNote.clear();
        UpdateNote();
    });
}

void ControlBar::ShowLastingNote(QString const& newNote)
{
    if (newNote == lastingNote)
        return;
    lastingNote = newNote;
    UpdateNote();
}

void ControlBar::UpdateNote()
{
    note->Show(GetNote());
}

bool ControlBar::IsNoteCut() const
{
    return note->IsCut();
}

QString ControlBar::GetReadout() const
{
    QStringList parts = {reading->text(), otherReading->text(), speed->text()};
    parts.removeAll(QString());
    return parts.join("  ");
}

QString ControlBar::GetNote() const
{
    return passingNote.isEmpty() ? lastingNote : passingNote;
}
