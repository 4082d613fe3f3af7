#pragma once

#include <vector>

#include "framework/qvMeasIntf.h"

/// A stage that scales channel 0 by a factor, following the ownership rule: it copies the
/// block into a local record and points slot 0 at a buffer of its own.
class TQVScaleStage : public TQVMLSBase
{
public:
    explicit TQVScaleStage(float factor, QObject *owner = nullptr)
        : TQVMLSBase(owner)
        , m_factor(factor)
    {
    }

protected:
    void MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data) override
    {
        TQVDescArraySingle local = data;
        QVClearChannels(local);
        const QVDescArraySingle &in = data.Channels[0];
        if (QVHasData(in)) {
            m_buffer.assign(in.Data, in.Data + in.Count);
            for (float &x : m_buffer)
                x *= m_factor;
            local.Channels[0] = QVDescArraySingle{m_buffer.data(), in.Count};
        }
        DeliverData(local);
    }

private:
    float m_factor;
    std::vector<float> m_buffer;
};

/// A stage that requires two channels and reports one, like a stage reducing a pair.
class TQVPairStage : public TQVMLSBase
{
public:
    using TQVMLSBase::TQVMLSBase;
    using TQVMLSBase::ApplyRequestHarmonizedData;
    using TQVMLSBase::RequestHarmonizedData;
    bool HarmonizeOnSettings = false;

protected:
    bool AcceptsSource(TQVMeasureSourceCapabilities caps) const override
    {
        return caps.Contains(mscContinuous) && !caps.Contains(mscSingleChannel);
    }
    QString IncompatibleSourceMessage() const override { return QStringLiteral("Pair: needs two channels."); }
    TQVMeasureSourceCapabilities AdjustCapabilities(TQVMeasureSourceCapabilities caps) const override
    {
        return caps - mscDualChannel + mscSingleChannel;
    }
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override
    {
        if (settings.ChannelCount > 1)
            settings.ChannelCount = 1;
    }
    bool UsesHarmonizeStep() const override { return HarmonizeOnSettings; }
};
