#include "bench/decode/HostDecode.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <thread>

namespace {

using Pictures = QList<std::shared_ptr<DecodedVideoFrame>>;

// Moves the new pictures into the window; returns how many there were.
int TakePictures(Pictures& pictures, std::deque<std::shared_ptr<DecodedVideoFrame>>& window, size_t windowSize)
{
    int count = 0;
    for (auto const& picture : pictures) {
        if (!picture->data)
            continue; // end-of-stream record
        ++count;
        window.push_back(picture);
    }
    pictures.clear();
    while (window.size() > windowSize)
        window.pop_front();
    return count;
}

} // namespace

std::shared_ptr<MediaInfo> HostDecode::Probe(QString const& path, bool isImage)
{
    auto info = std::make_shared<MediaInfo>(path);
    info->isImage = isImage;
    MediaReader::ParseMedia(info);
    return info;
}

std::vector<std::shared_ptr<MediaInfo>> HostDecode::Probe(QStringList const& paths, bool isImage)
{
    std::vector<std::shared_ptr<MediaInfo>> infos;
    for (QString const& path : paths)
        infos.push_back(Probe(path, isImage));
    return infos;
}

int HostDecode::DecodeAll(std::vector<std::shared_ptr<MediaInfo>> const& infos, size_t windowSize)
{
    int count = 0;
    std::deque<std::shared_ptr<DecodedVideoFrame>> window;
    QList<std::shared_ptr<DecodedAudioFrame>> sounds;
    Pictures pictures;
    for (auto const& info : infos) {
        MediaInstance instance;
        if (!instance.Initialize(info, 0))
            continue;
        while (instance.HasPacket()) {
            instance.DecodePacket(sounds, pictures, -1);
            count += TakePictures(pictures, window, windowSize);
            sounds.clear();
        }
    }
    return count;
}

int HostDecode::DecodeRow(std::vector<std::shared_ptr<MediaInfo>> const& infos, size_t window)
{
    std::atomic<size_t> next = 0;
    std::atomic<int> count = 0;
    auto const work = [&] {
        for (size_t i = next++; i < infos.size(); i = next++)
            count += DecodeAll({infos[i]}, window);
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < std::max(std::thread::hardware_concurrency(), 1U); ++i)
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();
    return count;
}
