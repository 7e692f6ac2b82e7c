// A player in about a hundred lines: a window, a timer as its clock, and the library's cache of pictures. It has one
// thread, on which it decodes between pictures, and it plays no sound. See engine.cpp for both.
//
//     player MOVIE [PICTURES]     Space: play, pause     Left, Right: step     closes after PICTURES pictures

#include "cache/DecodedVideo.h"
#include "decode/DecodedAudioFrame.h"
#include "decode/MediaInstance.h"
#include "media/AvGlobals.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>
#include <QTransform>
#include <QWidget>

#include <cstdio>
#include <cstdlib>

namespace {

class Player : public QWidget
{
public:
    Player(std::shared_ptr<MediaInfo> const& newInfo, int newMostPictures)
        : info(newInfo), mostPictures(newMostPictures)
    {
        instance.Initialize(info, 0);
        cache.SetMaxCacheSize(200000000, info->GetVideoWidth(), info->GetVideoHeight(), 3); // bytes
        resize(info->GetVideoWidth(), info->GetVideoHeight());
        timer.callOnTimeout([this] { Tick(); });
        timer.start(10);
        clock.start();
    }

private:
    // Microseconds, as all times.
    long long Position() const { return base + (playing ? clock.nsecsElapsed() / 1000 : 0); }

    void Play(bool play, long long from)
    {
        playing = play;
        base = from;
        clock.restart();
    }

    void Tick()
    {
        Decode();
        auto const picture = cache.GetFrame(Position(), 0);
        if (picture && picture != shown && picture->status == 0) // 1 marks a change of size
            Show(picture);
        if (playing && Position() >= info->GetDuration())
            Play(false, info->GetDuration());
    }

    // Decodes while the cache advises it, but for a limited time, so that the next picture is not late.
    void Decode()
    {
        QElapsedTimer busy;
        for (busy.start(); !busy.hasExpired(8);) {
            cache.UpdateCache(Position(), info->GetDuration(), playing, /*playingForwards=*/true);
            if (!cache.CanCacheForwards() || !instance.HasPacket())
                return;
            QList<std::shared_ptr<DecodedAudioFrame>> sounds;
            QList<std::shared_ptr<DecodedVideoFrame>> pictures;
            instance.DecodePacket(sounds, pictures, /*seekTime=*/-1);
            for (auto const& picture : pictures) { // at the end of the stream, the last one is a mark without data
                picture->endTime = picture->data ? picture->startTime + info->GetFrameStep() - 1 : info->GetDuration();
                cache.AppendFrame(picture);
            }
        }
    }

    void Show(std::shared_ptr<DecodedVideoFrame> const& picture)
    {
        shown = picture; // keeps the picture alive if the cache releases it
        update();
        std::printf("%lld us\n", shown->startTime);
        if (--mostPictures == 0)
            QApplication::exit(0);
    }

    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        if (!shown)
            return;
        int const rowBytes = (3 * shown->width + 3) / 4 * 4;
        QImage const image(shown->data, shown->width, shown->height, rowBytes, QImage::Format_RGB888); // no copy
        QImage const upright = image.transformed(QTransform().rotate(shown->rotation));
        QRect place(QPoint(0, 0), upright.size().scaled(size(), Qt::KeepAspectRatio));
        place.moveCenter(rect().center());
        painter.drawImage(place, upright);
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        int const step = event->key() == Qt::Key_Left ? -1 : event->key() == Qt::Key_Right ? 1 : 0;
        auto const neighbour = step == 0 ? nullptr : cache.GetFrame(Position(), step);
        if (event->key() == Qt::Key_Space)
            Play(!playing, Position());
        else if (neighbour)
            Play(false, neighbour->startTime);
    }

    std::shared_ptr<MediaInfo> info; // kept alive here, because the instance does not own it
    int mostPictures;                // pictures left to show; 0: no limit
    MediaInstance instance;
    DecodedVideo cache;
    std::shared_ptr<DecodedVideoFrame> shown;
    QTimer timer;
    QElapsedTimer clock; // since play began at `base`
    long long base = 0;
    bool playing = true;
};

} // namespace

int main(int argc, char** argv)
{
    QApplication const application(argc, argv);
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "Usage: player MOVIE [PICTURES]\n");
        return 2;
    }
    AvGlobals::maxAudioOutputChannels = 2; // once, before any file is opened
    auto const info = std::make_shared<MediaInfo>(QFile::decodeName(argv[1]));
    if (!MediaReader::ParseMedia(info) || info->GetFrameStep() <= 0)
        return 1;
    Player player(info, argc == 3 ? std::atoi(argv[2]) : 0);
    player.show();
    return QApplication::exec();
}
