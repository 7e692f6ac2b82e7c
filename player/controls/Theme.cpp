#include "player/controls/Theme.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QStyleFactory>

#include <utility>

namespace {

// On a field of 24 x 24.
QPainterPath LoudspeakerPath()
{
    QPainterPath path;
    path.addPolygon(QPolygonF({{3, 9}, {7, 9}, {12, 4.5}, {12, 19.5}, {7, 15}, {3, 15}, {3, 9}}));
    return path;
}

void DrawLoop(QPainter& painter)
{
    painter.drawArc(QRectF(4.5, 5.5, 15, 13), 40 * 16, 280 * 16);
    painter.drawPolyline(QPolygonF({{13.8, 8.4}, {17.8, 8.2}, {18.2, 4.2}}));
}

void DrawCorners(QPainter& painter)
{
    painter.drawPolyline(QPolygonF({{4.5, 9}, {4.5, 5}, {9, 5}}));
    painter.drawPolyline(QPolygonF({{15, 5}, {19.5, 5}, {19.5, 9}}));
    painter.drawPolyline(QPolygonF({{19.5, 15}, {19.5, 19}, {15, 19}}));
    painter.drawPolyline(QPolygonF({{9, 19}, {4.5, 19}, {4.5, 15}}));
}

void DrawSymbol(QPainter& painter, Symbols::Symbol symbol, QColor const& colour)
{
    switch (symbol) {
    case Symbols::Symbol::Play: {
        QPainterPath path;
        path.addPolygon(QPolygonF({{7, 4}, {20, 12}, {7, 20}, {7, 4}}));
        painter.fillPath(path, colour);
        break;
    }
    case Symbols::Symbol::Pause:
        painter.fillRect(QRectF(6, 4.5, 4, 15), colour);
        painter.fillRect(QRectF(14, 4.5, 4, 15), colour);
        break;
    case Symbols::Symbol::Loop:
        DrawLoop(painter);
        break;
    case Symbols::Symbol::Sound:
        painter.fillPath(LoudspeakerPath(), colour);
        painter.drawArc(QRectF(10, 8, 7, 8), -60 * 16, 120 * 16);
        painter.drawArc(QRectF(9, 5, 12, 14), -60 * 16, 120 * 16);
        break;
    case Symbols::Symbol::NoSound:
        painter.fillPath(LoudspeakerPath(), colour);
        painter.drawLine(QPointF(15.5, 9.5), QPointF(20.5, 14.5));
        painter.drawLine(QPointF(20.5, 9.5), QPointF(15.5, 14.5));
        break;
    case Symbols::Symbol::FullScreen:
        DrawCorners(painter);
        break;
    }
}

// Draws a symbol anew in the pixels of each size and screen.
class SymbolEngine : public QIconEngine
{
public:
    SymbolEngine(Symbols::Symbol newSymbol, QColor const& newColour) : symbol(newSymbol), colour(newColour) {}

    void paint(QPainter* painter, QRect const& rect, QIcon::Mode /*mode*/, QIcon::State /*state*/) override
    {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->translate(rect.topLeft());
        painter->scale(rect.width() / 24.0, rect.height() / 24.0);
        painter->setPen(QPen(colour, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        DrawSymbol(*painter, symbol, colour);
        painter->restore();
    }

    QPixmap pixmap(QSize const& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap drawn(size);
        drawn.fill(Qt::transparent);
        QPainter painter(&drawn);
        paint(&painter, drawn.rect(), mode, state);
        return drawn;
    }

    QIconEngine* clone() const override { return new SymbolEngine(symbol, colour); }

private:
    Symbols::Symbol symbol;
    QColor colour;
};

} // namespace

// Qt 6 does this by itself.
void Theme::Prepare()
{
#if QT_VERSION_MAJOR < 6
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
}

void Theme::PaintCard(QPainter& painter, QRect const& place)
{
    painter.setRenderHint(QPainter::Antialiasing);
    QColor paper = panel;
    paper.setAlpha(225);
    painter.setPen(Qt::NoPen);
    painter.setBrush(paper);
    painter.drawRoundedRect(place, 5.0, 5.0);
}

void Theme::Apply(QApplication& application)
{
    application.setStyle(QStyleFactory::create("Fusion"));
    std::pair<QPalette::ColorRole, QColor> const roles[] = {
        {QPalette::Window, panel},     {QPalette::WindowText, text},
        {QPalette::Base, backdrop},    {QPalette::AlternateBase, panel},
        {QPalette::Text, text},        {QPalette::Button, raised},
        {QPalette::ButtonText, text},  {QPalette::ToolTipBase, raised},
        {QPalette::ToolTipText, text}, {QPalette::PlaceholderText, quietText},
        {QPalette::Highlight, accent}, {QPalette::HighlightedText, backdrop},
        {QPalette::Link, accent},
    };
    QPalette palette;
    for (auto const& [role, colour] : roles)
        palette.setColor(role, colour);
    for (auto const role : {QPalette::Text, QPalette::ButtonText, QPalette::WindowText})
        palette.setColor(QPalette::Disabled, role, quietText);
    palette.setColor(QPalette::Disabled, QPalette::Light, panel); // of which the style etches a white edge otherwise
    application.setPalette(palette);
}

QIcon Symbols::Draw(Symbol symbol, QColor const& colour)
{
    return QIcon(new SymbolEngine(symbol, colour));
}
