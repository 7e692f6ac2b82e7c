#pragma once

#include <QKeySequence>
#include <QStringList>

#include <map>
#include <optional>
#include <vector>

class QKeyEvent;

// Everything that a key can do in the player's window.
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
    Mute,
    VolumeDown,
    VolumeUp,
    FullScreen,
    LeaveFullScreen,
    ToggleFit,
    ZoomIn,
    ZoomOut,
    ToggleColours,
    SavePicture,
    CopyPicture,
    OpenFile,
    NextFile,
    PreviousFile,
    Statistics,
    Help,
    Quit
};

// Which key does what. Starts with the defaults; a text file changes single actions, one a line:
//
//     # comment
//     play-pause = Space P
//     quit =
//
// An action may have several keys, or none; a key that the file gives to one action is taken from all others. One
// thread at a time.
class KeyMap
{
public:
    struct Action
    {
        PlayerAction action;
        char const* name;  // in the file
        char const* keys;  // by default, separated by spaces
        char const* group; // heading in the overview
        char const* help;  // what it does
    };

    // Every action once, in the order in which the overview shows them.
    static std::vector<Action> const& Actions();

    KeyMap();

    // Takes over the bindings of the file, as far as they can be understood; the others stay. One sentence for each
    // line that could not be. A file that does not exist changes nothing.
    QStringList Read(QString const& path);

    // The defaults as a file to edit. False when it cannot be written.
    static bool WriteDefaults(QString const& path);

    std::optional<PlayerAction> ActionFor(QKeyEvent const& event) const;

    QString KeysOf(PlayerAction action) const; // for reading, such as "Shift+Left"; empty without any

    // The rows of the manual page's list, in mdoc.
    static QString ManualRows();

private:
    QString TakeLine(QString const& line);
    QString Bind(Action const& action, QStringList const& keys);

    std::map<int, PlayerAction> actionOfKey; // key and modifiers in one number, as Qt has them
};
