#include "player/sound/SoundStreamMenu.h"

#include "player/PlayerSession.h"

#include <QActionGroup>
#include <QMenu>

#include <algorithm>

namespace {

QString ChannelText(int channels)
{
    if (channels <= 0)
        return {};
    if (channels <= 2)
        return channels == 1 ? "mono" : "stereo";
    return QString("%1 channels").arg(channels);
}

// Number, language, title, codec and channels, as far as the file tells them.
QString TextOf(QList<SoundStreamInfo> const& streams, int number)
{
    SoundStreamInfo const& stream = streams[number];
    QString const language = stream.language == "und" ? QString() : stream.language; // undetermined
    QStringList parts = {language, stream.title, stream.codec, ChannelText(stream.channels)};
    parts.removeAll(QString());
    return QString("%1 of %2: %3").arg(number + 1).arg(streams.size()).arg(parts.join(", "));
}

} // namespace

QString SoundStreamMenu::ChooseNext()
{
    PlaybackStatus const status = session.GetEngine().GetStatus();
    auto const& streams = status.soundStreams;
    for (int i = 1; i < streams.size(); ++i) {
        int const next = (status.soundStream + i) % static_cast<int>(streams.size());
        if (!streams[next].isDecodable)
            continue;
        session.SetSoundStream(next);
        return "Sound " + TextOf(streams, next);
    }
    return streams.isEmpty() ? "There is no sound." : "There is no other sound.";
}

void SoundStreamMenu::AddTo(QMenu& menu)
{
    PlaybackStatus const status = session.GetEngine().GetStatus();
    QMenu* const streams = menu.addMenu("Sound");
    auto* const group = new QActionGroup(streams);
    for (int i = 0; i < status.soundStreams.size(); ++i) {
        QAction* const action = streams->addAction(TextOf(status.soundStreams, i));
        group->addAction(action);
        action->setCheckable(true);
        action->setChecked(i == status.soundStream);
        action->setEnabled(status.soundStreams[i].isDecodable);
        QObject::connect(action, &QAction::triggered, &session, [this, i] { session.SetSoundStream(i); });
    }
    streams->setEnabled(status.soundStreams.size() > 1);
}
