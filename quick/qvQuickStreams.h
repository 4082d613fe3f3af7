#pragma once

#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtQml/qqml.h>

#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "host/qvFilePlayer.h"
#include "host/qvSignalGenerator.h"
#include "quick/qvQuickFace.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"

/// \brief Base of the QML extensions of the stream types: lowerCamel properties forwarded to
/// the published properties of the extended source or stage (see `QVQuickFace`).
///
/// The stream types themselves are the library's classes; an extension adds no logic. A
/// refused write is reported by the object's own `ErrorOccurred` signal (in QML
/// `onErrorOccurred`). QML takes only an extension's own properties, so every extension
/// extends the class that publishes them: the stage base has `source`, the filter base
/// `cutoffFrequency`, and the leaves add theirs.
class QV_QUICK_EXPORT TQVQuickExtension : public QObject
{
    Q_OBJECT

protected:
    explicit TQVQuickExtension(QObject *target);
    /// Connects the notify signals of the leaf class's properties; its constructor calls it.
    void LinkProperties() { QVQuickFace::LinkNotifiers(this, QObject::staticMetaObject.propertyCount(), m_target); }
    QVariant Read(const char *name) const { return QVQuickFace::Read(m_target, name); }
    void Write(const char *name, const QVariant &value) { QVQuickFace::Write(m_target, name, value); }
    QObject *Target() const { return m_target; }

private:
    QObject *m_target;
};

/// \brief The face of a block source (signal generator, file player): `blockLength`,
/// `running`, and `tick(n)`, `run()`, `stop()`.
class QV_QUICK_EXPORT TQVQuickBlockSourceExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int blockLength READ blockLength WRITE setBlockLength NOTIFY blockLengthChanged)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)

public:
    explicit TQVQuickBlockSourceExtension(QObject *target);

    int blockLength() const { return Read("BlockLength").toInt(); }
    void setBlockLength(int length) { Write("BlockLength", length); }
    bool running() const;

    /// Delivers `blocks` blocks at once, synchronously.
    Q_INVOKABLE void tick(int blocks = 1);
    /// Starts the chain and delivers a block per block period.
    Q_INVOKABLE void run();
    Q_INVOKABLE void stop();

signals:
    void blockLengthChanged();
    void runningChanged();

private:
    TQVBlockSource *Source() const;
};

class QV_QUICK_EXPORT TQVQuickGeneratorExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int channelCount READ channelCount WRITE setChannelCount NOTIFY channelCountChanged)
    Q_PROPERTY(double sampleRate READ sampleRate WRITE setSampleRate NOTIFY sampleRateChanged)
    Q_PROPERTY(int waveform READ waveform WRITE setWaveform NOTIFY waveformChanged)
    Q_PROPERTY(double frequency READ frequency WRITE setFrequency NOTIFY frequencyChanged)
    Q_PROPERTY(double amplitude READ amplitude WRITE setAmplitude NOTIFY amplitudeChanged)
    Q_PROPERTY(double offset READ offset WRITE setOffset NOTIFY offsetChanged)
    Q_PROPERTY(double noiseAmplitude READ noiseAmplitude WRITE setNoiseAmplitude NOTIFY noiseAmplitudeChanged)

public:
    /// `waveform` as QML spells it.
    enum Waveform { Sine, Square, Triangle, Noise, DC };
    Q_ENUM(Waveform)
    explicit TQVQuickGeneratorExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int channelCount() const { return Read("ChannelCount").toInt(); }
    void setChannelCount(int count) { Write("ChannelCount", count); }
    double sampleRate() const { return Read("SampleRate").toDouble(); }
    void setSampleRate(double rate) { Write("SampleRate", rate); }
    int waveform() const { return Read("Waveform").toInt(); }
    void setWaveform(int waveform) { Write("Waveform", waveform); }
    double frequency() const { return Read("Frequency").toDouble(); }
    void setFrequency(double frequency) { Write("Frequency", frequency); }
    double amplitude() const { return Read("Amplitude").toDouble(); }
    void setAmplitude(double amplitude) { Write("Amplitude", amplitude); }
    double offset() const { return Read("Offset").toDouble(); }
    void setOffset(double offset) { Write("Offset", offset); }
    double noiseAmplitude() const { return Read("NoiseAmplitude").toDouble(); }
    void setNoiseAmplitude(double amplitude) { Write("NoiseAmplitude", amplitude); }

signals:
    void channelCountChanged();
    void sampleRateChanged();
    void waveformChanged();
    void frequencyChanged();
    void amplitudeChanged();
    void offsetChanged();
    void noiseAmplitudeChanged();
};

class QV_QUICK_EXPORT TQVQuickFilePlayerExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(QString fileName READ fileName WRITE setFileName NOTIFY fileNameChanged)
    Q_PROPERTY(bool loop READ loop WRITE setLoop NOTIFY loopChanged)

public:
    explicit TQVQuickFilePlayerExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    QString fileName() const { return Read("FileName").toString(); }
    void setFileName(const QString &name) { Write("FileName", name); }
    bool loop() const { return Read("Loop").toBool(); }
    void setLoop(bool loop) { Write("Loop", loop); }

signals:
    void fileNameChanged();
    void loopChanged();
};

/// \brief The face of every stage: `source`, the input of the stage. Binding it connects
/// the chain; an incompatible source is reported by `ErrorOccurred` and leaves the stage
/// unconnected.
class QV_QUICK_EXPORT TQVQuickStageExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *source READ source WRITE setSource NOTIFY sourceChanged)

public:
    explicit TQVQuickStageExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    TQVMeasureSource *source() const { return Read("MeasureSource").value<TQVMeasureSource *>(); }
    void setSource(TQVMeasureSource *source) { Write("MeasureSource", QVariant::fromValue(source)); }

signals:
    void sourceChanged();
};

class QV_QUICK_EXPORT TQVQuickSelectorExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int channel0 READ channel0 WRITE setChannel0 NOTIFY channel0Changed)

public:
    explicit TQVQuickSelectorExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int channel0() const { return Read("Channel0").toInt(); }
    void setChannel0(int channel) { Write("Channel0", channel); }

signals:
    void channel0Changed();
};

class QV_QUICK_EXPORT TQVQuickDualSelectorExtension : public TQVQuickSelectorExtension
{
    Q_OBJECT
    Q_PROPERTY(int channel0 READ channel0 WRITE setChannel0 NOTIFY channel0Changed)
    Q_PROPERTY(int channel1 READ channel1 WRITE setChannel1 NOTIFY channel1Changed)

public:
    explicit TQVQuickDualSelectorExtension(QObject *target) : TQVQuickSelectorExtension(target) { LinkProperties(); }

    int channel1() const { return Read("Channel1").toInt(); }
    void setChannel1(int channel) { Write("Channel1", channel); }

signals:
    void channel1Changed();
};

class QV_QUICK_EXPORT TQVQuickMatrixSelectorExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(QStringList selector READ selector WRITE setSelector NOTIFY selectorChanged)

public:
    explicit TQVQuickMatrixSelectorExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    QStringList selector() const { return Read("Selector").toStringList(); }
    void setSelector(const QStringList &selector) { Write("Selector", selector); }

signals:
    void selectorChanged();
};

class QV_QUICK_EXPORT TQVQuickAnalyzerExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int compression READ compression WRITE setCompression NOTIFY compressionChanged)

public:
    /// `compression` as QML spells it (enumerators begin with a capital there).
    enum Compression { First, Last, Average, Min, Max, RMS, Dev };
    Q_ENUM(Compression)
    explicit TQVQuickAnalyzerExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int compression() const { return Read("Compression").toInt(); }
    void setCompression(int compression) { Write("Compression", compression); }

signals:
    void compressionChanged();
};

class QV_QUICK_EXPORT TQVQuickTriggerExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int triggerType READ triggerType WRITE setTriggerType NOTIFY triggerTypeChanged)
    Q_PROPERTY(double triggerLimit READ triggerLimit WRITE setTriggerLimit NOTIFY triggerLimitChanged)
    Q_PROPERTY(double triggerSlope READ triggerSlope WRITE setTriggerSlope NOTIFY triggerSlopeChanged)
    Q_PROPERTY(int triggerChannel READ triggerChannel WRITE setTriggerChannel NOTIFY triggerChannelChanged)
    Q_PROPERTY(int bufferSize READ bufferSize WRITE setBufferSize NOTIFY bufferSizeChanged)
    Q_PROPERTY(int preTrigger READ preTrigger WRITE setPreTrigger NOTIFY preTriggerChanged)

public:
    /// `triggerType` as QML spells it.
    enum TriggerType { Rising, Falling, AboveSlope, RangeSlope, BelowSlope, FreeRunning };
    Q_ENUM(TriggerType)
    explicit TQVQuickTriggerExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int triggerType() const { return Read("TriggerType").toInt(); }
    void setTriggerType(int type) { Write("TriggerType", type); }
    double triggerLimit() const { return Read("TriggerLimit").toDouble(); }
    void setTriggerLimit(double limit) { Write("TriggerLimit", float(limit)); }
    double triggerSlope() const { return Read("TriggerSlope").toDouble(); }
    void setTriggerSlope(double slope) { Write("TriggerSlope", float(slope)); }
    int triggerChannel() const { return Read("TriggerChannel").toInt(); }
    void setTriggerChannel(int channel) { Write("TriggerChannel", channel); }
    int bufferSize() const { return Read("BufferSize").toInt(); }
    void setBufferSize(int size) { Write("BufferSize", size); }
    int preTrigger() const { return Read("PreTrigger").toInt(); }
    void setPreTrigger(int samples) { Write("PreTrigger", samples); }

signals:
    void triggerTypeChanged();
    void triggerLimitChanged();
    void triggerSlopeChanged();
    void triggerChannelChanged();
    void bufferSizeChanged();
    void preTriggerChanged();
};

/// The FFT stages' window: `leakFunction`.
class QV_QUICK_EXPORT TQVQuickFFTExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int leakFunction READ leakFunction WRITE setLeakFunction NOTIFY leakFunctionChanged)

public:
    /// `leakFunction` as QML spells it.
    enum Window { Rectangle, Hanning, Hamming, Blackman, Own, Hann, BlackmanHarris67dB, BlackmanHarris92dB };
    Q_ENUM(Window)
    explicit TQVQuickFFTExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int leakFunction() const { return Read("LeakFunction").toInt(); }
    void setLeakFunction(int leak) { Write("LeakFunction", leak); }

signals:
    void leakFunctionChanged();
};

/// What an FFT stage delivers: `output`, one of the stage's output enumeration.
class QV_QUICK_EXPORT TQVQuickFFTOutputExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int output READ output WRITE setOutput NOTIFY outputChanged)

public:
    explicit TQVQuickFFTOutputExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int output() const { return Read("Output").toInt(); }
    void setOutput(int output) { Write("Output", output); }

signals:
    void outputChanged();
};

class QV_QUICK_EXPORT TQVQuickFilterExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(double cutoffFrequency READ cutoffFrequency WRITE setCutoffFrequency NOTIFY cutoffFrequencyChanged)

public:
    explicit TQVQuickFilterExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    double cutoffFrequency() const { return Read("CutoffFrequency").toDouble(); }
    void setCutoffFrequency(double frequency) { Write("CutoffFrequency", float(frequency)); }

signals:
    void cutoffFrequencyChanged();
};

/// The IIR filter: `order`, `filterOutput` and the band's `cutoffHighFrequency`.
class QV_QUICK_EXPORT TQVQuickIIRFilterExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(int order READ order WRITE setOrder NOTIFY orderChanged)
    Q_PROPERTY(int filterOutput READ filterOutput WRITE setFilterOutput NOTIFY filterOutputChanged)
    Q_PROPERTY(double cutoffHighFrequency READ cutoffHighFrequency WRITE setCutoffHighFrequency NOTIFY
                   cutoffHighFrequencyChanged)

public:
    /// `filterOutput` as QML spells it.
    enum IirOutput { LowPass, BandPass, HighPass };
    Q_ENUM(IirOutput)
    explicit TQVQuickIIRFilterExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    int order() const { return Read("Order").toInt(); }
    void setOrder(int order) { Write("Order", order); }
    int filterOutput() const { return Read("FilterOutput").toInt(); }
    void setFilterOutput(int output) { Write("FilterOutput", output); }
    double cutoffHighFrequency() const { return Read("CutoffHighFrequency").toDouble(); }
    void setCutoffHighFrequency(double frequency) { Write("CutoffHighFrequency", float(frequency)); }

signals:
    void orderChanged();
    void filterOutputChanged();
    void cutoffHighFrequencyChanged();
};

/// The FIR filter: its `coefficientList`, one number per entry.
class QV_QUICK_EXPORT TQVQuickFIRFilterExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(QStringList coefficientList READ coefficientList WRITE setCoefficientList NOTIFY coefficientListChanged)

public:
    explicit TQVQuickFIRFilterExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    QStringList coefficientList() const { return Read("CoefficientList").toStringList(); }
    void setCoefficientList(const QStringList &list) { Write("CoefficientList", list); }

signals:
    void coefficientListChanged();
};

/// The state-variable filter: `q` and `filterOutput`.
class QV_QUICK_EXPORT TQVQuickStateVariableFilterExtension : public TQVQuickExtension
{
    Q_OBJECT
    Q_PROPERTY(double q READ q WRITE setQ NOTIFY qChanged)
    Q_PROPERTY(int filterOutput READ filterOutput WRITE setFilterOutput NOTIFY filterOutputChanged)

public:
    /// `filterOutput` as QML spells it.
    enum SvfOutput { SvfLowPass, SvfBandPass, SvfHighPass, SvfNotch };
    Q_ENUM(SvfOutput)
    explicit TQVQuickStateVariableFilterExtension(QObject *target) : TQVQuickExtension(target) { LinkProperties(); }

    double q() const { return Read("Q").toDouble(); }
    void setQ(double q) { Write("Q", float(q)); }
    int filterOutput() const { return Read("FilterOutput").toInt(); }
    void setFilterOutput(int output) { Write("FilterOutput", output); }

signals:
    void qChanged();
    void filterOutputChanged();
};

// The registrations: the library's classes under their QML names, each with its extension.
struct TQVQmlSignalGenerator { Q_GADGET QML_FOREIGN(TQVSignalGenerator) QML_NAMED_ELEMENT(SignalGenerator) QML_EXTENDED(TQVQuickGeneratorExtension) };
struct TQVQmlFilePlayer { Q_GADGET QML_FOREIGN(TQVFilePlayer) QML_NAMED_ELEMENT(FilePlayer) QML_EXTENDED(TQVQuickFilePlayerExtension) };
struct TQVQmlSelectorSingle { Q_GADGET QML_FOREIGN(TQVSelectorSingle) QML_NAMED_ELEMENT(SelectorSingle) QML_EXTENDED(TQVQuickSelectorExtension) };
struct TQVQmlSelectorDual { Q_GADGET QML_FOREIGN(TQVSelectorDual) QML_NAMED_ELEMENT(SelectorDual) QML_EXTENDED(TQVQuickDualSelectorExtension) };
struct TQVQmlSelectorMatrix { Q_GADGET QML_FOREIGN(TQVSelectorMatrix) QML_NAMED_ELEMENT(SelectorMatrix) QML_EXTENDED(TQVQuickMatrixSelectorExtension) };
struct TQVQmlAnalyzer { Q_GADGET QML_FOREIGN(TQVAnalyzer) QML_NAMED_ELEMENT(Analyzer) QML_EXTENDED(TQVQuickAnalyzerExtension) };
struct TQVQmlTrigger { Q_GADGET QML_FOREIGN(TQVMLSTrigger) QML_NAMED_ELEMENT(Trigger) QML_EXTENDED(TQVQuickTriggerExtension) };
struct TQVQmlFFTSingleSingle { Q_GADGET QML_FOREIGN(TQVFFTSingleSingle) QML_NAMED_ELEMENT(FFTSingleSingle) QML_EXTENDED(TQVQuickFFTOutputExtension) };
struct TQVQmlFFTDualSingle { Q_GADGET QML_FOREIGN(TQVFFTDualSingle) QML_NAMED_ELEMENT(FFTDualSingle) QML_EXTENDED(TQVQuickFFTOutputExtension) };
struct TQVQmlFFTSingleDual { Q_GADGET QML_FOREIGN(TQVFFTSingleDual) QML_NAMED_ELEMENT(FFTSingleDual) QML_EXTENDED(TQVQuickFFTOutputExtension) };
struct TQVQmlIIRFilter { Q_GADGET QML_FOREIGN(TQVIIRFilter) QML_NAMED_ELEMENT(IIRFilter) QML_EXTENDED(TQVQuickIIRFilterExtension) };
struct TQVQmlFIRFilter { Q_GADGET QML_FOREIGN(TQVFIRFilter) QML_NAMED_ELEMENT(FIRFilter) QML_EXTENDED(TQVQuickFIRFilterExtension) };
struct TQVQmlRCLowpass { Q_GADGET QML_FOREIGN(TQVRCLowpass) QML_NAMED_ELEMENT(RCLowpass) };
struct TQVQmlRCHighpass { Q_GADGET QML_FOREIGN(TQVRCHighpass) QML_NAMED_ELEMENT(RCHighpass) };
struct TQVQmlStateVariableFilter { Q_GADGET QML_FOREIGN(TQVStateVariableFilter) QML_NAMED_ELEMENT(StateVariableFilter) QML_EXTENDED(TQVQuickStateVariableFilterExtension) };
// The bases, known to QML as property types and by the properties of their extensions.
struct TQVQmlMeasureSource { Q_GADGET QML_FOREIGN(TQVMeasureSource) QML_ANONYMOUS };
struct TQVQmlBlockSource { Q_GADGET QML_FOREIGN(TQVBlockSource) QML_ANONYMOUS QML_EXTENDED(TQVQuickBlockSourceExtension) };
struct TQVQmlMLSBase { Q_GADGET QML_FOREIGN(TQVMLSBase) QML_ANONYMOUS QML_EXTENDED(TQVQuickStageExtension) };
struct TQVQmlMLSFilterBase { Q_GADGET QML_FOREIGN(TQVMLSFilterBase) QML_ANONYMOUS QML_EXTENDED(TQVQuickFilterExtension) };
struct TQVQmlFFTStage { Q_GADGET QML_FOREIGN(TQVFFTStage) QML_ANONYMOUS QML_EXTENDED(TQVQuickFFTExtension) };
struct TQVQmlFFTSingleInputStage { Q_GADGET QML_FOREIGN(TQVFFTSingleInputStage) QML_ANONYMOUS };

// The QML spellings of the enumerations follow the library's.
static_assert(int(TQVQuickAnalyzerExtension::Dev) == int(TQVAnalyzer::mcoDev));
static_assert(int(TQVQuickGeneratorExtension::DC) == int(TQVSignalGenerator::wfDC));
static_assert(int(TQVQuickTriggerExtension::FreeRunning) == int(TQVMLSTrigger::trtOff));
static_assert(int(TQVQuickIIRFilterExtension::HighPass) == int(TQVIIRFilter::iirHighPass));
static_assert(int(TQVQuickStateVariableFilterExtension::SvfNotch) == int(TQVStateVariableFilter::foNotch));
static_assert(int(TQVQuickFFTExtension::BlackmanHarris92dB) == int(QVAnalysis::wnBlackmanHarris92dB));
