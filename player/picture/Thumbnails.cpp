#include "player/picture/Thumbnails.h"

#include "decode/DecodedVideoFrame.h"
#include "player/picture/PictureView.h"
#include "source/Source.h"

#include <chrono>

namespace {

constexpr auto restBeforeExact = std::chrono::milliseconds(150);
constexpr auto longestIdle = std::chrono::seconds(5);

// Roughly first, because smooth scaling of a large picture is slow.
QImage Small(DecodedVideoFrame const& picture, QSize largest)
{
    QImage const upright = PictureView::Render(picture);
    QSize const size = upright.size().scaled(largest, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
    return upright.scaled(4 * size).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace

Thumbnails::Thumbnails(QSize largest, QObject* parent) : QThread(parent), largest(largest), kept(maxKept) {}

Thumbnails::~Thumbnails()
{
    quitting = true;
    Cancel();
    wait();
}

void Thumbnails::SetSource(MediaItem const& item, SourceOptions const& options)
{
    kept.clear();
    std::lock_guard const lock(mutex);
    ++order.source;
    order.item = item;
    order.options = options;
    order.time.reset();
    ++newestSerial;
    changed.notify_one();
}

void Thumbnails::Request(long long time)
{
    if (QImage const* const made = kept.object(time)) {
        Cancel();
        emit Made(time, *made);
        return;
    }
    Change(time);
    if (!isRunning())
        start(QThread::IdlePriority);
}

void Thumbnails::Cancel()
{
    Change(std::nullopt);
}

void Thumbnails::Change(std::optional<long long> time)
{
    std::lock_guard const lock(mutex);
    order.time = time;
    ++newestSerial;
    changed.notify_one();
}

void Thumbnails::run()
{
    while (auto const next = WaitForOrder())
        Make(*next, seenSerial);
    pictures.reset();
}

// Empty when the thread is to end.
std::optional<Thumbnails::Order> Thumbnails::WaitForOrder()
{
    std::unique_lock lock(mutex);
    auto const isDue = [this] { return quitting || newestSerial != seenSerial; };
    if (pictures && !changed.wait_for(lock, longestIdle, isDue)) {
        lock.unlock();
        pictures.reset();
        lock.lock();
    }
    changed.wait(lock, isDue);
    seenSerial = newestSerial;
    return quitting ? std::nullopt : std::optional<Order>(order);
}

void Thumbnails::Make(Order const& wanted, int serial)
{
    if (!wanted.time || wanted.item.path.isEmpty())
        return;
    StopCheck const stop = [this, serial] { return IsOutdated(serial); };
    if (!pictures || openSource != wanted.source) {
        pictures.reset();
        openSource = wanted.source;
        pictures = Source::Open(wanted.item, wanted.options).OpenPictures(stop);
    }
    if (!pictures)
        return;
    Deliver(wanted, *pictures, 0, serial);
    if (RestsAfter(serial))
        Deliver(wanted, *pictures, *wanted.time, serial);
}

// Waits a while. False if something else has been asked for.
bool Thumbnails::RestsAfter(int serial)
{
    std::unique_lock lock(mutex);
    return !changed.wait_for(lock, restBeforeExact, [&] { return IsOutdated(serial); });
}

void Thumbnails::Deliver(Order const& wanted, PictureStream& from, long long earliest, int serial)
{
    PictureStream::Picture picture;
    ReadResult const result =
        from.ReadNear(*wanted.time, earliest, picture, [this, serial] { return IsOutdated(serial); });
    if (result != ReadResult::Got || !picture)
        return;
    QImage const small = Small(*picture, largest);
    bool const isExact = earliest == *wanted.time;
    QMetaObject::invokeMethod(
        this,
        [this, source = wanted.source, time = *wanted.time, small, isExact] { Take(source, time, small, isExact); },
        Qt::QueuedConnection);
}

void Thumbnails::Take(int source, long long time, QImage const& picture, bool isExact)
{
    if (source != order.source || picture.isNull())
        return;
    if (isExact)
        kept.insert(time, new QImage(picture));
    if (order.time == time)
        emit Made(time, picture);
}
