#pragma once

#include <QStringList>
#include <QWidget>

struct PlaybackStatus;

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
