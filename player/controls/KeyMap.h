#pragma once

#include "TavolinWidgetsExport.h"

#include <QKeySequence>
#include <QStringList>

#include <map>
#include <optional>
#include <vector>

class QKeyEvent;

// Everything that a key can trigger in the player's window.
enum class PlayerAction {
    PlayPause,
    ShuttleBackwards,
    ShuttlePause,
    ShuttleForwards,
    StepBackwards,
    StepForwards,
    JumpBackwards,
    JumpForwards,
    JumpBackwardsExactly,
    JumpForwardsExactly,
    GoToStart,
    GoToEnd,
    Slower,
    Faster,
    HalveSpeed,
    DoubleSpeed,
    ResetSpeed,
    SetIn,
    SetOut,
    ClearInOut,
    ToggleLoop,
    SwitchReading,
    GoTo,
    SetMarker,
    RemoveMarker,
    PreviousMarker,
    NextMarker,
    MarkerPanel,
    CopyReading,
    ExportMarkers,
    ImportMarkers,
    SaveRange,
    Mute,
    VolumeDown,
    VolumeUp,
    ScrubSound,
    NextSoundStream,
    FullScreen,
    LeaveFullScreen,
    ToggleFit,
    ZoomIn,
    ZoomOut,
    ZoomTimelineIn,
    ZoomTimelineOut,
    ShowWholeTimeline,
    TogglePixel,
    ShowRed,
    ShowGreen,
    ShowBlue,
    ShowLuma,
    ShowAllChannels,
    ExposureUp,
    ExposureDown,
    ResetExposure,
    CycleFields,
    Compare,
    Wipe,
    ToggleSides,
    ToggleColours,
    SavePicture,
    CopyPicture,
    OpenFile,
    OpenFolder,
    NextFile,
    PreviousFile,
    Statistics,
    Help,
    Quit
};

// Maps keys to actions. Starts with the defaults; a text file changes actions, one per line:
//
//     # comment
//     play-pause = Space P
//     quit =
//
// An action may have several keys or none. A key that the file assigns to one action is removed from all others; the
// file itself names every action and every key once. One thread at a time.
class TAVOLINWIDGETS_EXPORT KeyMap
{
public:
    // What an action is called, and the keys it has by default.
    struct Action
    {
        PlayerAction action; // which one
        char const* name;    // in the file
        char const* keys;    // by default, separated by spaces
        char const* group;   // heading in the overview
        char const* help;    // what it does
    };

    // Every action once, in the order in which the overview shows them.
    static std::vector<Action> const& Actions();

    KeyMap();

    // Applies the file's bindings. Returns one sentence for each line that is not understood; such a line changes
    // nothing, nor does a missing file.
    QStringList Read(QString const& path);

    // Writes the defaults as a file to edit. False if it cannot be written.
    static bool WriteDefaults(QString const& path);

    std::optional<PlayerAction> ActionFor(QKeyEvent const& event) const; // empty for a key without an action

    QString KeysOf(PlayerAction action) const; // for display, such as "Shift+Left"; empty without a key

    // The rows of the manual page's list, in mdoc.
    static QString ManualRows();

private:
    // What the file has bound so far, by the number of its line.
    struct Lines
    {
        std::map<PlayerAction, int> ofAction;
        std::map<int, int> ofKey;
    };

    QString TakeLine(QString const& line, int number, Lines& lines);
    QString Bind(Action const& action, QStringList const& names, int line, Lines& lines);

    std::map<int, PlayerAction> actionOfKey; // key and modifiers in one number, as Qt has them
};
