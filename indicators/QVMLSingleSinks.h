#pragma once

// Instrument sinks: display controls bound to a single-value measure source. (Being written.)
