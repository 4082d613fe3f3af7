// Guide: instruments in an application's own QMainWindow. A signal generator feeds an RMS
// analyzer; a needle meter, a bar graph and a panel meter in the window's layouts show its
// value while the generator runs on its timer. Quits after `--ms` milliseconds (default 400)
// and exits 0 when all three instruments show the RMS of the sine, a label bound to the bar
// graph's ValueChanged shows its value, and a refused source written through setProperty
// was reported through ErrorOccurred.

#include <cmath>
#include <cstdio>

#include <QtWidgets/QApplication>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QVBoxLayout>
#include <QtCore/QTimer>

#include <Velmora/Host>
#include <Velmora/Widgets>

// [window]
/// The application's window: its own label and layouts, and three Velmora instruments.
class TMainWindow : public QMainWindow
{
public:
    TMainWindow()
    {
        // The measurement chain lives with the window; the instruments are its sinks.
        m_generator.SetSampleRate(48000.0);
        m_generator.SetBlockLength(4800); // 10 blocks per second
        m_generator.SetFrequency(1000.0);
        m_generator.SetAmplitude(2.0);
        m_rms.SetCompression(TQVAnalyzer::mcoRMS);
        m_rms.SetQVMeasureSource(&m_generator);

        auto *central = new QWidget(this);
        auto *rows = new QVBoxLayout(central);
        rows->addWidget(new QLabel(tr("Level of the 1 kHz test tone"), central));
        auto *instruments = new QHBoxLayout;
        rows->addLayout(instruments, 1);

        meter = new TQVMeter(central);     // AutoConfig: the scale follows the analyzer's range
        meter->SetScaleLayout(slAdaptive);
        bar = new TQVBarGraph(central);
        display = new TQVPanelMeter(central);
        display->SetUnitText(QStringLiteral("V"));
        instruments->addWidget(meter, 3);
        instruments->addWidget(bar, 1);
        instruments->addWidget(display, 2);
        for (TQVSingleValueSink *sink : {static_cast<TQVSingleValueSink *>(meter),
                                         static_cast<TQVSingleValueSink *>(bar),
                                         static_cast<TQVSingleValueSink *>(display)})
            sink->SetMeasureSource(&m_rms);

        setCentralWidget(central);
        resize(640, 300);
        m_generator.Run(); // mssRun down the chain, then a block per block period
    }

    TQVMeter *meter;
    TQVBarGraph *bar;
    TQVPanelMeter *display;

private:
    // Members go before the window's child widgets: a source that goes leaves its sinks
    // unconnected (and a sink that goes first disconnects itself).
    TQVSignalGenerator m_generator;
    TQVAnalyzer m_rms;
};
// [window]

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qsizetype msArg = args.indexOf(QStringLiteral("--ms"));
    const int ms = msArg >= 0 && msArg + 1 < args.size() ? args.at(msArg + 1).toInt() : 400;

    TMainWindow window;
    window.show();

    // [qtface]
    QLabel level; // follows the bar graph's value
    QObject::connect(window.bar, &TQVBarGraphInt::ValueChanged, &level, [&level](double v) { level.setNum(v); });
    window.bar->setProperty("QtBarColor", QColor(Qt::darkGreen)); // stored as BarColor() == 0x008000

    // Through the meta-object a refused source is reported, not raised.
    TQVBarGraph spare;
    QString refusal;
    QObject::connect(&spare, &TQVCustomControl::ErrorOccurred, &spare, [&refusal](const QString &m) { refusal = m; });
    TQVSignalGenerator raw; // blocks of samples; a bar graph takes single values
    spare.setProperty("MeasureSource", QVariant::fromValue<TQVMeasureSource *>(&raw));
    // [qtface]

    QTimer::singleShot(ms, &app, &QCoreApplication::quit);
    app.exec();

    const double expected = 2.0 / std::sqrt(2.0); // whole periods of a sine of amplitude 2
    std::printf("meter %.5f, bar graph %.5f, panel meter %.5f (expected %.5f)\n", window.meter->Value(),
                window.bar->Value(), window.display->Value(), expected);
    for (double shown : {window.meter->Value(), window.bar->Value(), window.display->Value()})
        if (!(std::fabs(shown - expected) < 1e-4))
            return 1;
    std::printf("label %s, bar colour %06X, refused: %s\n", qPrintable(level.text()), window.bar->BarColor(),
                qPrintable(refusal));
    if (level.text() != QString::number(window.bar->Value()) || window.bar->BarColor() != 0x008000u || refusal.isEmpty()
        || spare.MeasureSource())
        return 1;
    return 0;
}
