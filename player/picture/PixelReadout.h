#pragma once

#include <QColor>
#include <QWidget>

class PictureView;

// Tells place and values of the pixel under the pointer, in a corner of the view. Shows itself while it is switched on
// and the pointer is over a picture.
class PixelReadout : public QWidget
{
    Q_OBJECT

public:
    explicit PixelReadout(PictureView& view); // which it lies in

    void SetOn(bool on);
    bool IsOn() const { return on; }

    void Update(); // what is shown may have changed under the pointer

    QString GetText() const { return text; } // such as "x 12  y 34   R 255  G 0  B 128"; empty while nothing is shown

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Place();

    PictureView& view;
    bool on = false;
    bool isInside = false; // the pointer in the view
    QPoint pointer;
    QString text;
    QColor colour;
};
