#include "player/controls/FullScreenControls.h"

#include "player/picture/PictureView.h"

#include <QBoxLayout>

#include <algorithm>

namespace {

constexpr int pointerPatience = 2000; // milliseconds
constexpr int reach = 110;            // pixels from the lower edge, where the pointer brings the controls

} // namespace

FullScreenControls::FullScreenControls(PictureView& newView, QWidget& newPanel, QBoxLayout& newColumn)
    : view(newView), panel(newPanel), column(newColumn)
{
    pointerRest.setSingleShot(true);
    pointerRest.setInterval(pointerPatience);
    connect(&pointerRest, &QTimer::timeout, this, [this] { view.setCursor(Qt::BlankCursor); });
}

void FullScreenControls::Set(bool full)
{
    if (full == isFull)
        return;
    isFull = full;
    view.unsetCursor();
    if (isFull) {
        column.removeWidget(&panel);
        panel.hide();
        pointerRest.start();
        Place();
    } else {
        pointerRest.stop();
        column.addWidget(&panel);
        panel.show();
    }
}

void FullScreenControls::Place()
{
    if (!isFull)
        return;
    QSize const window = panel.parentWidget()->size();
    int const height = panel.sizeHint().height();
    panel.setGeometry(0, window.height() - height, window.width(), height);
    panel.raise();
}

void FullScreenControls::FollowPointer(QPoint inView)
{
    if (!isFull)
        return;
    view.unsetCursor();
    pointerRest.start();
    Place();
    panel.setVisible(inView.y() > view.height() - std::max(reach, panel.height()));
}

bool FullScreenControls::AreHidden() const
{
    return isFull && !panel.isVisible();
}
