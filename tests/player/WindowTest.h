#pragma once

#include "decode/DecodedVideoFrame.h"
#include "player/PlayerWindow.h"
#include "player/controls/ControlBar.h"
#include "player/controls/Timeline.h"
#include "tests/player/DemoMovie.h"
#include "tests/player/Eventually.h"

#include <QApplication>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QLabel>
#include <QMimeData>
#include <QScreen>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

// The demo movie has these.
constexpr int pictures = 250; // ten seconds
constexpr long long step = 40000;

// The view of the picture is 640 x 480, so that each pixel of the movie is 2 x 2 on the screen.
constexpr int viewWidth = 640;
constexpr int viewHeight = 480;

inline bool IsWhite(QImage const& image, int x, int y)
{
    return qGray(image.pixel(x, y)) > 128;
}

// Reads ten squares whose middles lie `stepX`, `stepY` apart.
inline int ReadSquares(QImage const& image, QPoint first, int stepX, int stepY)
{
    int number = 0;
    for (int i = 0; i < DemoMovie::squares; ++i)
        number = 2 * number + (IsWhite(image, first.x() + i * stepX, first.y() + i * stepY) ? 1 : 0);
    return number;
}

// With the left button held.
inline void Drag(QWidget& widget, QPointF const& to)
{
    QMouseEvent move(QEvent::MouseMove, to, widget.mapToGlobal(to.toPoint()), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&widget, &move);
}

// The player's window, silent and paused, with settings of its own.
class WindowTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("XDG_CONFIG_HOME", home.filePath("config").toUtf8());
        qputenv("XDG_DATA_HOME", home.filePath("data").toUtf8());
        options.audio = "null";
        options.paused = true;
    }

    void Start(QStringList const& files, EarlyEngine early, QSize view = QSize(viewWidth, viewHeight))
    {
        options.files = files;
        settings.pictureFolder = home.filePath("pictures");
        window = std::make_unique<PlayerWindow>(options, settings, std::move(early));
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        window->resize(window->size() + view - window->GetView().size());
        ASSERT_TRUE(Eventually([&] { return window->GetView().size() == view; }));
    }

    void Start(QStringList const& files, QSize view = QSize(viewWidth, viewHeight)) { Start(files, {}, view); }

    void StartDemo()
    {
        QString const movie = DemoMovie::Make(pictures);
        ASSERT_FALSE(movie.isEmpty());
        Start({movie});
        ASSERT_TRUE(Eventually([&] { return Child<Timeline>()->TimeAt(viewWidth) > 0; }));
        ASSERT_TRUE(Shows(0));
    }

    QImage Grab()
    {
        QPoint const corner = window->GetView().mapTo(window.get(), QPoint(0, 0));
        QSize const size = window->GetView().size();
        return window->screen()
            ->grabWindow(window->winId(), corner.x(), corner.y(), size.width(), size.height())
            .toImage();
    }

    // What the screen says; the record and the label must say the same.
    int ShownNumber() { return ReadSquares(Grab(), QPoint(32, 32), 64, 0); }

    int RecordNumber()
    {
        auto const shown = window->GetView().GetShown();
        return shown ? static_cast<int>(shown->startTime / step) : -1;
    }

    ::testing::AssertionResult Shows(int number)
    {
        if (Eventually([&] { return ShownNumber() == number && RecordNumber() == number; }))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << "screen " << ShownNumber() << ", record " << RecordNumber() << ", expected " << number;
    }

    void Press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(window.get(), key, modifiers);
    }

    PlaybackStatus Status() { return window->GetEngine().GetStatus(); }

    void SeekTo(int number)
    {
        window->GetEngine().Seek(number * step);
        ASSERT_TRUE(Shows(number));
    }

    // What the controls say.
    QStringList Labels()
    {
        QStringList texts;
        for (QLabel const* label : Child<ControlBar>()->findChildren<QLabel*>())
            texts << label->text();
        return texts;
    }

    template <typename T>
    T* Child()
    {
        return window->findChild<T*>();
    }

    void Drop(QStringList const& paths)
    {
        QMimeData data;
        QList<QUrl> urls;
        for (QString const& path : paths)
            urls << QUrl::fromLocalFile(path);
        data.setUrls(urls);
        QDragEnterEvent enter(QPoint(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &enter);
        ASSERT_TRUE(enter.isAccepted());
        QDropEvent drop(QPointF(50, 50), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window.get(), &drop);
    }

    QTemporaryDir home;
    PlayerOptions options;
    PlayerSettings settings;
    std::unique_ptr<PlayerWindow> window;
};
