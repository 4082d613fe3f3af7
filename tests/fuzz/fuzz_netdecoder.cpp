// The stream message decoder under libFuzzer: any bytes either decode into a message whose
// samples lie inside them, or are rejected with a reason; a decoded block encodes back into
// the same bytes.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/net/qvNetMessage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // A copy of exactly `size` bytes, so that the sanitizer sees every read beyond them.
    std::vector<std::uint8_t> bytes(data, data + size);
    QVNet::Message message;
    const QVNet::Error error = QVNet::Decode(bytes.data(), bytes.size(), message);
    if (error != QVNet::Error::None) {
        if (QVNet::ErrorText(error).isEmpty())
            std::abort();
        return 0;
    }
    if (message.Head.MessageKind != QVNet::Kind::Block)
        return 0;
    // Every sample is read into an aligned copy (unaligned samples are not pointed at), from
    // which the encoder reads them.
    std::vector<std::vector<float>> copies(std::size_t(message.Slots));
    for (int k = 0; k < message.Slots; ++k) {
        std::vector<float> &copy = copies[std::size_t(k)];
        copy.resize(std::size_t(message.Block.Channels[k].Count));
        if (!copy.empty())
            std::memcpy(copy.data(), message.Samples[k], 4 * copy.size());
        message.Block.Channels[k].Data = copy.empty() ? nullptr : copy.data();
    }
    // Empty trailing slots are not written again, so compare only when the last one has samples.
    if (message.Slots > 0 && message.Block.Channels[message.Slots - 1].Count > 0) {
        std::vector<std::byte> again(QVNet::BlockSize(message.Block));
        QVNet::EncodeBlock(again.data(), message.Head, message.Block);
        again[6] = std::byte(bytes[6]); // reserved bytes are not checked
        again[7] = std::byte(bytes[7]);
        // The header values pass through 80 bits, where a NaN keeps its being NaN only.
        const auto sameValue = [&](std::size_t offset) {
            double a, b;
            std::memcpy(&a, again.data() + offset, sizeof a);
            std::memcpy(&b, bytes.data() + offset, sizeof b);
            return a == b || (a != a && b != b);
        };
        if (again.size() != size || std::memcmp(again.data(), bytes.data(), 24) != 0 || !sameValue(24)
            || !sameValue(32) || std::memcmp(again.data() + 40, bytes.data() + 40, size - 40) != 0)
            std::abort();
    }
    return 0;
}
