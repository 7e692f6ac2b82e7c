#include "player/picture/PixelReadout.h"

#include "player/controls/Theme.h"
#include "player/picture/PictureView.h"

#include <QFontDatabase>
#include <QPainter>

namespace {

constexpr int pixelTextMargin = 12; // from the view's corner
constexpr int pixelTextPadding = 8;
constexpr int swatch = 14;

} // namespace

PixelReadout::PixelReadout(PictureView& view) : QWidget(&view), view(view)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    hide();
    connect(&view, &PictureView::PointerMoved, this, [this](QPoint position) {
        pointer = position;
        isInside = true;
        Update();
    });
    connect(&view, &PictureView::PointerLeft, this, [this] {
        isInside = false;
        Update();
    });
}

void PixelReadout::SetOn(bool newOn)
{
    on = newOn;
    Update();
}

void PixelReadout::Update()
{
    auto const pixel = on && isInside ? view.PixelAt(pointer) : std::nullopt;
    QString newText;
    if (pixel) {
        colour = pixel->colour;
        newText = QString("x %1  y %2   R %3  G %4  B %5")
                      .arg(pixel->place.x())
                      .arg(pixel->place.y())
                      .arg(colour.red())
                      .arg(colour.green())
                      .arg(colour.blue());
        if (view.GetSecond())
            newText.prepend(pixel->isSecond ? "B   " : "A   ");
    }
    setVisible(!newText.isEmpty());
    if (newText != text) {
        text = newText;
        resize(fontMetrics().horizontalAdvance(text) + swatch + 3 * pixelTextPadding,
               fontMetrics().height() + pixelTextPadding);
        update();
    }
    if (isVisible())
        Place(); // the view may have another size
}

// In the upper right corner, as the left ones are the statistics' and the readout's; in the lower one while the pointer
// is there.
void PixelReadout::Place()
{
    QRect place(QPoint(view.width() - width() - pixelTextMargin, pixelTextMargin), size());
    if (place.adjusted(-pixelTextMargin, -pixelTextMargin, pixelTextMargin, pixelTextMargin).contains(pointer))
        place.moveTop(view.height() - height() - pixelTextMargin);
    if (place.topLeft() == pos())
        return;
    move(place.topLeft());
    raise();
}

void PixelReadout::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    Theme::PaintCard(painter, rect());
    painter.fillRect(pixelTextPadding, (height() - swatch) / 2, swatch, swatch, colour);
    painter.setPen(Theme::text);
    painter.drawText(rect().adjusted(swatch + 2 * pixelTextPadding, 0, 0, 0), Qt::AlignVCenter, text);
}
