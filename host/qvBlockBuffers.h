#pragma once

#include <QtCore/QString>

/// \brief Whether the block buffers of a host source fit in memory: `channels` channels of
/// `blockLength` samples and, per channel, room for a pending block and `harmonizedLength`
/// harmonized samples. Tried with one allocation of the whole size, freed at once, so that a
/// setter can refuse a length before it changes anything.
bool QVBlockBuffersFit(int channels, int blockLength, int harmonizedLength);

/// The message a source reports when it refuses a length for want of memory.
QString QVBlockBuffersMessage(const char *context, int channels, int blockLength);
