#pragma once

#include <memory>
#include <vector>

#include <QtCore/QList>
#include <QtCore/QStringList>

#include "analysis/QVVector.h"
#include "kernels/qvKernels.h"
#include "framework/qvMeasIntf.h"

/// \brief Base of the digital filter stages: takes channel 0 of every block, filters it in
/// a buffer of its own and forwards it as channel 0 of a new block.
///
/// The filter state carries over from block to block, so consecutive blocks are filtered
/// as one continuous signal; it is cleared whenever the source enters `mssRun`.
/// `SampleFrequency` follows the source (block length / `XSpan`), so `CutoffFrequency`
/// keeps its meaning in abscissa units. Derived classes supply `Filter`, `FilterArray`,
/// `Reset` and `CalcParameters`; their constructors clear the state and compute the
/// coefficients.
class QV_CORE_EXPORT TQVMLSFilterBase : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(float SampleFrequency READ SampleFrequency WRITE SetSampleFrequency NOTIFY SampleFrequencyChanged)
    Q_PROPERTY(float CutoffFrequency READ CutoffFrequency WRITE SetCutoffFrequency NOTIFY CutoffFrequencyChanged)

public:
    ~TQVMLSFilterBase() override;

    float SampleFrequency() const { return m_sampleFrequency; }
    /// Takes only a finite value > 0 that differs from the present one, then recomputes
    /// the coefficients (the state is kept).
    void SetSampleFrequency(float value);
    float CutoffFrequency() const { return m_cutoffFrequency; }
    /// Same rule as `SetSampleFrequency`.
    void SetCutoffFrequency(float value);

    /// Recomputes the filter coefficients from the properties; the base does nothing.
    virtual void CalcParameters();
    /// Filters one sample.
    virtual float Filter(float x) = 0;
    /// Filters `count` samples of `data` in place, in order.
    virtual void FilterArray(TQVSingleArray *data, int count) = 0;
    /// Clears the filter state.
    virtual void Reset() = 0;

    /// The inherited behaviour, then `CalcParameters`.
    void Loaded() override;

signals:
    void SampleFrequencyChanged(float frequency);
    void CutoffFrequencyChanged(float frequency);

protected:
    explicit TQVMLSFilterBase(QObject *owner = nullptr);

    bool AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const override;
    QString IncompatibleSourceMessage() const override;
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override;
    void SourceSettingsChanged(const TQVMeasureSourceSettings &settings) override;
    void MLSOnChangedState(TQVMeasureLink *link, TQVMeasureSourceState state) override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:

    /// Grows the buffer to at least `n` floats; never shrinks it.
    void RedimensionCopyArray(int n);

    std::unique_ptr<float[]> m_buffer;
    int m_capacity = 0;
    float m_sampleFrequency = 1.0f;
    float m_cutoffFrequency = 0.5f;
    // A buffer replaced while a block is in delivery stays alive until the delivery ends,
    // since the block handed downstream points into it.
};

/// \brief Butterworth low-, band- or high-pass filter of even order 2 to 10, designed by
/// the bilinear transform with pre-warping, run as a cascade of sections in 80-bit
/// precision.
///
/// Low- and high-pass use M = `Order` / 2 second-order sections with the cutoff
/// `CutoffFrequency`. The band-pass from `CutoffFrequency` to `CutoffHighFrequency` uses M
/// fourth-order sections, so its order is twice `Order`. Cutoffs at or above half the
/// sample frequency are not guarded.
class QV_CORE_EXPORT TQVIIRFilter : public TQVMLSFilterBase
{
    Q_OBJECT
    Q_PROPERTY(float CutoffHighFrequency READ CutoffHighFrequency WRITE SetCutoffHighFrequency NOTIFY
                   CutoffHighFrequencyChanged)
    Q_PROPERTY(int Order READ Order WRITE SetOrder NOTIFY SettingsChanged)
    Q_PROPERTY(TQVIirFilterOutput FilterOutput READ FilterOutput WRITE SetFilterOutput NOTIFY SettingsChanged)

public:
    enum TQVIirFilterOutput : quint8 { iirLowPass, iirBandPass, iirHighPass };
    Q_ENUM(TQVIirFilterOutput)

    static constexpr int MaxSections = 5;

    explicit TQVIIRFilter(QObject *owner = nullptr);
    ~TQVIIRFilter() override;

    float CutoffHighFrequency() const { return m_cutoffHigh; }
    /// Takes only a finite value > 0 that differs from the present one, then recomputes.
    void SetCutoffHighFrequency(float value);
    int Order() const { return m_order; }
    /// Takes 2 to 10 when different from the stored order, rounded down to even, then
    /// recomputes (so 3 while the order is 2 recomputes and keeps 2).
    void SetOrder(int order);
    TQVIirFilterOutput FilterOutput() const { return m_output; }
    /// Stores the output and recomputes, also when unchanged; values outside the
    /// enumeration are ignored.
    void SetFilterOutput(TQVIirFilterOutput output);

    void CalcParameters() override;
    float Filter(float x) override;
    void FilterArray(TQVSingleArray *data, int count) override;
    void Reset() override;

signals:
    void CutoffHighFrequencyChanged(float frequency);

private:
    float m_cutoffHigh = 0.75f;
    TQVIirFilterOutput m_output = iirLowPass;
    int m_order = 2;
    int m_sections = 1;
    QVKernels::TQVIirSection m_coefficients[MaxSections]{};
    QVKernels::TQVIirStage m_stages[MaxSections + 1]{};
};

/// \brief FIR filter: convolution with up to 512 coefficients through a circular delay
/// line, y[n] = sum of h[i] x[n - i] for i = 0 .. N - 1, accumulated in 80-bit precision.
///
/// The coefficients are entered as text lines (`CoefficientList`) and kept as 32-bit
/// floats, which the form stream stores exactly through `Floats`. `CutoffFrequency` has no
/// effect on this filter.
class QV_CORE_EXPORT TQVFIRFilter : public TQVMLSFilterBase
{
    Q_OBJECT
    Q_PROPERTY(int CoefficientNumber READ CoefficientNumber WRITE SetCoefficientNumber NOTIFY SettingsChanged)
    Q_PROPERTY(QStringList CoefficientList READ CoefficientList WRITE WriteCoefficientList NOTIFY SettingsChanged)

public:
    static constexpr int MaxCoefficients = 512;

    explicit TQVFIRFilter(QObject *owner = nullptr);
    ~TQVFIRFilter() override;

    int CoefficientNumber() const { return m_count; }
    /// Ignored for the present count and outside 1 to 512. Otherwise cuts the text list
    /// or extends it by lines "0", stores the count and clears the delay line. The float
    /// coefficients are not touched: added positions keep the values they last held.
    void SetCoefficientNumber(int count);

    QStringList CoefficientList() const { return m_texts; }
    /// Takes one coefficient per line. Raises `ERangeError` unless there are 1 to 512
    /// lines, and `EConvertError` naming the first line that is not a number; in both
    /// cases nothing changes. Clears the delay line when the count changes.
    void SetCoefficientList(const QStringList &lines);
    QV_GUARDED_WRITE(CoefficientList, const QStringList &)

    /// Takes `count` coefficients from `values` and their texts; the delay line is kept.
    /// Raises `ERangeError` when `count` is outside 1 to 512; a null `values` changes
    /// nothing.
    void SetCoefficients(int count, const TQVSingleArray *values);

    /// The coefficients as stored with the form: h[0] .. h[N - 1].
    QList<float> Floats() const;
    /// Reads stored coefficients into h[0], h[1], ... in order, at most 512, without
    /// touching the count or the texts.
    void SetFloats(const QList<float> &values);

    /// One convolution step.
    float CalcResponse(float x);

    float Filter(float x) override;
    void FilterArray(TQVSingleArray *data, int count) override;
    /// Clears the delay line.
    void Reset() override;

    /// Text form of a coefficient that converts back to the same float.
    static QString CoefficientText(float value);

    /// Stores the coefficients as the custom property "Floats": h[0] .. h[N - 1], always
    /// written; reading keeps at most 512 values and drops the rest.
    void DefineProperties(TQVFiler &filer) override;

private:
    void ClearDelayLine();

    int m_count = 1;
    float m_h[MaxCoefficients]{};
    float m_delay[MaxCoefficients]{};
    int m_position = 0; // 1-based slot of the newest sample, 0 after a reset
    QStringList m_texts;
};

/// \brief First-order RC low-pass: s[n] = d s[n-1] + x[n], y[n] = (1 - d) s[n-1] with
/// d = exp(-2 pi fc / fs); unit gain at 0 Hz and one sample of delay.
class QV_CORE_EXPORT TQVRCLowpass : public TQVMLSFilterBase
{
    Q_OBJECT

public:
    explicit TQVRCLowpass(QObject *owner = nullptr);
    ~TQVRCLowpass() override;

    void CalcParameters() override;
    float Filter(float x) override;
    void FilterArray(TQVSingleArray *data, int count) override;
    void Reset() override;

private:
    long double m_state = 0.0L;
    QVKernels::TQVLookahead m_lookahead;
    long double m_gain = 0.0L;
    long double m_decay = 0.0L;
};

/// \brief First-order RC high-pass: the input minus the output of the RC low-pass
/// structure without its delay; 0 at 0 Hz.
class QV_CORE_EXPORT TQVRCHighpass : public TQVMLSFilterBase
{
    Q_OBJECT

public:
    explicit TQVRCHighpass(QObject *owner = nullptr);
    ~TQVRCHighpass() override;

    void CalcParameters() override;
    float Filter(float x) override;
    void FilterArray(TQVSingleArray *data, int count) override;
    void Reset() override;

private:
    long double m_state = 0.0L;
    QVKernels::TQVLookahead m_lookahead;
    long double m_gain = 0.0L;
    long double m_decay = 0.0L;
};

/// \brief Second-order state-variable filter: one recursion yields low-pass, band-pass,
/// high-pass and notch; `FilterOutput` chooses which one is delivered.
///
/// Stable for `Q` > 0.4 and cutoffs well below half the sample frequency; the latter is
/// not guarded.
class QV_CORE_EXPORT TQVStateVariableFilter : public TQVMLSFilterBase
{
    Q_OBJECT
    Q_PROPERTY(float Q READ Q WRITE SetQ NOTIFY SettingsChanged)
    Q_PROPERTY(TQVFilterOutput FilterOutput READ FilterOutput WRITE SetFilterOutput NOTIFY SettingsChanged)

public:
    enum TQVFilterOutput : quint8 { foLowPass, foBandPass, foHighPass, foNotch };
    Q_ENUM(TQVFilterOutput)

    explicit TQVStateVariableFilter(QObject *owner = nullptr);
    ~TQVStateVariableFilter() override;

    float Q() const { return m_q; }
    /// Takes only a finite value > 0.4 that differs from the present one, then recomputes.
    void SetQ(float q);
    TQVFilterOutput FilterOutput() const { return m_output; }
    /// Switches the output; the state is kept. Values outside the enumeration are ignored.
    void SetFilterOutput(TQVFilterOutput output);

    void CalcParameters() override;
    float Filter(float x) override;
    void FilterArray(TQVSingleArray *data, int count) override;
    void Reset() override;

private:
    float m_q = 1.0f;
    TQVFilterOutput m_output = foLowPass;
    float m_damping = 1.0f;
    float m_f = 0.0f;
    long double m_band = 0.0L;
    long double m_low = 0.0L;
    QVKernels::TQVLookahead m_lookahead;
};
