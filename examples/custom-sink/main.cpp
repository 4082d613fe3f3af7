// Guide: one's own sink, in a program that links the core only. A small source delivers
// ramps, the analyzer reduces each block to its maximum, and TQVPeakHold, a sink built on a
// single-value link, keeps the largest value it was shown. Exits 0 when the sink holds the
// largest ramp end and refused the continuous source with the library's message.

#include <cstdio>
#include <vector>

#include <QtCore/QCoreApplication>

#include <Velmora/Core>

// [source]
/// One channel of `length` samples per `Emit()`: the ramp 0, step, 2 step, ...
class TQVRampSource : public TQVMeasureSource
{
public:
    TQVRampSource(int length, float step)
        : m_samples(std::size_t(length))
        , m_step(step)
    {
        SetCapabilities({mscContinuous, mscEquidistant, mscSingleChannel});
    }
    void GetSettings(TQVMeasureSourceSettings &settings) const override
    {
        QVClearSettings(settings);
        settings.XSpan = 1.0L;
        settings.ChannelCount = 1;
        settings.RangeMax = m_step * float(m_samples.size());
        settings.BlockLength = int(m_samples.size());
    }
    void Emit()
    {
        for (std::size_t i = 0; i < m_samples.size(); ++i)
            m_samples[i] = m_step * float(i);
        TQVDescArraySingle block{};
        block.Channels[0] = QVDescArraySingle{m_samples.data(), int(m_samples.size())};
        DeliverData(block);
    }
    void SetStep(float step) { m_step = step; }

private:
    std::vector<float> m_samples;
    float m_step;
};
// [source]

// [sink]
/// Holds the largest value of a single-value source. The link checks every source: one that
/// does not deliver single values is refused with EQVMSIncompatibleSource.
class TQVPeakHold : public QObject
{
public:
    TQVPeakHold()
        : m_link(this)
    {
        m_link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &block) {
            const QVDescArraySingle &ch0 = block.Channels[0];
            if (QVHasData(ch0) && (m_count++ == 0 || ch0.Data[0] > m_peak))
                m_peak = ch0.Data[0];
        };
        m_link.OnChangedState = [this](TQVMeasureLink *, TQVMeasureSourceState state) {
            if (state == mssRun)
                m_count = 0; // a new run starts a new hold
        };
    }
    void SetMeasureSource(TQVMeasureSource *source) { m_link.SeTQVMeasureSource(source); }
    TQVMeasureSource *MeasureSource() const { return m_link.Source(); }
    float Peak() const { return m_peak; }
    int Count() const { return m_count; }

private:
    TQVMeasureLinkSingleValue m_link; // disconnects itself when the sink goes away
    float m_peak = 0.0f;
    int m_count = 0;
};
// [sink]

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);

    // [chain]
    TQVRampSource ramp(64, 0.5f);
    TQVAnalyzer maximum;
    maximum.SetCompression(TQVAnalyzer::mcoMax);
    maximum.SetQVMeasureSource(&ramp);

    TQVPeakHold hold;
    QString refusal;
    try {
        hold.SetMeasureSource(&ramp); // blocks of 64 samples: not a single-value source
    } catch (const EQVMSIncompatibleSource &e) {
        refusal = QString::fromUtf8(e.what());
    }
    hold.SetMeasureSource(&maximum);  // one value per block: accepted

    for (float step : {0.5f, 2.0f, 1.0f}) {
        ramp.SetStep(step);
        ramp.Emit();
    }
    // [chain]

    const float expected = 2.0f * 63.0f;
    std::printf("peak %g of %d values (expected %g); refused: %s\n", double(hold.Peak()), hold.Count(),
                double(expected), qPrintable(refusal));
    const bool refused = !refusal.isEmpty() && hold.MeasureSource() == &maximum;
    return hold.Peak() == expected && hold.Count() == 3 && refused ? 0 : 1;
}
