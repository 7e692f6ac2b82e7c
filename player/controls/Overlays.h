#pragma once

#include <QStringList>
#include <QWidget>

class KeyMap;
class QLabel;
class QVBoxLayout;
struct PlaybackStatus;

// All keys, over the picture. Made smaller where the view is too small for them.
class HelpOverlay : public QWidget
{
    Q_OBJECT

public:
    HelpOverlay(KeyMap const& keys, QWidget* parent); // `keys` must outlive it

    QStringList GetLines() const; // what it says, as "keys: help"

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void PaintGroups(QPainter& painter, QRectF const& area) const;

    KeyMap const& keys;
};

// Figures about decoding and play in the corner of the picture.
class StatisticsOverlay : public QWidget
{
    Q_OBJECT

public:
    explicit StatisticsOverlay(QWidget* parent);

    // `painting` says what paints the picture and how.
    void Show(PlaybackStatus const& status, QString const& painting);

    QStringList GetLines() const; // as "name: value"

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QVector<QPair<QString, QString>> rows;
};

// What the window shows when there is nothing to play: what can be done, what went wrong, and the files opened last.
class WelcomePanel : public QWidget
{
    Q_OBJECT

public:
    explicit WelcomePanel(QWidget* parent);

    // `message` is one or more sentences; empty when nothing went wrong.
    void Show(QString const& message, QStringList const& recentFiles);
    QString GetMessage() const;

signals:
    void OpenRequested();                    // any file
    void FileRequested(QString const& path); // one of the recent ones

private:
    QLabel* heading;
    QLabel* message;
    QVBoxLayout* files; // a button for each recent file
};
