#pragma once

#include "source/MediaItems.h"
#include "source/SourceOptions.h"

#include <QCache>
#include <QImage>
#include <QThread>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

class PictureStream;

// Makes small pictures of a movie or a sequence for any of its times: first one of the key picture before, which costs
// the decoding of one picture, then the exact one, unless another time is requested meanwhile. Reads on an idle thread
// with a demuxer and a decoder of its own; the first request opens them, and some seconds without a request close them.
// Belongs to the window's thread.
class Thumbnails : public QThread
{
    Q_OBJECT

public:
    explicit Thumbnails(QSize largest, QObject* parent = nullptr); // `largest`: pixels of a small picture
    ~Thumbnails() override; // stops and waits, for as long as a read takes to notice

    // Forgets the pictures made so far. An empty path stands for no source.
    void SetSource(MediaItem const& item, SourceOptions const& options);

    // Asks for the picture showing at `time`, microseconds, in place of the last request. Made delivers it, also if it
    // was made before.
    void Request(long long time);
    void Cancel();

    static constexpr int maxKept = 200; // pictures

signals:
    void Made(long long time, QImage const& picture); // for a time asked for; the last one of a request is exact

protected:
    void run() override;

private:
    struct Order
    {
        int source = 0; // counts calls of SetSource
        MediaItem item;
        SourceOptions options;
        std::optional<long long> time;
    };

    void Change(std::optional<long long> time);
    std::optional<Order> WaitForOrder();
    bool IsOutdated(int serial) const { return quitting || serial != newestSerial; }
    void Make(Order const& order, int serial);
    bool RestsAfter(int serial);
    void Deliver(Order const& order, PictureStream& pictures, long long earliest, int serial);
    void Take(int source, long long time, QImage const& picture, bool isExact);

    QSize const largest;
    QCache<long long, QImage> kept; // exact ones, by the time asked for

    std::atomic<bool> quitting{false};
    std::atomic<int> newestSerial{0}; // of the orders
    std::mutex mutex;                 // of the order
    std::condition_variable changed;
    Order order;
    int seenSerial = 0; // of the order that was taken up last

    // The thread's own.
    std::unique_ptr<PictureStream> pictures;
    int openSource = 0; // Order::source of the pictures
};
