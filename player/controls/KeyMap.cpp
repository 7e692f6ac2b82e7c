#include "player/controls/KeyMap.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QTextStream>

#include <algorithm>

namespace {

// Punctuation ignores Shift, because keyboards differ in which characters need it; letters and named keys keep Shift.
int WithoutIdleShift(int key, int modifiers)
{
    bool const isLetter = key >= Qt::Key_A && key <= Qt::Key_Z;
    bool const isCharacter = key > Qt::Key_Space && key < Qt::Key_Escape;
    if (isCharacter && !isLetter)
        modifiers &= ~static_cast<int>(Qt::ShiftModifier);
    modifiers &= ~static_cast<int>(Qt::KeypadModifier);
    return key | modifiers;
}

// 0 if no key has that name.
int KeyNamed(QString const& name)
{
    QKeySequence const sequence = QKeySequence::fromString(name, QKeySequence::PortableText);
    if (sequence.count() != 1)
        return 0;
#if QT_VERSION_MAJOR >= 6
    int const combined = sequence[0].toCombined();
#else
    int const combined = sequence[0];
#endif
    int const key = combined & ~static_cast<int>(Qt::KeyboardModifierMask);
    if (key == 0 || key == Qt::Key_unknown)
        return 0;
    return WithoutIdleShift(key, combined & static_cast<int>(Qt::KeyboardModifierMask));
}

QStringList KeyNames(QString const& text)
{
    return text.split(' ', Qt::SkipEmptyParts);
}

// Characters that mdoc would read as markup or drop.
QString EscapedForManual(QString const& text)
{
    QString escaped = text;
    escaped.replace("\\", "\\e");
    escaped.replace("-", "\\-");
    if (escaped.size() == 1)
        escaped.prepend("\\&"); // a lone comma or bracket counts as punctuation
    return escaped;
}

} // namespace

std::vector<KeyMap::Action> const& KeyMap::Actions()
{
    static std::vector<Action> const actions = {
        {PlayerAction::PlayPause, "play-pause", "Space", "Playing", "Play or pause"},
        {PlayerAction::ShuttleBackwards, "shuttle-backwards", "J", "Playing",
         "Backwards, faster each time; slows down first"},
        {PlayerAction::ShuttlePause, "shuttle-pause", "K", "Playing", "Pause"},
        {PlayerAction::ShuttleForwards, "shuttle-forwards", "L", "Playing",
         "Forwards, faster each time; slows down first"},
        {PlayerAction::Slower, "slower", "[", "Playing", "Slower by a tenth"},
        {PlayerAction::Faster, "faster", "]", "Playing", "Faster by a tenth"},
        {PlayerAction::HalveSpeed, "halve-speed", "{", "Playing", "Half the speed"},
        {PlayerAction::DoubleSpeed, "double-speed", "}", "Playing", "Double the speed"},
        {PlayerAction::ResetSpeed, "reset-speed", "Backspace", "Playing", "Normal speed"},
        {PlayerAction::StepBackwards, "step-backwards", ",", "Moving", "One picture back"},
        {PlayerAction::StepForwards, "step-forwards", ".", "Moving", "One picture on"},
        {PlayerAction::JumpBackwards, "jump-backwards", "Left", "Moving", "5 seconds back; one picture while paused"},
        {PlayerAction::JumpForwards, "jump-forwards", "Right", "Moving", "5 seconds on; one picture while paused"},
        {PlayerAction::JumpBackwardsExactly, "jump-backwards-exactly", "Shift+Left", "Moving", "Exactly 1 second back"},
        {PlayerAction::JumpForwardsExactly, "jump-forwards-exactly", "Shift+Right", "Moving", "Exactly 1 second on"},
        {PlayerAction::GoToStart, "go-to-start", "Home", "Moving", "To the first picture"},
        {PlayerAction::GoToEnd, "go-to-end", "End", "Moving", "To the last picture"},
        {PlayerAction::GoTo, "go-to", "G Ctrl+G", "Moving", "Go to a time, timecode or number"},
        {PlayerAction::SwitchReading, "switch-reading", "T", "Moving", "Time, timecode or number"},
        {PlayerAction::SetIn, "set-in", "I", "Range", "Range starts here"},
        {PlayerAction::SetOut, "set-out", "O", "Range", "Range ends here"},
        {PlayerAction::ClearInOut, "clear-in-out", "X", "Range", "Range is the whole file again"},
        {PlayerAction::ToggleLoop, "toggle-loop", "R", "Range", "Repeat the range, or the whole file"},
        {PlayerAction::SaveRange, "save-range", "Ctrl+S", "Range", "Save the range as pictures or sound"},
        {PlayerAction::SetMarker, "set-marker", "B", "Markers", "Marker with a note here"},
        {PlayerAction::RemoveMarker, "remove-marker", "Shift+B", "Markers", "Remove the marker here"},
        {PlayerAction::PreviousMarker, "previous-marker", "Ctrl+Left", "Markers", "To the previous marker"},
        {PlayerAction::NextMarker, "next-marker", "Ctrl+Right", "Markers", "To the next marker"},
        {PlayerAction::MarkerPanel, "marker-panel", "Ctrl+M", "Markers", "List of the markers"},
        {PlayerAction::ExportMarkers, "export-markers", "Ctrl+E", "Markers", "Export markers and range"},
        {PlayerAction::ImportMarkers, "import-markers", "Ctrl+I", "Markers", "Import markers and range"},
        {PlayerAction::CopyReading, "copy-reading", "Ctrl+Shift+C", "Markers", "Copy time, timecode or number"},
        {PlayerAction::Mute, "mute", "M", "Sound", "Sound off and on"},
        {PlayerAction::VolumeDown, "volume-down", "9", "Sound", "Quieter (mouse wheel down)"},
        {PlayerAction::VolumeUp, "volume-up", "0", "Sound", "Louder (mouse wheel up)"},
        {PlayerAction::ScrubSound, "scrub-sound", "V", "Sound", "Sound while stepping and dragging, off and on"},
        {PlayerAction::NextSoundStream, "next-sound-stream", "A", "Sound", "Next stream of sound"},
        {PlayerAction::FullScreen, "full-screen", "F", "Picture", "Full screen (double click)"},
        {PlayerAction::LeaveFullScreen, "leave-full-screen", "Esc", "Picture", "Leave full screen, close an overlay"},
        {PlayerAction::ToggleFit, "toggle-fit", "Z", "Picture", "Picture fitted or pixel for pixel"},
        {PlayerAction::ZoomIn, "zoom-in", "+ =", "Picture", "Larger (Ctrl and wheel up); drag to move"},
        {PlayerAction::ZoomOut, "zoom-out", "-", "Picture", "Smaller (Ctrl and wheel down)"},
        {PlayerAction::ToggleColours, "toggle-colours", "C", "Picture", "Colours as the stream says, off and on"},
        {PlayerAction::SavePicture, "save-picture", "S", "Picture", "Save the picture shown"},
        {PlayerAction::CopyPicture, "copy-picture", "Ctrl+C", "Picture", "Copy the picture shown"},
        {PlayerAction::TogglePixel, "pixel", "P", "Looking closer", "Place and values of the pixel under the pointer"},
        {PlayerAction::ShowRed, "red", "1", "Looking closer", "Red alone, in grey"},
        {PlayerAction::ShowGreen, "green", "2", "Looking closer", "Green alone, in grey"},
        {PlayerAction::ShowBlue, "blue", "3", "Looking closer", "Blue alone, in grey"},
        {PlayerAction::ShowLuma, "luma", "4", "Looking closer", "Luma (BT.709)"},
        {PlayerAction::ShowAllChannels, "all-channels", "5", "Looking closer", "All channels again"},
        {PlayerAction::ExposureUp, "exposure-up", "E", "Looking closer", "Brighter by half a stop"},
        {PlayerAction::ExposureDown, "exposure-down", "Shift+E", "Looking closer", "Darker by half a stop"},
        {PlayerAction::ResetExposure, "reset-exposure", "Ctrl+0", "Looking closer", "Brightness as it is"},
        {PlayerAction::CycleFields, "fields", "D", "Looking closer", "Fields: both, the first alone, blended"},
        {PlayerAction::Compare, "compare", "Ctrl+B", "Comparing", "Compare with another file, or stop comparing"},
        {PlayerAction::Wipe, "wipe", "W", "Comparing", "Both files, left and right of a divider; drag it"},
        {PlayerAction::ToggleSides, "toggle-sides", "/", "Comparing", "The one file or the other"},
        {PlayerAction::ZoomTimelineIn, "zoom-timeline-in", "Up", "Timeline", "Less of the timeline (wheel over it)"},
        {PlayerAction::ZoomTimelineOut, "zoom-timeline-out", "Down", "Timeline", "More; Shift and wheel: another part"},
        {PlayerAction::ShowWholeTimeline, "whole-timeline", "Shift+Z", "Timeline", "All of the timeline"},
        {PlayerAction::OpenFile, "open", "Ctrl+O", "Files", "Open files"},
        {PlayerAction::OpenFolder, "open-folder", "Ctrl+Shift+O", "Files", "Open a folder"},
        {PlayerAction::NextFile, "next-file", "PgDown", "Files", "Next file"},
        {PlayerAction::PreviousFile, "previous-file", "PgUp", "Files", "Previous file"},
        {PlayerAction::Statistics, "statistics", "Tab", "Window", "Statistics"},
        {PlayerAction::Help, "help", "?", "Window", "All keys"},
        {PlayerAction::Quit, "quit", "Q", "Window", "Quit"},
    };
    return actions;
}

KeyMap::KeyMap()
{
    Lines none;
    for (Action const& action : Actions())
        Bind(action, KeyNames(action.keys), 0, none);
}

QStringList KeyMap::Read(QString const& path)
{
    QFile file(path);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {QString("The key file %1 cannot be read: %2.").arg(path, file.errorString())};
    QStringList faults;
    Lines bound;
    QStringList const lines = QString::fromUtf8(file.readAll()).split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        QString const fault = TakeLine(lines[i].trimmed(), i + 1, bound);
        if (!fault.isEmpty())
            faults << QString("%1, line %2: %3").arg(QFileInfo(path).fileName()).arg(i + 1).arg(fault);
    }
    return faults;
}

QString KeyMap::TakeLine(QString const& line, int number, Lines& lines)
{
    if (line.isEmpty() || line.startsWith('#'))
        return {};
    int const equals = line.indexOf('=');
    if (equals < 0)
        return "an action, '=' and its keys are expected.";
    QString const name = line.left(equals).trimmed();
    auto const action = std::find_if(Actions().begin(), Actions().end(),
                                     [&name](Action const& candidate) { return name == candidate.name; });
    if (action == Actions().end())
        return QString("there is no action \"%1\".").arg(name);
    auto const earlier = lines.ofAction.find(action->action);
    if (earlier != lines.ofAction.end())
        return QString("\"%1\" has its keys in line %2 already.").arg(name).arg(earlier->second);
    return Bind(*action, KeyNames(line.mid(equals + 1)), number, lines);
}

// Changes nothing unless all of the keys are good.
QString KeyMap::Bind(Action const& action, QStringList const& names, int line, Lines& lines)
{
    std::vector<int> numbers;
    for (QString const& name : names) {
        int const key = KeyNamed(name);
        if (key == 0)
            return QString("there is no key \"%1\".").arg(name);
        auto const earlier = lines.ofKey.find(key);
        if (line > 0 && earlier != lines.ofKey.end())
            return QString("the key \"%1\" is bound in line %2 already.").arg(name).arg(earlier->second);
        numbers.push_back(key);
    }
    lines.ofAction[action.action] = line;
    for (auto entry = actionOfKey.begin(); entry != actionOfKey.end();)
        entry = entry->second == action.action ? actionOfKey.erase(entry) : std::next(entry);
    for (int const key : numbers) {
        actionOfKey[key] = action.action;
        lines.ofKey[key] = line;
    }
    return {};
}

bool KeyMap::WriteDefaults(QString const& path)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    QTextStream stream(&file);
    stream << "# Keys of tavolin-player: an action, '=' and its keys with spaces between them.\n"
              "# Remove the '#' in front of a line to change it; no key switches the action off.\n";
    for (Action const& action : Actions())
        stream << "\n# " << action.help << "\n#" << action.name << " = " << action.keys << "\n";
    stream.flush();
    return file.error() == QFileDevice::NoError;
}

std::optional<PlayerAction> KeyMap::ActionFor(QKeyEvent const& event) const
{
    auto const found = actionOfKey.find(WithoutIdleShift(event.key(), static_cast<int>(event.modifiers())));
    if (found == actionOfKey.end())
        return std::nullopt;
    return found->second;
}

QString KeyMap::KeysOf(PlayerAction action) const
{
    QStringList keys;
    for (auto const& [key, bound] : actionOfKey)
        if (bound == action)
            keys << QKeySequence(key).toString(QKeySequence::PortableText);
    return keys.join(' ');
}

QString KeyMap::ManualRows()
{
    QString rows;
    for (Action const& action : Actions()) {
        QStringList keys = KeyNames(action.keys);
        for (QString& key : keys)
            key = EscapedForManual(key);
        rows += QString(".It %1\n%2\n.Pq Ic %3\n")
                    .arg("Ic " + keys.join(" Ic "), QString(action.help) + '.', QString(action.name));
    }
    return rows;
}
