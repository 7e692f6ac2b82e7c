#include "player/controls/KeyMap.h"

#include <QFile>
#include <QKeyEvent>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <set>

namespace {

std::optional<PlayerAction> ActionOf(KeyMap const& keys, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    return keys.ActionFor(QKeyEvent(QEvent::KeyPress, key, modifiers));
}

class KeyFile
{
public:
    explicit KeyFile(QByteArray const& text)
    {
        QFile file(GetPath());
        file.open(QIODevice::WriteOnly);
        file.write(text);
    }

    QString GetPath() const { return folder.filePath("keys.conf"); }

private:
    QTemporaryDir folder;
};

} // namespace

TEST(KeyMapTest, KnowsTheKeysThatPeopleKnow)
{
    KeyMap const keys;
    EXPECT_EQ(ActionOf(keys, Qt::Key_Space), PlayerAction::PlayPause);
    EXPECT_EQ(ActionOf(keys, Qt::Key_J), PlayerAction::ShuttleBackwards);
    EXPECT_EQ(ActionOf(keys, Qt::Key_K), PlayerAction::ShuttlePause);
    EXPECT_EQ(ActionOf(keys, Qt::Key_L), PlayerAction::ShuttleForwards);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Comma), PlayerAction::StepBackwards);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Period), PlayerAction::StepForwards);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Left), PlayerAction::JumpBackwards);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Right, Qt::ShiftModifier), PlayerAction::JumpForwardsExactly);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Home), PlayerAction::GoToStart);
    EXPECT_EQ(ActionOf(keys, Qt::Key_End), PlayerAction::GoToEnd);
    EXPECT_EQ(ActionOf(keys, Qt::Key_BracketLeft), PlayerAction::Slower);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Backspace), PlayerAction::ResetSpeed);
    EXPECT_EQ(ActionOf(keys, Qt::Key_9), PlayerAction::VolumeDown);
    EXPECT_EQ(ActionOf(keys, Qt::Key_0), PlayerAction::VolumeUp);
    EXPECT_EQ(ActionOf(keys, Qt::Key_C, Qt::ControlModifier), PlayerAction::CopyPicture);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Tab), PlayerAction::Statistics);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Q), PlayerAction::Quit);
    EXPECT_EQ(ActionOf(keys, Qt::Key_F12), std::nullopt);
}

TEST(KeyMapTest, TakesCharactersByThemselvesWhateverKeyboardMakesThem)
{
    KeyMap const keys;
    EXPECT_EQ(ActionOf(keys, Qt::Key_Question, Qt::ShiftModifier), PlayerAction::Help);
    EXPECT_EQ(ActionOf(keys, Qt::Key_BraceLeft, Qt::ShiftModifier), PlayerAction::HalveSpeed);
    EXPECT_EQ(ActionOf(keys, Qt::Key_0, Qt::KeypadModifier), PlayerAction::VolumeUp);
    EXPECT_EQ(ActionOf(keys, Qt::Key_I, Qt::ShiftModifier), std::nullopt);
}

TEST(KeyMapTest, HasEveryActionOnceWithAKeyOfItsOwn)
{
    std::set<int> actions;
    std::set<std::string> names;
    std::set<std::string> keys;
    for (auto const& action : KeyMap::Actions()) {
        EXPECT_TRUE(actions.insert(static_cast<int>(action.action)).second) << action.name;
        EXPECT_TRUE(names.insert(action.name).second) << action.name;
        for (QString const& key : QString(action.keys).split(' '))
            EXPECT_TRUE(keys.insert(key.toStdString()).second) << action.name;
        EXPECT_FALSE(KeyMap().KeysOf(action.action).isEmpty()) << action.name;
    }
    EXPECT_EQ(actions.size(), static_cast<size_t>(PlayerAction::Quit) + 1);
}

TEST(KeyMapTest, FollowsTheFile)
{
    KeyFile const file("# mine\nplay-pause = P Ctrl+Space\nquit =\nmute=J\n");
    KeyMap keys;
    EXPECT_EQ(keys.Read(file.GetPath()), QStringList());
    EXPECT_EQ(ActionOf(keys, Qt::Key_P), PlayerAction::PlayPause);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Space, Qt::ControlModifier), PlayerAction::PlayPause);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Space), std::nullopt);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Q), std::nullopt);
    EXPECT_EQ(ActionOf(keys, Qt::Key_J), PlayerAction::Mute);
    EXPECT_EQ(ActionOf(keys, Qt::Key_M), std::nullopt);
}

TEST(KeyMapTest, TellsWhatItCannotUnderstandAndKeepsTheRest)
{
    KeyFile const file("fly = F\nmute Z\nquit = Nonsense\nhelp = H\n");
    KeyMap keys;
    EXPECT_EQ(keys.Read(file.GetPath()), QStringList({"keys.conf, line 1: there is no action \"fly\".",
                                                      "keys.conf, line 2: an action, '=' and its keys are expected.",
                                                      "keys.conf, line 3: there is no key \"Nonsense\"."}));
    EXPECT_EQ(ActionOf(keys, Qt::Key_Q), PlayerAction::Quit);
    EXPECT_EQ(ActionOf(keys, Qt::Key_H), PlayerAction::Help);
}

TEST(KeyMapTest, TellsBothLinesThatBindAKeyOrAnAction)
{
    KeyFile const file("mute = J\n\nquit = Ctrl+Q\nhelp = H J\nmute = U\nstatistics = ctrl+q\nopen = O O\n");
    KeyMap keys;
    EXPECT_EQ(keys.Read(file.GetPath()),
              QStringList({"keys.conf, line 4: the key \"J\" is bound in line 1 already.",
                           "keys.conf, line 5: \"mute\" has its keys in line 1 already.",
                           "keys.conf, line 6: the key \"ctrl+q\" is bound in line 3 already."}));
    EXPECT_EQ(ActionOf(keys, Qt::Key_J), PlayerAction::Mute);
    EXPECT_EQ(ActionOf(keys, Qt::Key_H), std::nullopt);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Question), PlayerAction::Help);
    EXPECT_EQ(ActionOf(keys, Qt::Key_Q, Qt::ControlModifier), PlayerAction::Quit);
    EXPECT_EQ(ActionOf(keys, Qt::Key_O), PlayerAction::OpenFile); // its own key, twice in a line
}

TEST(KeyMapTest, WritesDefaultsThatChangeNothingUntilTheyAreEdited)
{
    QTemporaryDir const folder;
    QString const path = folder.filePath("new/keys.conf");
    ASSERT_TRUE(KeyMap::WriteDefaults(path));
    KeyMap keys;
    EXPECT_EQ(keys.Read(path), QStringList());
    EXPECT_EQ(ActionOf(keys, Qt::Key_Space), PlayerAction::PlayPause);

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray text = file.readAll();
    text.replace("#play-pause = Space", "play-pause = P");
    file.resize(0);
    file.write(text);
    file.close();
    EXPECT_EQ(keys.Read(path), QStringList());
    EXPECT_EQ(ActionOf(keys, Qt::Key_P), PlayerAction::PlayPause);
}

TEST(KeyMapTest, IsWhatTheManualPageSays)
{
    QFile page(TAVOLIN_SOURCE_DIR "/docs/man/tavolin-player.1");
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    QString const text = QString::fromUtf8(page.readAll());
    QString const begin = ".\\\" keys begin\n";
    int const from = text.indexOf(begin) + begin.size();
    int const to = text.indexOf(".\\\" keys end\n");
    ASSERT_LT(from, to);
    EXPECT_EQ(text.mid(from, to - from).toStdString(), KeyMap::ManualRows().toStdString());
}
