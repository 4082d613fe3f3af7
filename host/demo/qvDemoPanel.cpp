#include "qvDemoPanel.h"

#include <QtCore/QTimer>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QVBoxLayout>

namespace {

QLabel *Heading(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}

} // namespace

TQVDemoPanel::TQVDemoPanel(QWidget *parent)
    : QWidget(parent)
{
    setWindowTitle(tr("Velmora demo"));
    setObjectName(QStringLiteral("DemoPanel"));

    // Source: a 984.375 Hz sine (21 periods per block) with a little noise.
    m_generator.SetSampleRate(SampleRate);
    m_generator.SetBlockLength(BlockLength);
    m_generator.SetFrequency(984.375);
    m_generator.SetAmplitude(1.0);
    m_generator.SetNoiseAmplitude(0.05);

    m_filter.SetOrder(4);
    m_filter.SetFilterOutput(TQVIIRFilter::iirLowPass);
    m_filter.SetCutoffFrequency(4000.0f);
    m_filter.SetQVMeasureSource(&m_generator);

    m_rms.SetCompression(TQVAnalyzer::mcoRMS);
    m_rms.SetQVMeasureSource(&m_filter);

    m_trigger.SetTriggerType(TQVMLSTrigger::trtPosSlope);
    m_trigger.SetTriggerLimit(0.0f);
    m_trigger.SetTriggerSlope(0.0f);
    m_trigger.SetBufferSize(240); // 5 ms
    m_trigger.SetPreTrigger(24);
    m_trigger.SetQVMeasureSource(&m_filter);

    m_fft.SetOutput(TQVFFTSingleSingle::ssoRealFFT);
    m_fft.SetLeakFunction(QVAnalysis::wnHanning);
    m_fft.SetQVMeasureSource(&m_filter);

    // Displays.
    m_meter = new TQVMeter(this);
    m_meter->SetAutoConfig(false);
    m_meter->SetValueMin(0.0);
    m_meter->SetValueMax(1.0);
    m_meter->SetValueGap(0.1);
    m_meter->SetValueDecimals(1);
    m_meter->SetIndicatorStyle(TQVMeterInt::indNeedle);
    m_meter->SetRangeNumber(3);
    const double limits[] = {0.5, double(AlarmLimit), 1.0};
    const TQVColor colours[] = {0x40B040, 0x00C8F0, 0x3030E0};
    for (int i = 0; i < 3; ++i) {
        m_meter->SetRangeCurrent(i + 1);
        m_meter->SetRangeLimit(limits[i]);
        m_meter->SetRangeColor(colours[i]);
    }
    m_meter->SetLegend1(QStringLiteral("V"));
    m_meter->SetLegend2(QStringLiteral("RMS"));
    m_meter->setMinimumSize(230, 230);
    m_meter->SetMeasureSource(&m_rms);

    m_bar = new TQVBarGraph(this);
    m_bar->SetAutoConfig(false);
    m_bar->SetValueParams(0.0, 1.0);
    m_bar->SetPeakHold(true); // the highest RMS of the last 1.5 s
    m_bar->SetLabelingGap(0.1);
    m_bar->SetLabelingDecimals(1);
    m_bar->SetLabelingStyle(TQVBarGraphInt::lbsBoth);
    m_bar->SetRangeNumber(3);
    for (int i = 0; i < 3; ++i) {
        m_bar->SetRangeCurrent(i + 1);
        m_bar->SetRangeColor(colours[i]);
        m_bar->SetRangeLimit(limits[i]);
    }
    m_bar->setMinimumSize(90, 230);
    m_bar->SetMeasureSource(&m_rms);

    m_panelMeter = new TQVPanelMeter(this);
    m_panelMeter->SetDecimals(3);
    m_panelMeter->SetUnitText(QStringLiteral("V"));
    m_panelMeter->setMinimumSize(220, 80);
    m_panelMeter->SetMeasureSource(&m_rms);

    m_led = new TQVLed(this);
    m_led->SetCompare(TQVLedInt::cmpOver);
    m_led->SetLimit(AlarmLimit);
    m_led->SetColorActive(0x2020E0);
    m_led->setFixedSize(36, 36);
    m_led->SetMeasureSource(&m_rms);

    m_timePlot = new TQVPlot(this);
    m_timePlot->SetTitle(tr("Filtered signal, triggered on the rising zero crossing"));
    m_timePlot->SetXUnit(QStringLiteral("s"));
    m_timePlot->SetYUnit(QStringLiteral("V"));
    m_timePlot->SetAutoScale(false);
    m_timePlot->SetYMin(-1.5);
    m_timePlot->SetYMax(1.5);
    m_timePlot->setMinimumSize(440, 230);
    m_timePlot->SetMeasureSource(&m_trigger);

    m_spectrumPlot = new TQVPlot(this);
    m_spectrumPlot->SetTitle(tr("Spectrum of the filtered signal (Hanning window)"));
    m_spectrumPlot->SetXUnit(QStringLiteral("Hz"));
    m_spectrumPlot->SetYUnit(QStringLiteral("dBV"));
    m_spectrumPlot->SetScaleY(TQVPlot::scDecibel);
    m_spectrumPlot->SetAutoScale(false);
    m_spectrumPlot->SetYMin(-120.0);
    m_spectrumPlot->SetYMax(0.0);
    m_spectrumPlot->setMinimumSize(440, 230);
    m_spectrumPlot->SetDistortion(true);
    m_spectrumPlot->SetMeasureSource(&m_fft);

    m_waterfall = new TQVWaterfall(this);
    m_waterfall->SetTitle(tr("Waterfall of the filtered signal, newest block on top"));
    m_waterfall->SetLevelUnit(QStringLiteral("dBV"));
    m_waterfall->setMinimumSize(440, 170);
    m_waterfall->SetMeasureSource(&m_fft);

    // Inputs.
    m_frequency = new TQVSlider(this);
    m_frequency->SetKind(TQVSlider::sbHorizontal);
    m_frequency->SetValueMax(10000.0); // the upper end first: a lower end above it is refused
    m_frequency->SetValueMin(100.0);
    m_frequency->SetValueStepWidth(46.875); // whole periods per block at every step
    m_frequency->SetValue(m_generator.Frequency());
    m_frequency->SetLabelingStyle(TQVSlider::lbsBoth);
    m_frequency->SetLabelingGap(1000.0);
    m_frequency->SetLabelScientificUnitPosfix(sipKilo);
    m_frequency->SetLabelingDecimals(0);
    m_frequency->SetLabelTextPosfix(QStringLiteral("Hz"));
    m_frequency->setMinimumSize(440, 80);
    QObject::connect(m_frequency, &TQVSlider::ValueChanged, this, [this](double f) { m_generator.SetFrequency(f); });

    m_cutoff = new TQVDial(this);
    m_cutoff->SetValueMax(20000.0); // the adaptive scale reads "0.5k" ... "20k"
    m_cutoff->SetValueMin(500.0);
    m_cutoff->SetValueGap(2500.0);
    m_cutoff->SetValueStepWidth(100.0);
    m_cutoff->SetValue(m_filter.CutoffFrequency());
    m_cutoff->setMinimumSize(200, 200);
    QObject::connect(m_cutoff, &TQVDial::ValueChanged, this, [this](double fc) { m_filter.SetCutoffFrequency(float(fc)); });

    m_noise = new TQVDial(this);
    m_noise->SetValueMax(0.5);
    m_noise->SetValueGap(0.1);
    m_noise->SetValueStepWidth(0.01);
    m_noise->SetValueDecimals(1);
    m_noise->SetValue(m_generator.NoiseAmplitude());
    m_noise->setMinimumSize(200, 200);
    QObject::connect(m_noise, &TQVDial::ValueChanged, this, [this](double a) { m_generator.SetNoiseAmplitude(a); });

    // The instruments in the adaptive look: labels measured, 1-2-5 steps, palette colours.
    m_meter->SetScaleLayout(slAdaptive);
    m_bar->SetScaleLayout(slAdaptive);
    m_led->SetScaleLayout(slAdaptive);
    m_frequency->SetScaleLayout(slAdaptive);
    m_cutoff->SetScaleLayout(slAdaptive);
    m_noise->SetScaleLayout(slAdaptive);

    // Top: the RMS displays; middle: the plots and the waterfall; bottom: the inputs.
    auto *readout = new QWidget(this);
    auto *readoutLayout = new QGridLayout(readout);
    readoutLayout->setContentsMargins(0, 0, 0, 0);
    readoutLayout->addWidget(m_panelMeter, 0, 0, 1, 2);
    readoutLayout->addWidget(m_led, 1, 0);
    readoutLayout->addWidget(new QLabel(tr("Alarm: RMS above %1 V").arg(double(AlarmLimit)), readout), 1, 1);
    readoutLayout->setRowStretch(2, 1);

    auto *grid = new QGridLayout(this);
    grid->addWidget(Heading(tr("RMS after the low-pass"), this), 0, 0, 1, 2);
    grid->addWidget(m_meter, 1, 0);
    grid->addWidget(m_bar, 1, 1);
    grid->addWidget(Heading(tr("Reading"), this), 0, 2);
    grid->addWidget(readout, 1, 2);
    grid->addWidget(m_timePlot, 2, 0, 1, 2);
    grid->addWidget(m_spectrumPlot, 2, 2);
    grid->addWidget(m_waterfall, 3, 0, 1, 3);
    auto *inputs = new QGridLayout;
    inputs->addWidget(Heading(tr("Generator frequency"), this), 0, 0);
    inputs->addWidget(m_frequency, 1, 0, Qt::AlignTop);
    inputs->addWidget(Heading(tr("Low-pass cutoff, Hz"), this), 0, 1);
    inputs->addWidget(m_cutoff, 1, 1, Qt::AlignLeft);
    inputs->addWidget(Heading(tr("Noise amplitude, V"), this), 0, 2);
    inputs->addWidget(m_noise, 1, 2, Qt::AlignLeft);
    inputs->setColumnStretch(0, 1);
    inputs->setHorizontalSpacing(12);
    grid->addLayout(inputs, 4, 0, 1, 3);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(2, 1);
    grid->setRowStretch(2, 1);
    grid->setRowStretch(3, 1);

    m_timer = new QTimer(this);
    m_timer->setInterval(int(1000.0 * BlockLength / SampleRate));
    QObject::connect(m_timer, &QTimer::timeout, this, [this] { m_generator.Tick(); });
}

TQVDemoPanel::~TQVDemoPanel()
{
    // The sinks are children: disconnect them while the stages still exist.
    delete m_meter;
    delete m_bar;
    delete m_panelMeter;
    delete m_led;
    delete m_timePlot;
    delete m_spectrumPlot;
    delete m_waterfall;
}

void TQVDemoPanel::RunBlocks(int blocks)
{
    if (m_external)
        return;
    m_generator.Run();
    for (int i = 0; i < blocks; ++i)
        m_generator.Tick();
}

void TQVDemoPanel::SetExternalSource(TQVMeasureSource *source)
{
    if (source == m_external)
        return;
    const bool running = Running();
    SetRunning(false);
    try {
        m_filter.SetQVMeasureSource(source ? source : &m_generator);
    } catch (...) {
        m_filter.SetQVMeasureSource(&m_generator);
        m_external = nullptr;
        m_frequency->setEnabled(true);
        SetRunning(running);
        throw;
    }
    m_external = source;
    m_frequency->setEnabled(!source);
    SetRunning(running);
}

void TQVDemoPanel::SetRunning(bool running)
{
    if (m_external) {
        // A block source (a sound card) runs on command; a stream (a network source) sets its
        // own pace.
        if (auto *blocks = qobject_cast<TQVBlockSource *>(m_external.data()))
            running ? blocks->Run() : blocks->Stop();
        return;
    }
    if (running) {
        m_generator.Run();
        m_timer->start();
    } else {
        m_timer->stop();
        m_generator.Stop();
    }
}

bool TQVDemoPanel::Running() const
{
    if (!m_external)
        return m_timer->isActive();
    const auto *blocks = qobject_cast<const TQVBlockSource *>(m_external.data());
    return !blocks || blocks->State() == mssRun;
}
