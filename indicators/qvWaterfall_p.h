#pragma once

// Internal: the clock of the waterfall's time marks (milliseconds since the epoch), which
// tests replace to feed blocks at chosen times.

#include <QtCore/QtGlobal>

#include "framework/qvGlobal.h"

using TQVWaterfallClock = qint64 (*)();

/// Sets the clock of every waterfall; null restores the system clock.
QV_WIDGETS_EXPORT void QVSetWaterfallClock(TQVWaterfallClock clock);
