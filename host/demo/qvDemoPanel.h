#pragma once

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

#include "analysis/qvFilter.h"
#include "analysis/qvMLSFFT.h"
#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "host/qvSignalGenerator.h"
#include "indicators/QVMLSingleSinks.h"
#include "indicators/QVPlot.h"
#include "indicators/qvWaterfall.h"
#include "stream/qvMLSSimpleSources.h"
#include "stream/qvMLSTrigger.h"

class QTimer;

/// \brief The demo instrument panel: a generator (sine and noise) through an IIR low-pass
/// into an RMS analyzer that drives a needle meter, a bar graph, a panel meter and an alarm
/// LED; a trigger on the filtered signal feeds a time plot, an FFT of it a spectrum plot
/// (dB) and a waterfall. The slider sets the generator's frequency, the dials the filter's
/// cutoff and the generator's noise amplitude, live.
class TQVDemoPanel : public QWidget
{
    Q_OBJECT

public:
    static constexpr double SampleRate = 48000.0;
    static constexpr int BlockLength = 1024;
    /// RMS above which the LED signals an alarm.
    static constexpr float AlarmLimit = 0.65f;

    explicit TQVDemoPanel(QWidget *parent = nullptr);
    ~TQVDemoPanel() override;

    /// Runs `blocks` blocks of the generator through the chain at once (headless runs and
    /// tests); ignored on an external source.
    void RunBlocks(int blocks);
    /// Starts or stops the real-time run: one generator block per block duration on a timer,
    /// or the external source's own run when it is a block source (a sound card); a stream
    /// (a network source) sets its own pace.
    void SetRunning(bool running);
    bool Running() const;
    /// \brief Feeds the low-pass from `source` (a sound card or a network stream) instead of
    /// the generator, which then rests; null returns to the generator. The frequency slider,
    /// which sets the generator, is disabled meanwhile. Raises `EQVMSIncompatibleSource` when
    /// the chain cannot take the source; the panel then stays on the generator.
    void SetExternalSource(TQVMeasureSource *source);
    TQVMeasureSource *ExternalSource() const { return m_external; }

    TQVSignalGenerator &Generator() { return m_generator; }
    TQVIIRFilter &Filter() { return m_filter; }
    TQVAnalyzer &Analyzer() { return m_rms; }
    TQVMeter &Meter() { return *m_meter; }
    TQVBarGraph &BarGraph() { return *m_bar; }
    TQVPanelMeter &PanelMeter() { return *m_panelMeter; }
    TQVLed &Led() { return *m_led; }
    TQVPlot &TimePlot() { return *m_timePlot; }
    TQVPlot &SpectrumPlot() { return *m_spectrumPlot; }
    TQVWaterfall &Waterfall() { return *m_waterfall; }
    TQVSlider &FrequencySlider() { return *m_frequency; }
    TQVDial &CutoffDial() { return *m_cutoff; }
    TQVDial &NoiseDial() { return *m_noise; }

private:
    // The stages live here, the widgets in the layout; the sinks' links are cut before the
    // stages go (the widgets are destroyed first, with the panel's children).
    TQVSignalGenerator m_generator;
    TQVIIRFilter m_filter;
    TQVAnalyzer m_rms;
    TQVMLSTrigger m_trigger;
    TQVFFTSingleSingle m_fft;
    TQVMeter *m_meter = nullptr;
    TQVBarGraph *m_bar = nullptr;
    TQVPanelMeter *m_panelMeter = nullptr;
    TQVLed *m_led = nullptr;
    TQVPlot *m_timePlot = nullptr;
    TQVPlot *m_spectrumPlot = nullptr;
    TQVWaterfall *m_waterfall = nullptr;
    TQVSlider *m_frequency = nullptr;
    TQVDial *m_cutoff = nullptr;
    TQVDial *m_noise = nullptr;
    QTimer *m_timer = nullptr;
    QPointer<TQVMeasureSource> m_external;
};
