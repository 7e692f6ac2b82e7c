#pragma once

#include <QIcon>

// The controls' symbols, drawn and not loaded, so that they are sharp at any size and need no theme.
namespace Symbols {

enum class Symbol { Play, Pause, Loop, Sound, NoSound, FullScreen };

QIcon Draw(Symbol symbol, QColor const& colour);

} // namespace Symbols
