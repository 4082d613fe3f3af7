#include "qvTestConsumer.h"

TQVTestConsumer::TQVTestConsumer(LinkKind kind, const std::string &name, TQVEventLog *log)
    : m_name(name)
    , m_log(log)
{
    switch (kind) {
    case Plain: m_link = std::make_unique<TQVMeasureLink>(this); break;
    case SingleValue: m_link = std::make_unique<TQVMeasureLinkSingleValue>(this); break;
    case SingleChannel: m_link = std::make_unique<TQVMeasureLinkSingleChannel>(this); break;
    case DualChannel: m_link = std::make_unique<TQVMeasureLinkDualChannel>(this); break;
    }
    m_link->OnUpdateSettings = [this](TQVMeasureLink *link) {
        ++SettingsCalls;
        LastSettings = TQVMeasureSourceSettings{};
        link->Source()->GetSettings(LastSettings);
        if (m_log)
            m_log->push_back(m_name + ":settings");
    };
    m_link->OnChangedState = [this](TQVMeasureLink *, TQVMeasureSourceState state) {
        States.push_back(state);
        if (m_log)
            m_log->push_back(m_name + ":state");
    };
    m_link->OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) {
        Block block;
        block.HeaderValueA = data.HeaderValueA;
        block.HeaderValueB = data.HeaderValueB;
        block.HeaderWord = data.HeaderWord;
        block.Channel0Pointer = data.Channels[0].Data;
        block.Channels.resize(QVChannelSlots);
        for (int k = 0; k < QVChannelSlots; ++k) {
            const QVDescArraySingle &slot = data.Channels[k];
            if (QVHasData(slot))
                block.Channels[k].assign(slot.Data, slot.Data + slot.Count);
        }
        Blocks.push_back(std::move(block));
        if (m_log)
            m_log->push_back(m_name + ":data");
    };
}

TQVTestConsumer::~TQVTestConsumer() = default;

std::vector<float> TQVTestConsumer::Joined(int channel, std::size_t firstBlock) const
{
    std::vector<float> out;
    for (std::size_t b = firstBlock; b < Blocks.size(); ++b)
        out.insert(out.end(), Blocks[b].Channels[std::size_t(channel)].begin(), Blocks[b].Channels[std::size_t(channel)].end());
    return out;
}

TQVTestSource::TQVTestSource(QObject *owner)
    : TQVMeasureSource(owner)
{
}

TQVTestSource::TQVTestSource(TQVMeasureSourceCapabilities capabilities, int channels, int blockLength, long double span)
{
    SetCaps(capabilities);
    SetSettings(channels, blockLength, span);
}

void TQVTestSource::SetSettings(int channels, int blockLength, long double span)
{
    Settings = TQVMeasureSourceSettings{};
    Settings.XSpan = span;
    Settings.ChannelCount = channels;
    Settings.BlockLength = blockLength;
    Settings.HarmonizedBlockLength = blockLength;
    Settings.RangeMin = -1.0f;
    Settings.RangeMax = 1.0f;
}

void TQVTestSource::GetSettings(TQVMeasureSourceSettings &settings) const
{
    settings = Settings;
}

TQVTestBlock::TQVTestBlock(int channels, int count)
{
    Samples.resize(std::size_t(channels));
    Block.HeaderWord = channels;
    for (int c = 0; c < channels; ++c) {
        Samples[std::size_t(c)].resize(std::size_t(count));
        for (int k = 0; k < count; ++k)
            Samples[std::size_t(c)][std::size_t(k)] = float(c * 1000 + k);
        Block.Channels[c] = QVDescArraySingle{Samples[std::size_t(c)].data(), count};
    }
}
