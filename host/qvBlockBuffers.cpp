#include "host/qvBlockBuffers.h"

#include <cstddef>
#include <memory>
#include <new>

#include <QtCore/QCoreApplication>

bool QVBlockBuffersFit(int channels, int blockLength, int harmonizedLength)
{
    const std::size_t perChannel = 2 * std::size_t(blockLength) + std::size_t(harmonizedLength);
    const std::size_t samples = std::size_t(channels) * perChannel;
    std::unique_ptr<float[]> probe(new (std::nothrow) float[samples]);
    return probe != nullptr;
}

QString QVBlockBuffersMessage(const char *context, int channels, int blockLength)
{
    return QCoreApplication::translate(context, "Not enough memory for %1 channels of %2 samples")
        .arg(channels)
        .arg(blockLength);
}
