#pragma once

#include <QColor>
#include <QIcon>

class QApplication;
class QPainter;
class QRect;

// The window's colours. Dark and neutral, so that they do not influence how the picture looks.
namespace Theme {

inline QColor const backdrop(14, 14, 15);     // around the picture
inline QColor const panel(27, 28, 30);        // behind the controls
inline QColor const raised(43, 45, 48);       // buttons, the timeline's groove
inline QColor const line(58, 60, 64);         // edges
inline QColor const text(222, 223, 225);      // main text
inline QColor const quietText(146, 149, 154); // secondary text
inline QColor const accent(94, 160, 232);     // played part, selection
inline QColor const cached(92, 168, 122);     // cached span
inline QColor const range(226, 170, 74);      // in and out points
inline QColor const mark(208, 120, 208);      // markers
inline QColor const wave(76, 82, 90);         // sound not yet played
inline QColor const damage(224, 72, 72);      // where pictures could not be decoded
inline QColor const warning(236, 132, 106);   // notes about something missing

void Prepare(); // before the application is made
void Apply(QApplication& application);
void PaintCard(QPainter& painter, QRect const& place); // the background of text over the picture

} // namespace Theme

// Icons of the controls. Drawn, not loaded: sharp at any size and scale of the screen, independent of icon themes.
namespace Symbols {

enum class Symbol { Play, Pause, Loop, Sound, NoSound, FullScreen };

QIcon Draw(Symbol symbol, QColor const& colour);

} // namespace Symbols
