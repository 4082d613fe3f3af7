#pragma once

#include <memory>
#include <vector>

#include "analysis/QVVector.h"
#include "analysis/qvFFT.h"
#include "framework/qvMeasIntf.h"

/// \brief Common part of the FFT stages: the owned engine and its window properties, the
/// frequency axis reported downstream and the delivery of the result block.
///
/// Every block is zero-padded to a power of two P of at least its length; the work vectors
/// are re-created only when P changes, and the new settings are then announced downstream.
/// Blocks without input data are not computed, but the previous result is delivered again.
/// Not a component by itself: use `TQVFFTSingleSingle`, `TQVFFTDualSingle` or
/// `TQVFFTSingleDual`.
class QV_CORE_EXPORT TQVFFTStage : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(QVAnalysis::TQVLeakType LeakFunction READ LeakFunction WRITE SetLeakFunction NOTIFY SettingsChanged)

public:
    ~TQVFFTStage() override;

    /// The engine's current window type.
    TQVLeakType LeakFunction() const;
    /// Forwards the window type to the engine; `wnOwn` and values outside the enumeration
    /// are refused and leave the property unchanged.
    void SetLeakFunction(TQVLeakType type);
    /// The engine's user window callback.
    const TQVLeakFunction &OwnerLeakFunction() const;
    void SetOwnerLeakFunction(TQVLeakFunction function);

    /// The engine that computes the transforms; owned by the stage.
    const TQVFFT *Engine() const { return m_engine; }

    /// Sizes the work vectors for blocks of `n` samples and announces the settings
    /// downstream when they had to be re-created. Nothing for `n` < 1 or a block too long
    /// for a vector.
    void RedimensionVector(int n);

    /// The transform length for blocks of `n` samples: the smallest power of two not below
    /// `n` and not below `minimum`; 0 for `n` < 1 or when it exceeds `MaxTransformPoints`.
    static int TransformPoints(int n, int minimum = 1);
    /// Longest transform: the largest power of two a vector can hold.
    static constexpr int MaxTransformPoints = 1 << 27;

protected:
    TQVFFTStage(bool dualInput, QObject *owner);

    /// Re-creates the work vectors and sets the engine's size for blocks of `n` samples
    /// unless they already fit; true when something was re-created.
    virtual bool Redimension(int n) = 0;
    /// Whether the current output is a spectrum (frequency axis) rather than a correlation.
    virtual bool IsFrequencyOutput() const = 0;
    /// The channel count reported downstream for a source with `channels` channels.
    virtual int OutputChannelCount(int channels) const = 0;
    /// Copies the block into the work vectors and computes the result; only called when
    /// the input slots hold data.
    virtual void Compute(const TQVDescArraySingle &data) = 0;
    /// Points the channel slots of `out` (cleared) at the current result.
    virtual void BuildOutput(TQVDescArraySingle &out) = 0;

    bool AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const override;
    QString IncompatibleSourceMessage() const override;
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override;
    void SourceSettingsChanged(const TQVMeasureSourceSettings &settings) override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

    /// Re-runs the settings handler after a change of the output: re-dimensions and
    /// re-announces when a source is connected.
    void OutputChanged();

    /// Replaces owned storage. While a block is being delivered the old storage is kept
    /// until the delivery ends, since the block may point into it.
    template <typename T>
    void Replace(std::unique_ptr<T> &slot, std::unique_ptr<T> fresh);

    /// A slot of `count` elements of `part` from index `from`. A slot that reaches past the
    /// end of `part` is delivered from spare buffer `spare` (0 or 1), holding zeros beyond
    /// the end. Empty when `count` < 1 or `part` has no storage.
    QVDescArraySingle Slot(TQVVector *part, int from, int count, int spare);

    /// Whether `target` can take the samples of `in` (storage of at least `in.Count`).
    static bool Fits(const QVDescArraySingle &in, const TQVVector *target);
    /// Copies the samples of `in` into `target` and clears the rest of it; `Fits` must hold.
    static void CopyPadded(const QVDescArraySingle &in, TQVVector *target);
    /// Sets every element of `vector` to zero.
    static void Clear(TQVVector *vector);
    static int Log2(int points);

    TQVFFT *m_engine;

private:
    bool HasInput(const TQVDescArraySingle &data) const;
    int InputLength(const TQVDescArraySingle &data) const;

    bool m_dualInput;
    std::unique_ptr<TQVVector> m_spare[2];
};

/// \brief Common part of the stages with one input channel: a real work vector for the
/// real-input transforms and a complex work vector.
class QV_CORE_EXPORT TQVFFTSingleInputStage : public TQVFFTStage
{
    Q_OBJECT

public:
    ~TQVFFTSingleInputStage() override;

    /// Input of the real-input transforms and result of the rest.
    const TQVVector *RealVector() const { return m_real.get(); }
    const TQVComplexVector *ComplexVector() const { return m_complex.get(); }

protected:
    explicit TQVFFTSingleInputStage(QObject *owner);

    /// Whether the current output takes its input in the real vector (P samples, engine
    /// size P/2) rather than in the real part of the complex vector (engine size P).
    virtual bool RealInput() const = 0;
    bool Redimension(int n) override;
    /// Copies channel 0 into the input vector; false when it does not fit.
    bool LoadInput(const TQVDescArraySingle &data);

    std::unique_ptr<TQVVector> m_real;
    std::unique_ptr<TQVComplexVector> m_complex;
};

/// \brief Auto-correlation, power spectrum or amplitude spectrum of channel 0, delivered as
/// one channel.
class QV_CORE_EXPORT TQVFFTSingleSingle : public TQVFFTSingleInputStage
{
    Q_OBJECT
    Q_PROPERTY(TQVFFTSingleSingleOutput Output READ Output WRITE WriteOutput NOTIFY SettingsChanged)

public:
    enum TQVFFTSingleSingleOutput : quint8 {
        ssoAutoCorrelation, ///< lags 1 to P - 1
        ssoPowerSpectrum,   ///< squared magnitudes from bin 2, two-sided
        ssoRealFFT,         ///< amplitudes from bin 2 to P/2
    };
    Q_ENUM(TQVFFTSingleSingleOutput)

    explicit TQVFFTSingleSingle(QObject *owner = nullptr);
    ~TQVFFTSingleSingle() override;

    TQVFFTSingleSingleOutput Output() const { return m_output; }
    /// A new value re-dimensions the vectors and re-announces the settings.
    void SetOutput(TQVFFTSingleSingleOutput output);
    QV_GUARDED_WRITE(Output, TQVFFTSingleSingleOutput)

protected:
    bool RealInput() const override { return m_output == ssoRealFFT; }
    bool IsFrequencyOutput() const override { return m_output != ssoAutoCorrelation; }
    int OutputChannelCount(int channels) const override { return channels >= 1 ? 1 : channels; }
    void Compute(const TQVDescArraySingle &data) override;
    void BuildOutput(TQVDescArraySingle &out) override;

private:
    TQVFFTSingleSingleOutput m_output = ssoRealFFT;
};

/// \brief Cross-correlation, cross power spectrum or convolution of channels 0 and 1,
/// delivered as one channel.
class QV_CORE_EXPORT TQVFFTDualSingle : public TQVFFTStage
{
    Q_OBJECT
    Q_PROPERTY(TQVFFTDualSingleOutput Output READ Output WRITE WriteOutput NOTIFY SettingsChanged)

public:
    enum TQVFFTDualSingleOutput : quint8 {
        dsoCrossCorrelation,   ///< lags 1 to P - 1
        dsoCrossPowerSpectrum, ///< magnitudes from bin 2, (P - 1) / 2 values
        dsoConvolution,        ///< circular, indices 1 to P - 1
    };
    Q_ENUM(TQVFFTDualSingleOutput)

    explicit TQVFFTDualSingle(QObject *owner = nullptr);
    ~TQVFFTDualSingle() override;

    TQVFFTDualSingleOutput Output() const { return m_output; }
    /// A new value re-dimensions the vectors and re-announces the settings.
    void SetOutput(TQVFFTDualSingleOutput output);
    QV_GUARDED_WRITE(Output, TQVFFTDualSingleOutput)

    const TQVComplexVector *FirstVector() const { return m_first.get(); }
    const TQVComplexVector *SecondVector() const { return m_second.get(); }
    const TQVComplexVector *ResultVector() const { return m_result.get(); }

protected:
    bool Redimension(int n) override;
    bool IsFrequencyOutput() const override { return m_output == dsoCrossPowerSpectrum; }
    int OutputChannelCount(int channels) const override { return channels >= 1 ? 1 : channels; }
    void Compute(const TQVDescArraySingle &data) override;
    void BuildOutput(TQVDescArraySingle &out) override;

private:
    TQVFFTDualSingleOutput m_output = dsoCrossCorrelation;
    std::unique_ptr<TQVComplexVector> m_first;
    std::unique_ptr<TQVComplexVector> m_second;
    std::unique_ptr<TQVComplexVector> m_result;
};

/// \brief Spectrum of channel 0 as two channels: amplitudes and phases, or real and
/// imaginary parts.
class QV_CORE_EXPORT TQVFFTSingleDual : public TQVFFTSingleInputStage
{
    Q_OBJECT
    Q_PROPERTY(TQVFFTSingleDualOutput Output READ Output WRITE WriteOutput NOTIFY SettingsChanged)

public:
    enum TQVFFTSingleDualOutput : quint8 {
        sdoRealFFT,    ///< amplitudes and phases from bin 2 to P/2
        sdoComplexFFT, ///< real and imaginary parts from bin 1, the real parts windowed
    };
    Q_ENUM(TQVFFTSingleDualOutput)

    explicit TQVFFTSingleDual(QObject *owner = nullptr);
    ~TQVFFTSingleDual() override;

    TQVFFTSingleDualOutput Output() const { return m_output; }
    /// A new value re-dimensions the vectors and re-announces the settings.
    void SetOutput(TQVFFTSingleDualOutput output);
    QV_GUARDED_WRITE(Output, TQVFFTSingleDualOutput)

protected:
    bool RealInput() const override { return m_output == sdoRealFFT; }
    bool IsFrequencyOutput() const override { return true; }
    int OutputChannelCount(int) const override { return 2; }
    void Compute(const TQVDescArraySingle &data) override;
    void BuildOutput(TQVDescArraySingle &out) override;

private:
    TQVFFTSingleDualOutput m_output = sdoRealFFT;
};
