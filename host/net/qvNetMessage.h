#pragma once

#include <cstddef>
#include <cstdint>

#include <QtCore/QString>

#include "framework/qvMeasIntf.h"

/// \brief The messages of a network stream (`TQVNetSink` to `TQVNetSource`), one ZeroMQ
/// message each.
///
/// Every message starts with a 24-byte header: the magic "VMNS", the format version, the
/// message kind, two reserved bytes (0), the publisher's session id (random per sink, so that
/// a restarted publisher shows) and the sequence number (0, 1, 2, ... over every message of
/// the session). Numbers are little-endian; floats are IEEE 754. docs/network.md lists the
/// bodies.
namespace QVNet {

constexpr char Magic[4] = {'V', 'M', 'N', 'S'};
constexpr std::uint8_t Version = 1;
constexpr std::size_t HeaderSize = 24;
/// Size of a settings message.
constexpr std::size_t SettingsSize = HeaderSize + 40 + 256;
/// Size of a state message.
constexpr std::size_t StateSize = HeaderSize + 1;
/// Size of a block message without its slot counts and samples.
constexpr std::size_t BlockFixedSize = HeaderSize + 24;
/// Samples per slot a block may carry.
constexpr std::uint32_t MaxSlotSamples = 1u << 24;

/// What a message carries.
enum class Kind : std::uint8_t {
    Settings = 1, ///< the publisher's settings, capabilities and run state
    Block = 2,    ///< one data block
    State = 3,    ///< a change of the run state
};

/// Why a message was rejected.
enum class Error {
    None,
    Truncated,    ///< shorter than its header or its fixed body
    Magic,        ///< not a message of this format
    Version,      ///< another version of the format
    Kind,         ///< an unknown message kind
    Size,         ///< the size does not match what the body declares
    SlotCount,    ///< more slots than a block has
    SampleCount,  ///< a slot with more than `MaxSlotSamples` samples
    Value,        ///< a field out of its range (channel count, length, state, capability bits)
};

/// The header of a message.
struct Header
{
    Kind MessageKind = Kind::State;
    std::uint64_t Session = 0;
    std::uint64_t Sequence = 0;
};

/// \brief A decoded message. For a block, `Block` points into the decoded bytes: channel k
/// holds `Block.Channels[k].Count` samples starting at `Samples[k]` (unaligned; copy them
/// out, or use them in place when `SamplesAligned`).
struct Message
{
    Header Head;
    TQVMeasureSourceSettings Settings{};
    TQVMeasureSourceCapabilities Capabilities;
    TQVMeasureSourceState State = mssStop;
    TQVDescArraySingle Block{};
    int Slots = 0; ///< block slots carried (0 to `QVChannelSlots`)
    const std::byte *Samples[QVChannelSlots] = {};
    bool SamplesAligned = false;
};

/// Decodes `size` bytes at `data` into `message`. Never reads outside them.
Error Decode(const void *data, std::size_t size, Message &message);
/// The error as a sentence (translated, context `TQVNetSource`).
QString ErrorText(Error error);

/// Writes the header of a message of `kind` into `out` (`HeaderSize` bytes).
void WriteHeader(std::byte *out, Kind kind, std::uint64_t session, std::uint64_t sequence);
/// Writes a settings message (`SettingsSize` bytes).
void EncodeSettings(std::byte *out, const Header &header, const TQVMeasureSourceSettings &settings,
                    TQVMeasureSourceCapabilities capabilities, TQVMeasureSourceState state);
/// Writes a state message (`StateSize` bytes).
void EncodeState(std::byte *out, const Header &header, TQVMeasureSourceState state);
/// The slots a block message of `block` carries: up to the last slot with samples.
int BlockSlots(const TQVDescArraySingle &block);
/// Size of the block message of `block`.
std::size_t BlockSize(const TQVDescArraySingle &block);
/// Writes the block message of `block` (`BlockSize(block)` bytes).
void EncodeBlock(std::byte *out, const Header &header, const TQVDescArraySingle &block);

} // namespace QVNet
