#include "player/controls/Readout.h"

#include "player/controls/Theme.h"

#include <QFontDatabase>
#include <QPainter>

#include <algorithm>

namespace {

constexpr int stay = 3000;        // milliseconds
constexpr int fadeTime = 600;     // milliseconds
constexpr int fadeBeat = 40;      // milliseconds
constexpr int readoutMargin = 16; // pixels from the corner
constexpr int readoutPadding = 8; // pixels
constexpr int flags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap;

} // namespace

Readout::Readout(QWidget* parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(15);
    setFont(font);
    fading.setInterval(fadeBeat);
    connect(&fading, &QTimer::timeout, this, &Readout::Fade);
    hide();
}

void Readout::Show(QString const& newText, QString const& newOccasion)
{
    bool const isOccasion = newOccasion != occasion;
    bool const isNew = newText != text;
    occasion = newOccasion;
    text = newText;
    if (text.isEmpty()) {
        fading.stop();
        hide();
        return;
    }
    if (isOccasion) {
        opacity = 1.0;
        shown.start();
        fading.start();
        show();
        raise();
    }
    if ((isNew || isOccasion) && isVisible()) {
        Place();
        update();
    }
}

void Readout::Place()
{
    QSize const room = parentWidget()->size() - QSize(2 * readoutMargin, 2 * readoutMargin);
    QRect const words = fontMetrics().boundingRect(
        QRect(QPoint(0, 0), room - QSize(2 * readoutPadding, 2 * readoutPadding)), flags, text);
    QSize const size = (words.size() + QSize(2 * readoutPadding, 2 * readoutPadding)).boundedTo(room);
    setGeometry(QRect(QPoint(readoutMargin, parentWidget()->height() - readoutMargin - size.height()), size));
}

void Readout::Fade()
{
    double const passed = static_cast<double>(shown.elapsed() - stay) / fadeTime;
    double const before = opacity;
    opacity = std::clamp(1.0 - passed, 0.0, 1.0);
    if (opacity <= 0.0) {
        fading.stop();
        hide();
    } else if (opacity != before) {
        update();
    }
}

void Readout::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    painter.setOpacity(opacity);
    Theme::PaintCard(painter, rect());
    painter.setPen(Theme::text);
    painter.drawText(rect().adjusted(readoutPadding, readoutPadding, -readoutPadding, -readoutPadding), flags, text);
}
