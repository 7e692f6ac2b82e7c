// A reviewing window in forty lines: the engine, its picture, a timeline to drag, and the keys of the player, which
// play, shuttle, step and mark a range. It plays no sound: see engine.cpp for that.
//
//     window MOVIE     Space, J K L, comma and full stop, arrows...: as in docs/player.md

#include "media/AvGlobals.h"
#include "playback/PlaybackEngine.h"
#include "player/controls/KeyMap.h"
#include "player/controls/Timeline.h"
#include "player/controls/Transport.h"
#include "player/picture/PictureView.h"

#include <QApplication>
#include <QTimer>
#include <QVBoxLayout>

class ReviewWindow : public QWidget
{
public:
    explicit ReviewWindow(QString const& path)
    {
        auto* column = new QVBoxLayout(this);
        column->setContentsMargins(0, 0, 0, 0);
        column->addWidget(&view, 1);
        column->addWidget(&timeline);
        connect(&timeline, &Timeline::Previewed, this, [this](long long time) { engine.SeekPreview(time); });
        connect(&timeline, &Timeline::Chosen, this, [this](long long time) { engine.Seek(time); });
        connect(&beat, &QTimer::timeout, this, [this] {
            view.Show(engine.GetPicture());
            timeline.Show(engine.GetStatus());
            timeline.SetRange(transport.GetIn(), transport.GetOut());
        });
        beat.start(8); // milliseconds
        engine.Open(path);
    }

private:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (auto const action = keys.ActionFor(*event))
            transport.Perform(*action);
    }

    PlaybackEngine engine;
    Transport transport{engine};
    KeyMap keys;
    PictureView view{PictureView::Painting::Automatic};
    Timeline timeline;
    QTimer beat;
};

int main(int argc, char** argv)
{
    QApplication const application(argc, argv);
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    ReviewWindow window(QApplication::arguments().value(1));
    window.resize(960, 600);
    window.show();
    return QApplication::exec();
}
