#include "qvNetMessage.h"

#include <bit>
#include <cmath>
#include <cstring>

#include <QtCore/QCoreApplication>

namespace QVNet {

// The samples are copied in bulk, so the wire order is the machine's.
static_assert(std::endian::native == std::endian::little, "the stream format is little-endian");

namespace {

constexpr quint8 CapabilityBits = (1u << (mscSingleValue + 1)) - 1;

template <typename T>
void Put(std::byte *&out, T value)
{
    std::memcpy(out, &value, sizeof value);
    out += sizeof value;
}

template <typename T>
T Get(const std::byte *&in)
{
    T value;
    std::memcpy(&value, in, sizeof value);
    in += sizeof value;
    return value;
}

bool LengthValid(std::int32_t length)
{
    return length >= 0 && std::uint32_t(length) <= MaxSlotSamples;
}

Error DecodeSettings(const std::byte *in, std::size_t size, Message &message)
{
    if (size < SettingsSize)
        return Error::Truncated;
    if (size != SettingsSize)
        return Error::Size;
    TQVMeasureSourceSettings &s = message.Settings;
    s = {};
    const double xStart = Get<double>(in);
    const double xSpan = Get<double>(in);
    s.ChannelCount = Get<std::int32_t>(in);
    s.RangeMin = Get<float>(in);
    s.RangeMax = Get<float>(in);
    s.BlockLength = Get<std::int32_t>(in);
    s.HarmonizedBlockLength = Get<std::int32_t>(in);
    const auto capabilities = Get<std::uint8_t>(in);
    const auto state = Get<std::uint8_t>(in);
    in += 2;
    std::memcpy(s.HostArea, in, sizeof s.HostArea);
    if (!std::isfinite(xStart) || !std::isfinite(xSpan) || xSpan < 0.0 || s.ChannelCount < 0
        || s.ChannelCount > QVChannelSlots || !LengthValid(s.BlockLength) || !LengthValid(s.HarmonizedBlockLength)
        || (capabilities & ~CapabilityBits) != 0 || state > mssAbort)
        return Error::Value;
    s.XStart = xStart;
    s.XSpan = xSpan;
    message.Capabilities = TQVMeasureSourceCapabilities::FromBits(capabilities);
    message.State = TQVMeasureSourceState(state);
    return Error::None;
}

Error DecodeBlock(const std::byte *begin, std::size_t size, Message &message)
{
    if (size < BlockFixedSize)
        return Error::Truncated;
    const std::byte *in = begin + HeaderSize;
    TQVDescArraySingle &block = message.Block;
    std::memset(static_cast<void *>(&block), 0, sizeof block);
    block.HeaderValueA = Get<double>(in);
    block.HeaderValueB = Get<double>(in);
    block.HeaderWord = Get<std::int32_t>(in);
    const auto slotCount = Get<std::uint32_t>(in);
    if (slotCount > std::uint32_t(QVChannelSlots))
        return Error::SlotCount;
    if (size < BlockFixedSize + 4 * std::size_t(slotCount))
        return Error::Truncated;
    // At most 65 slotCount of 2^24 samples: the total fits in 64 bits without overflow.
    std::uint64_t total = 0;
    std::uint32_t counts[QVChannelSlots];
    for (std::uint32_t k = 0; k < slotCount; ++k) {
        counts[k] = Get<std::uint32_t>(in);
        if (counts[k] > MaxSlotSamples)
            return Error::SampleCount;
        total += counts[k];
    }
    const std::uint64_t expected = BlockFixedSize + 4 * std::uint64_t(slotCount) + 4 * total;
    if (size < expected)
        return Error::Truncated;
    if (size != expected)
        return Error::Size;
    message.Slots = int(slotCount);
    message.SamplesAligned = reinterpret_cast<std::uintptr_t>(in) % alignof(float) == 0;
    for (std::uint32_t k = 0; k < slotCount; ++k) {
        message.Samples[k] = in;
        block.Channels[k].Count = std::int32_t(counts[k]);
        if (message.SamplesAligned && counts[k] > 0)
            block.Channels[k].Data = reinterpret_cast<float *>(const_cast<std::byte *>(in));
        in += 4 * std::size_t(counts[k]);
    }
    return Error::None;
}

} // namespace

Error Decode(const void *data, std::size_t size, Message &message)
{
    const auto *in = static_cast<const std::byte *>(data);
    if (size >= sizeof Magic && std::memcmp(in, Magic, sizeof Magic) != 0)
        return Error::Magic;
    if (size < HeaderSize)
        return Error::Truncated;
    if (std::uint8_t(in[4]) != Version)
        return Error::Version;
    const std::byte *field = in + 8;
    message.Head.Session = Get<std::uint64_t>(field);
    message.Head.Sequence = Get<std::uint64_t>(field);
    message.Slots = 0;
    switch (std::uint8_t(in[5])) {
    case std::uint8_t(Kind::Settings):
        message.Head.MessageKind = Kind::Settings;
        return DecodeSettings(in + HeaderSize, size, message);
    case std::uint8_t(Kind::Block):
        message.Head.MessageKind = Kind::Block;
        return DecodeBlock(in, size, message);
    case std::uint8_t(Kind::State):
        message.Head.MessageKind = Kind::State;
        if (size < StateSize)
            return Error::Truncated;
        if (size != StateSize)
            return Error::Size;
        if (std::uint8_t(in[HeaderSize]) > mssAbort)
            return Error::Value;
        message.State = TQVMeasureSourceState(in[HeaderSize]);
        return Error::None;
    default:
        return Error::Kind;
    }
}

QString ErrorText(Error error)
{
    switch (error) {
    case Error::None:
        return {};
    case Error::Truncated:
        return QCoreApplication::translate("TQVNetSource", "Rejected a truncated stream message");
    case Error::Magic:
        return QCoreApplication::translate("TQVNetSource", "Rejected a message that is not part of a Velmora stream");
    case Error::Version:
        return QCoreApplication::translate("TQVNetSource", "Rejected a stream message of another format version");
    case Error::Kind:
        return QCoreApplication::translate("TQVNetSource", "Rejected a stream message of unknown kind");
    case Error::Size:
        return QCoreApplication::translate("TQVNetSource",
                                           "Rejected a stream message whose size does not match its contents");
    case Error::SlotCount:
        return QCoreApplication::translate("TQVNetSource", "Rejected a block with more than 65 channels");
    case Error::SampleCount:
        return QCoreApplication::translate("TQVNetSource", "Rejected a block with a channel of more than 2^24 samples");
    case Error::Value:
        return QCoreApplication::translate("TQVNetSource", "Rejected a stream message with a field out of range");
    }
    return {};
}

void WriteHeader(std::byte *out, Kind kind, std::uint64_t session, std::uint64_t sequence)
{
    std::memcpy(out, Magic, sizeof Magic);
    out[4] = std::byte(Version);
    out[5] = std::byte(kind);
    out[6] = out[7] = std::byte(0);
    out += 8;
    Put(out, session);
    Put(out, sequence);
}

void EncodeSettings(std::byte *out, const Header &header, const TQVMeasureSourceSettings &settings,
                    TQVMeasureSourceCapabilities capabilities, TQVMeasureSourceState state)
{
    WriteHeader(out, Kind::Settings, header.Session, header.Sequence);
    out += HeaderSize;
    Put(out, double(settings.XStart));
    Put(out, double(settings.XSpan));
    Put(out, settings.ChannelCount);
    Put(out, settings.RangeMin);
    Put(out, settings.RangeMax);
    Put(out, settings.BlockLength);
    Put(out, settings.HarmonizedBlockLength);
    Put(out, std::uint8_t(capabilities.Bits()));
    Put(out, std::uint8_t(state));
    Put(out, std::uint16_t(0));
    std::memcpy(out, settings.HostArea, sizeof settings.HostArea);
}

void EncodeState(std::byte *out, const Header &header, TQVMeasureSourceState state)
{
    WriteHeader(out, Kind::State, header.Session, header.Sequence);
    out[HeaderSize] = std::byte(state);
}

int BlockSlots(const TQVDescArraySingle &block)
{
    int slotCount = QVChannelSlots;
    while (slotCount > 0 && !QVHasData(block.Channels[slotCount - 1]))
        --slotCount;
    return slotCount;
}

std::size_t BlockSize(const TQVDescArraySingle &block)
{
    const int slotCount = BlockSlots(block);
    std::size_t size = BlockFixedSize + 4 * std::size_t(slotCount);
    for (int k = 0; k < slotCount; ++k) {
        if (QVHasData(block.Channels[k]))
            size += 4 * std::size_t(block.Channels[k].Count);
    }
    return size;
}

void EncodeBlock(std::byte *out, const Header &header, const TQVDescArraySingle &block)
{
    WriteHeader(out, Kind::Block, header.Session, header.Sequence);
    out += HeaderSize;
    const int slotCount = BlockSlots(block);
    Put(out, double(block.HeaderValueA));
    Put(out, double(block.HeaderValueB));
    Put(out, block.HeaderWord);
    Put(out, std::uint32_t(slotCount));
    for (int k = 0; k < slotCount; ++k)
        Put(out, std::uint32_t(QVHasData(block.Channels[k]) ? block.Channels[k].Count : 0));
    for (int k = 0; k < slotCount; ++k) {
        const QVDescArraySingle &slot = block.Channels[k];
        if (QVHasData(slot)) {
            std::memcpy(out, slot.Data, 4 * std::size_t(slot.Count));
            out += 4 * std::size_t(slot.Count);
        }
    }
}

} // namespace QVNet
