// Guide: one's own stage. A sawtooth host source feeds TQVGain, a stage that multiplies
// channel 0 by a factor; a link at the end compares every output sample with the sawtooth
// computed here. Exits 0 when all of them match and a source of two channels is refused.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include <QtCore/QCoreApplication>

#include <Velmora/Core>
#include <Velmora/Host>

// [sawtooth]
#include "host/qvBlockSource.h"

class TQVSawtooth : public TQVBlockSource
{
    Q_OBJECT
    Q_PROPERTY(int BlockLength READ BlockLength WRITE SetBlockLength)
    Q_PROPERTY(int Period READ Period WRITE SetPeriod)

public:
    explicit TQVSawtooth(QObject *owner = nullptr)
        : TQVBlockSource(1, owner)
    {
        ConfigChanged(); // buffers, capabilities, links
    }
    double SampleRate() const override { return 8000.0; }
    int Period() const { return m_period; }
    void SetPeriod(int period)
    {
        if (period > 0)
            m_period = period;
    }

protected:
    int FillFrames(float *const *channels, qint64 firstFrame, int count) override
    {
        for (int i = 0; i < count; ++i)
            channels[0][i] = float((firstFrame + i) % m_period) / float(m_period);
        return count;
    }
    std::pair<float, float> ValueRange() const override { return {0.0f, 1.0f}; }

private:
    int m_period = 100;
};
// [sawtooth]

// [stage]
#include "framework/qvMeasIntf.h"

/// Multiplies channel 0 of a continuous single-channel source by `Gain`.
class TQVGain : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(double Gain READ Gain WRITE SetGain)

public:
    using TQVMLSBase::TQVMLSBase;

    double Gain() const { return m_gain; }
    /// NaN and infinities are ignored; a new gain ripples the scaled range down the chain.
    void SetGain(double gain)
    {
        if (!std::isfinite(gain) || gain == m_gain)
            return;
        m_gain = gain;
        UpdateLinks();
    }

protected:
    // Which sources the stage takes; a refused source raises EQVMSIncompatibleSource with
    // this message and leaves the stage unconnected.
    bool AcceptsSource(TQVMeasureSourceCapabilities caps) const override
    {
        return caps.Contains(mscContinuous) && caps.Contains(mscSingleChannel);
    }
    QString IncompatibleSourceMessage() const override
    {
        return QStringLiteral("TQVGain needs one continuous channel.");
    }
    // What the stage delivers: the source's settings with the range scaled.
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override
    {
        const float a = float(settings.RangeMin * m_gain), b = float(settings.RangeMax * m_gain);
        settings.RangeMin = std::min(a, b);
        settings.RangeMax = std::max(a, b);
    }
    // A block arrived: never write into it; copy its header, point channel 0 at a buffer
    // the stage owns and deliver that.
    void MLSOnNewData(TQVMeasureLink *, TQVDescArraySingle &data) override
    {
        TQVDescArraySingle out;
        QVCopyHeader(out, data);
        const QVDescArraySingle in = data.Channels[0];
        if (QVHasData(in)) {
            if (in.Count > m_capacity) {
                // A consumer may still read the old buffer in an outer delivery.
                RetireBuffer(std::shared_ptr<float[]>(std::move(m_buffer)));
                m_buffer = std::make_unique<float[]>(std::size_t(in.Count));
                m_capacity = in.Count;
            }
            for (int i = 0; i < in.Count; ++i)
                m_buffer[i] = float(in.Data[i] * m_gain);
            out.Channels[0] = QVDescArraySingle{m_buffer.get(), in.Count};
        }
        DeliverData(out);
    }

private:
    double m_gain = 1.0;
    std::unique_ptr<float[]> m_buffer;
    int m_capacity = 0;
};
// [stage]

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);

    // [chain]
    TQVSawtooth sawtooth;
    sawtooth.SetBlockLength(256);
    sawtooth.SetPeriod(100);
    TQVGain gain;
    gain.SetGain(-2.5);
    gain.SetQVMeasureSource(&sawtooth); // raises EQVMSIncompatibleSource for a dual source

    int blocks = 0, mismatches = 0;
    qint64 frame = 0;
    TQVMeasureLinkSingleChannel probe(&app);
    probe.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &block) {
        const QVDescArraySingle &ch0 = block.Channels[0];
        for (int i = 0; i < ch0.Count; ++i, ++frame) {
            const float expected = float(double(float(frame % 100) / 100.0f) * -2.5);
            mismatches += ch0.Data[i] != expected;
        }
        ++blocks;
    };
    probe.SeTQVMeasureSource(&gain);

    for (int i = 0; i < 10; ++i)
        sawtooth.Tick();
    // [chain]

    // A source of two channels is refused with the stage's message; the stage stays unconnected.
    TQVSignalGenerator stereo;
    stereo.SetChannelCount(2);
    TQVGain refusing;
    QString message;
    try {
        refusing.SetQVMeasureSource(&stereo);
    } catch (const EQVMSIncompatibleSource &e) {
        message = QString::fromUtf8(e.what());
    }
    const bool refused = message == QStringLiteral("TQVGain needs one continuous channel.")
        && refusing.GetQVMeasureSource() == nullptr;

    TQVMeasureSourceSettings settings{};
    gain.GetSettings(settings);
    std::printf("%d blocks, %lld samples, %d mismatches, range %g..%g; two channels refused: %s\n", blocks,
                frame, mismatches, double(settings.RangeMin), double(settings.RangeMax), qPrintable(message));
    const bool rangeOk = settings.RangeMin == -2.5f && settings.RangeMax == 0.0f;
    return blocks == 10 && frame == 2560 && mismatches == 0 && rangeOk && refused ? 0 : 1;
}

#include "main.moc"
