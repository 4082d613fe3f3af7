// A test bench's pass/fail check: the spectrum of a 1 kHz tone must stay under a mask that
// allows the tone itself and nothing above -60 dBV elsewhere. A clean sine passes; a triangle
// wave of the same frequency fails on its odd harmonics. Prints both verdicts and exits 1
// unless they come out so. Run it with a display to see the plot of the last one.

#include <cstdio>

#include <QtWidgets/QApplication>

#include <Velmora/Host>
#include <Velmora/Widgets>

struct TQVVerdict
{
    bool Failed = false;
    int Changes = 0;
};

// Plays `blocks` blocks of `waveform` through an FFT onto `plot` and returns what the plot said.
static TQVVerdict Check(TQVPlot &plot, TQVSignalGenerator::TQVWaveform waveform, int blocks)
{
    TQVSignalGenerator generator;
    generator.SetSampleRate(48000);
    generator.SetBlockLength(4096);
    generator.SetWaveform(waveform);
    generator.SetFrequency(1000);
    generator.SetAmplitude(1.0);
    generator.SetNoiseAmplitude(0.001);
    TQVFFTSingleSingle fft;
    fft.SetOutput(TQVFFTSingleSingle::ssoRealFFT);
    fft.SetLeakFunction(QVAnalysis::wnBlackmanHarris92dB);
    fft.SetQVMeasureSource(&generator);

    TQVVerdict verdict;
    // [mask]
    plot.SetScaleY(TQVPlot::scDecibel);
    plot.SetYUnit(QStringLiteral("dBV"));
    plot.SetXUnit(QStringLiteral("Hz"));
    // Up to +3 dBV from 900 Hz to 1.1 kHz, -60 dBV everywhere else.
    plot.SetUpperLimit(QStringLiteral("0 -60; 900 -60; 900 3; 1100 3; 1100 -60; 24000 -60"));
    const QMetaObject::Connection watch = QObject::connect(&plot, &TQVPlot::LimitResultChanged, [&verdict](bool failed) {
        verdict.Failed = failed;             // emitted when the verdict changes
        ++verdict.Changes;
    });
    plot.SetMeasureSource(&fft);
    for (int i = 0; i < blocks; ++i)
        generator.Tick();
    const QVariantMap reading = plot.LimitReading();
    std::printf("%s: %s, %d of %d bins over the mask, margin %.2f dB at %.0f Hz\n",
                waveform == TQVSignalGenerator::wfSine ? "sine" : "triangle",
                plot.LimitFailed() ? "FAIL" : "pass", reading.value(QStringLiteral("violations")).toInt(),
                reading.value(QStringLiteral("tested")).toInt(), reading.value(QStringLiteral("margin")).toDouble(),
                reading.value(QStringLiteral("marginX")).toDouble());
    // [mask]
    plot.SetMeasureSource(nullptr);
    QObject::disconnect(watch);
    return verdict;
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    TQVPlot plot;
    plot.resize(640, 360);
    plot.SetTitle(QStringLiteral("1 kHz against the purity mask"));
    const TQVVerdict sine = Check(plot, TQVSignalGenerator::wfSine, 4);
    const TQVVerdict triangle = Check(plot, TQVSignalGenerator::wfTriangle, 4);
    const bool asExpected = !sine.Failed && triangle.Failed && triangle.Changes == 1;
    std::printf("%s\n", asExpected ? "verdicts as expected" : "UNEXPECTED VERDICTS");
    if (QGuiApplication::platformName() != QLatin1String("offscreen") && asExpected) {
        plot.show();
        return app.exec();
    }
    return asExpected ? 0 : 1;
}
