#include "qvBlockSource.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <tuple>

#include <QtCore/QCoreApplication>

#include "qvSourcesLog_p.h"

Q_LOGGING_CATEGORY(lcVelmoraSources, "velmora.sources")

TQVBlockSource::TQVBlockSource(int channelCount, QObject *owner)
    : TQVMeasureSource(owner)
    , m_channelCount(channelCount)
{
    connect(&m_timer, &QTimer::timeout, this, &TQVBlockSource::Tick);
}

TQVBlockSource::~TQVBlockSource() = default;

bool TQVBlockSource::BuffersFit(int channels, int blockLength, int harmonizedLength, bool report)
{
    // One allocation of the whole size, freed at once: per channel a block, a pending block
    // and the harmonized samples.
    const std::size_t samples =
        std::size_t(channels) * (2 * std::size_t(blockLength) + std::size_t(harmonizedLength));
    if (std::unique_ptr<float[]>(new (std::nothrow) float[samples]))
        return true;
    if (report) {
        const QString message = QCoreApplication::translate("TQVBlockSource",
                                                            "Not enough memory for %1 channels of %2 samples")
                                    .arg(channels)
                                    .arg(blockLength);
        qCWarning(lcVelmoraSources, "%s", qPrintable(message));
        emit ErrorOccurred(message);
    }
    return false;
}

void TQVBlockSource::SetBlockLength(int length)
{
    if (length >= 1)
        SetLengths(length, m_harmonizedLength);
}

void TQVBlockSource::SetHarmonizedBlockLength(int length)
{
    if (length >= 0)
        SetLengths(m_blockLength, length);
}

void TQVBlockSource::SetLengths(int blockLength, int harmonizedLength)
{
    if (blockLength > MaxBlockLength || harmonizedLength > MaxBlockLength
        || (blockLength == m_blockLength && harmonizedLength == m_harmonizedLength)
        || !BuffersFit(std::max(1, m_channelCount), blockLength, harmonizedLength))
        return;
    const int previousBlock = m_blockLength;
    const int previousHarmonized = m_harmonizedLength;
    m_blockLength = blockLength;
    m_harmonizedLength = harmonizedLength;
    NotifyAfter([this] { ConfigChanged(); },
                [&] {
                    if (m_blockLength != previousBlock)
                        emit BlockLengthChanged();
                    if (m_harmonizedLength != previousHarmonized)
                        emit HarmonizedBlockLengthChanged();
                });
}

void TQVBlockSource::GetSettings(TQVMeasureSourceSettings &settings) const
{
    const double rate = SampleRate();
    if (!(rate > 0.0)) {
        QVClearSettings(settings);
        return;
    }
    settings.XStart = 0.0L;
    settings.XSpan = static_cast<long double>(m_blockLength) / static_cast<long double>(rate);
    settings.ChannelCount = m_channelCount;
    settings.BlockLength = m_blockLength;
    settings.HarmonizedBlockLength = m_harmonizedLength;
    std::tie(settings.RangeMin, settings.RangeMax) = ValueRange();
}

void TQVBlockSource::RequestData()
{
    Tick();
}

int TQVBlockSource::TimerInterval() const
{
    return std::max(1, int(std::min(1e9, std::round(1000.0 * m_blockLength / SampleRate()))));
}

void TQVBlockSource::Run()
{
    if (m_state == mssRun || !(SampleRate() > 0.0) || !PrepareRun())
        return;
    m_state = mssRun;
    if (!DeliverState(mssRun))
        return; // a consumer deleted the source
    emit StateChanged(mssRun);
    if (const int interval = TimerInterval(); interval > 0)
        m_timer.start(interval);
}

void TQVBlockSource::Stop()
{
    if (m_state == mssStop)
        return;
    m_timer.stop();
    if (m_state != mssError)
        StreamStopping();
    m_state = mssStop;
    if (DeliverState(mssStop))
        emit StateChanged(mssStop);
}

void TQVBlockSource::AnnounceState(TQVMeasureSourceState state)
{
    if ((state != mssPause && state != mssError) || m_state == state)
        return;
    m_timer.stop();
    if (state == mssError && m_state != mssStop)
        StreamStopping();
    m_state = state;
    if (DeliverState(state))
        emit StateChanged(state);
}

void TQVBlockSource::PrepareBuffers()
{
    m_buffersStale = true;
    if (Delivering())
        return;
    if (std::size_t(m_channelCount) > m_channels.size())
        m_channels.resize(std::size_t(m_channelCount));
    const std::size_t pending = std::size_t(m_blockLength) + std::size_t(m_harmonizedLength);
    for (int k = 0; k < m_channelCount; ++k) {
        ChannelBuffers &channel = m_channels[std::size_t(k)];
        channel.Block.assign(std::size_t(m_blockLength), 0.0f);
        channel.Harmonized.clear();
        channel.Harmonized.reserve(pending);
    }
    m_buffersStale = false;
}

void TQVBlockSource::RenewBlockBuffers()
{
    if (std::size_t(m_channelCount) > m_channels.size())
        m_channels.resize(std::size_t(m_channelCount));
    for (int k = 0; k < m_channelCount; ++k) {
        std::vector<float> &block = m_channels[std::size_t(k)].Block;
        RetireBuffer(std::make_shared<std::vector<float>>(std::move(block)));
        block.assign(std::size_t(m_blockLength), 0.0f);
    }
    m_buffersStale = true;
}

void TQVBlockSource::RestartStream()
{
    m_streamFrame = 0;
    m_harmonizedStart = 0;
    PrepareBuffers();
}

void TQVBlockSource::ConfigChanged()
{
    PrepareBuffers();
    if (m_state == mssRun && m_timer.isActive())
        m_timer.setInterval(TimerInterval());

    TQVMeasureSourceCapabilities capabilities{mscContinuous, mscEquidistant};
    if (m_harmonizedLength > 0)
        capabilities.Include(mscCanHarmonize);
    if (m_channelCount == 1)
        capabilities.Include(mscSingleChannel);
    if (m_channelCount == 2)
        capabilities.Include(mscDualChannel);
    if (m_blockLength == 1)
        capabilities.Include(mscSingleValue);
    SetCapabilities(capabilities);
    UpdateLinks();
}

TQVDescArraySingle TQVBlockSource::MakeHeader(qint64 firstFrame) const
{
    TQVDescArraySingle block{};
    block.HeaderValueA =
        StreamStartTime() + static_cast<long double>(firstFrame) / static_cast<long double>(SampleRate());
    block.HeaderValueB = 0.0L;
    block.HeaderWord = m_channelCount;
    return block;
}

bool TQVBlockSource::AnyLinkHarmonized() const
{
    return std::any_of(Links().begin(), Links().end(), [this](TQVMeasureLink *link) { return GetHarmonizeData(link); });
}

void TQVBlockSource::Tick()
{
    const bool nested = Delivering();
    if ((nested && !TicksWhileDelivering()) || !(SampleRate() > 0.0))
        return;
    if (nested)
        RenewBlockBuffers();
    else if (m_buffersStale)
        PrepareBuffers();

    const int channels = m_channelCount;
    float *out[QVChannelSlots];
    for (int k = 0; k < channels; ++k)
        out[k] = m_channels[std::size_t(k)].Block.data();
    const qint64 first = m_streamFrame;
    const int count = std::clamp(FillFrames(out, first, m_blockLength), 0, m_blockLength);
    if (count == 0)
        return;
    m_streamFrame += count;
    const bool harmonize = m_harmonizedLength > 0 && AnyLinkHarmonized();
    TQVDescArraySingle block = MakeHeader(first);
    for (int k = 0; k < channels; ++k)
        block.Channels[k] = QVDescArraySingle{out[k], count};
    if (!Deliver([&](TQVMeasureLink *link) {
            if (!harmonize || !GetHarmonizeData(link))
                link->NewData(block);
        }))
        return; // a consumer deleted the source
    if (m_buffersStale) {
        // A consumer changed the setup while the block was out: start afresh.
        PrepareBuffers();
    } else if (harmonize) {
        if (m_channels[0].Harmonized.empty())
            m_harmonizedStart = first;
        for (int k = 0; k < channels; ++k) {
            ChannelBuffers &channel = m_channels[std::size_t(k)];
            channel.Harmonized.insert(channel.Harmonized.end(), channel.Block.begin(), channel.Block.begin() + count);
        }
        if (!DeliverHarmonized())
            return;
    } else {
        for (int k = 0; k < channels; ++k)
            m_channels[std::size_t(k)].Harmonized.clear();
    }
    if (StreamEnded()) {
        PrepareBuffers(); // drops the harmonized samples left over
        Stop();
    }
}

bool TQVBlockSource::DeliverHarmonized()
{
    const int length = m_harmonizedLength;
    while (m_channels[0].Harmonized.size() >= std::size_t(length)) {
        TQVDescArraySingle block = MakeHeader(m_harmonizedStart);
        for (int k = 0; k < m_channelCount; ++k)
            block.Channels[k] = QVDescArraySingle{m_channels[std::size_t(k)].Harmonized.data(), length};
        if (!Deliver([&](TQVMeasureLink *link) {
                if (GetHarmonizeData(link))
                    link->NewData(block);
            }))
            return false;
        if (m_buffersStale) {
            PrepareBuffers();
            return true;
        }
        for (int k = 0; k < m_channelCount; ++k) {
            std::vector<float> &pending = m_channels[std::size_t(k)].Harmonized;
            pending.erase(pending.begin(), pending.begin() + length);
        }
        m_harmonizedStart += length;
    }
    return true;
}
