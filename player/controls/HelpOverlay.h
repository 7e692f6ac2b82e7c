#pragma once

#include <QWidget>

class KeyMap;

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
