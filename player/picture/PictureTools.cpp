#include "player/picture/PictureTools.h"

#include "decode/DecodedVideoFrame.h"
#include "player/PlayerSession.h"
#include "player/controls/Timeline.h"
#include "player/picture/Comparison.h"
#include "player/picture/PictureView.h"
#include "player/picture/PixelReadout.h"
#include "player/picture/TimelinePreview.h"

#include <QFileInfo>
#include <QStringList>

#include <algorithm>

namespace {

// Milliseconds for which the first picture waits for the second one, so that both change together, while paused.
constexpr qint64 patience = 2000;
constexpr int longestName = 24; // characters

QString ShortName(QString const& path)
{
    QString const name = QFileInfo(path).fileName();
    return name.size() <= longestName ? name : name.left(longestName - 1) + QChar(0x2026);
}

} // namespace

PictureTools::PictureTools(PlayerSession& session, PictureView& view, Timeline& timeline, QWidget* window)
    : QObject(window),
      session(session),
      view(view),
      readout(new PixelReadout(view)),
      preview(new TimelinePreview(timeline, window))
{
    connect(&session, &PlayerSession::Began, this, [this] { preview->SetSource({}, {}); });
    connect(&session, &PlayerSession::Opened, this, [this](PlaybackStatus const& status) {
        bool const moves = status.kind == SourceKind::Movie || status.kind == SourceKind::Sequence;
        preview->SetSource(moves ? this->session.GetPlaylist().GetCurrent() : MediaItem(),
                           this->session.GetEngineOptions());
    });
}

PictureTools::~PictureTools() = default;

bool PictureTools::Perform(PlayerAction action)
{
    return PerformLook(action) || PerformComparison(action);
}

bool PictureTools::PerformLook(PlayerAction action)
{
    PictureLook changed = look;
    switch (action) {
    case PlayerAction::TogglePixel:
        SetPixelShown(!IsPixelShown());
        return true;
    case PlayerAction::ShowRed:
        changed.channels = PictureLook::Channels::Red;
        break;
    case PlayerAction::ShowGreen:
        changed.channels = PictureLook::Channels::Green;
        break;
    case PlayerAction::ShowBlue:
        changed.channels = PictureLook::Channels::Blue;
        break;
    case PlayerAction::ShowLuma:
        changed.channels = PictureLook::Channels::Luma;
        break;
    case PlayerAction::ShowAllChannels:
        changed.channels = PictureLook::Channels::All;
        break;
    case PlayerAction::ExposureUp:
        changed.halfStops = std::min(look.halfStops + 1, PictureLook::maxHalfStops);
        break;
    case PlayerAction::ExposureDown:
        changed.halfStops = std::max(look.halfStops - 1, -PictureLook::maxHalfStops);
        break;
    case PlayerAction::ResetExposure:
        changed.halfStops = 0;
        break;
    case PlayerAction::CycleFields:
        changed.fields = static_cast<PictureLook::Fields>((static_cast<int>(look.fields) + 1) % 3);
        break;
    default:
        return false;
    }
    look = changed;
    view.SetLook(look);
    return true;
}

bool PictureTools::PerformComparison(PlayerAction action)
{
    using Sides = PictureView::Sides;
    Sides const sides = view.GetSides();
    bool const isOfBoth = action == PlayerAction::Wipe || action == PlayerAction::ToggleSides;
    if (isOfBoth && !comparison) {
        emit Noted("There is no second file to compare with.");
        return true;
    }
    switch (action) {
    case PlayerAction::Compare:
        if (comparison)
            EndComparison();
        else
            emit CompareRequested();
        return true;
    case PlayerAction::Wipe:
        view.SetSides(sides == Sides::Both ? Sides::First : Sides::Both);
        return true;
    case PlayerAction::ToggleSides:
        view.SetSides(sides == Sides::Second ? Sides::First : Sides::Second);
        return true;
    default:
        return false;
    }
}

void PictureTools::ShowPictures()
{
    PlaybackEngine& engine = session.GetEngine();
    auto const first = engine.GetPicture();
    PlaybackStatus const status = engine.GetStatus();
    if (comparison)
        FollowFirst(status, first.get());
    if (!comparison) {
        view.SetLowerFieldFirst(status.lowerFieldFirst, false);
        view.Show(first);
    } else if (IsPairDue(status)) {
        view.SetLowerFieldFirst(status.lowerFieldFirst, comparison->GetStatus().lowerFieldFirst);
        view.Show(first);
        view.ShowSecond(comparison->GetPicture());
    }
    readout->Update();
}

void PictureTools::FollowFirst(PlaybackStatus const& status, DecodedVideoFrame const* shown)
{
    comparison->SetColours(session.GetEngineOptions().colours);
    comparison->Follow(status, shown);
    PlaybackStatus const second = comparison->GetStatus();
    if (second.state != PlaybackState::Closed || second.error.isEmpty())
        return;
    emit Noted(second.error);
    EndComparison();
}

// While paused, both pictures change together.
bool PictureTools::IsPairDue(PlaybackStatus const& status)
{
    bool const isInStep = status.speed != 0.0 || comparison->IsInStep();
    if (isInStep)
        sinceInStep.start();
    return isInStep || sinceInStep.elapsed() > patience;
}

bool PictureTools::IsBusy()
{
    return comparison && !comparison->IsInStep();
}

void PictureTools::Compare(QString const& path)
{
    PlaybackOptions options = session.GetEngineOptions();
    options.cacheBudget /= 2; // both engines together keep to the budget
    session.GetEngine().SetCacheBudget(options.cacheBudget);
    comparison = std::make_unique<Comparison>(path, options);
    comparedName = ShortName(path);
    sinceInStep.start();
    view.SetSides(PictureView::Sides::Both);
}

void PictureTools::EndComparison()
{
    session.GetEngine().SetCacheBudget(session.GetEngineOptions().cacheBudget);
    comparison.reset();
    view.ShowSecond(nullptr);
}

void PictureTools::SetPixelShown(bool shown)
{
    readout->SetOn(shown);
}

bool PictureTools::IsPixelShown() const
{
    return readout->IsOn();
}

QString PictureTools::GetNote() const
{
    QStringList parts;
    if (comparison && view.GetSides() == PictureView::Sides::Both)
        parts << "A | B: " + comparedName;
    else if (comparison)
        parts << (view.GetSides() == PictureView::Sides::Second ? "B: " + comparedName : QString("A"));
    if (QString const changes = look.Describe(); !changes.isEmpty())
        parts << changes;
    return parts.join("  ");
}
