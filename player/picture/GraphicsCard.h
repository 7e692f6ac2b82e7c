#pragma once

#include "TavolinWidgetsExport.h"

// Whether the computer has a graphics card that OpenGL can use, as far as its devices tell. Quick: loads no driver.
// True where devices do not tell.
TAVOLINWIDGETS_EXPORT bool HasGraphicsCard();
