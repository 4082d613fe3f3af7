#pragma once

#include <vector>

#include "framework/qvMeasIntf.h"

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
