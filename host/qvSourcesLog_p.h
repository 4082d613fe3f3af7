#pragma once

// The logging category of the host sources' and the recorder's failures, "velmora.sources":
// each failure is logged as a warning besides its ErrorOccurred signal, and a program that
// shows the signal's messages itself turns the warnings off with the rule
// "velmora.sources.warning=false".

#include <QtCore/QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcVelmoraSources)
