#pragma once

#include <QObject>
#include <QTimer>

class PictureView;
class QBoxLayout;
class QWidget;

// Where the controls of a window are: below the picture, or, in full screen, over its lower edge while the pointer is
// there. Full screen gives the picture the whole window, and the controls come and go without moving it. Hides the
// pointer when it rests on the picture.
class FullScreenControls : public QObject
{
    Q_OBJECT

public:
    // `panel`: the controls, the last thing in `column`, which is the layout of the window. All outlive this.
    FullScreenControls(PictureView& view, QWidget& panel, QBoxLayout& column);

    void Set(bool full);
    void FollowPointer(QPoint inView);
    void Place(); // after the size of the window changed
    bool AreHidden() const;

private:
    PictureView& view;
    QWidget& panel;
    QBoxLayout& column;
    QTimer pointerRest;
    bool isFull = false;
};
