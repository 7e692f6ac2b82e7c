#pragma once

#include <QStringList>
#include <QWidget>

class KeyMap;
class QLabel;
class QVBoxLayout;
struct PlaybackStatus;

// Shows all keys over the picture, scaled down in a small view.
class HelpOverlay : public QWidget
{
    Q_OBJECT

public:
    HelpOverlay(KeyMap const& keys, QWidget* parent); // `keys` must outlive it

    QStringList GetLines() const; // its text, as "keys: help"

    // What is wrong with the file of the keys, one sentence a fault; shown above the keys.
    void SetFaults(QStringList const& faults);
    QStringList const& GetFaults() const { return faults; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void PaintFaults(QPainter& painter, QRectF const& area) const;
    void PaintGroups(QPainter& painter, QRectF const& area) const;

    KeyMap const& keys;
    QStringList faults;
};

// Shows statistics of decoding and play in a corner of the picture.
class StatisticsOverlay : public QWidget
{
    Q_OBJECT

public:
    explicit StatisticsOverlay(QWidget* parent);

    // `painting`: the surface and the zoom.
    void Show(PlaybackStatus const& status, QString const& painting);

    QStringList GetLines() const; // as "name: value"

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QVector<QPair<QString, QString>> rows;
};

// Shown when nothing plays: how to open a file, the last error, and the recent files.
class WelcomePanel : public QWidget
{
    Q_OBJECT

public:
    explicit WelcomePanel(QWidget* parent);

    // `message`: one or more sentences; empty without an error.
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
