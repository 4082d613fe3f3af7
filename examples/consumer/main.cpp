// A measurement chain and a display, as an application using the installed library writes
// them: generator -> RMS analyzer -> bar graph and alarm LED sinks. Also runs the chain of
// the README (a pass-through stage and a link) and the registration of the palette classes.
// Prints what it saw and exits 0 when the bar graph shows the RMS of the generated sine, the
// lamp is off, the link saw the generator's block, the classes are registered and the German
// catalogue embedded in the core translates a message of the string table.

#include <cmath>
#include <cstdio>

#include <QtCore/QTranslator>
#include <QtWidgets/QApplication>

// The folder spelling of the includes; <Velmora/Widgets> and <Velmora/Host> include them all.
// [chain]
#include "framework/qvMeasIntf.h"
#include "host/qvSignalGenerator.h"
// [chain]
#include <indicators/QVMLSingleSinks.h>
#include <stream/qvMLSSimpleSources.h>
// [register]
#include "indicators/qvRegister.h"
// [register]
// [translator]
#include "framework/qvTranslations.h"
// [translator]

// The chain of the README: a host source, the stage base as a pass-through stage, a link.
static int ChainInCode(QObject &consumerObject)
{
    int samples = 0;
    // [chain]

    TQVSignalGenerator generator;          // a host source: 1 channel, 1024 samples, 48 kHz
    generator.SetFrequency(187.5);

    TQVMLSBase stage;                      // the stage base, used alone: a pass-through stage
    stage.SetQVMeasureSource(&generator);  // or stage.setProperty("MeasureSource", ...)

    TQVMeasureLinkSingleChannel link(&consumerObject);
    link.OnNewData = [&samples](TQVMeasureLink *, TQVDescArraySingle &block) {
        const QVDescArraySingle &ch0 = block.Channels[0];
        if (QVHasData(ch0)) { samples += ch0.Count; /* ch0.Data[0 .. ch0.Count-1], valid during this call only */ }
    };
    link.SeTQVMeasureSource(&stage);       // raises EQVMSIncompatibleSource if it cannot show it

    generator.Tick();                      // one block, delivered synchronously, depth first
    generator.Run();                       // or: mssRun down the chain and a block per block period
    // [chain]
    generator.Stop();
    return samples;
}

// The application's own translator loads the library's catalogue for `locale`; true when a
// message of the string table comes out translated.
static bool OwnTranslator(QApplication &app, const QLocale &locale)
{
    // [own-translator]
    auto *translator = new QTranslator(&app);
    if (translator->load(locale, "velmora", "_", ":/velmora/i18n"))
        QCoreApplication::installTranslator(translator);
    // [own-translator]
    const char *source = "Component needs continuous operation.";
    const bool translated = QCoreApplication::translate("Velmora", source) != QLatin1String(source);
    QCoreApplication::removeTranslator(translator);
    return translated;
}

int main(int argc, char **argv)
{
    // [translator]

    QApplication app(argc, argv);
    QVInstallTranslator(QLocale());          // the user's languages, e.g. "de_AT" -> velmora_de
    // [translator]
    // [sinks]
    TQVSignalGenerator generator;             // any host source
    TQVAnalyzer rms;
    rms.SetCompression(TQVAnalyzer::mcoRMS);
    rms.SetQVMeasureSource(&generator);

    TQVBarGraph bar;                          // AutoConfig: the scale takes the source's range
    bar.SetMeasureSource(&rms);
    TQVLed alarm;
    alarm.SetCompare(TQVLed::cmpOver);
    alarm.SetLimit(2.5f);
    alarm.SetMeasureSource(&rms);
    // [sinks]
    generator.SetSampleRate(48000.0);
    generator.SetBlockLength(4800);
    generator.SetFrequency(1000.0);
    // [sinks]
    generator.Tick();                         // every block: bar and lamp follow its RMS
    // [sinks]
    const double expected = 1.0 / std::sqrt(2.0); // a whole number of periods of a unit sine
    std::printf("bar graph shows %.6f (expected %.6f), lamp %s\n", bar.Value(), expected,
                alarm.Value() ? "on" : "off");
    const bool sinksOk = std::fabs(bar.Value() - expected) < 1e-4 && !alarm.Value();

    const int samples = ChainInCode(app);
    std::printf("the README chain delivered %d samples\n", samples);

    // [register]

    Register();                 // the 15 components on page "Velmora" of QVClassRegistry()
    RegisterStreamComponents(); // the selectors, the analyzer and the trigger, same page
    // [register]
    const bool registered = QVClassRegistry().IsRegistered(QStringLiteral("TQVBarGraph"))
        && QVClassRegistry().IsRegistered(QStringLiteral("TQVAnalyzer"));
    std::printf("classes registered: %s\n", registered ? "yes" : "no");

    const bool german = OwnTranslator(app, QLocale(QLocale::German, QLocale::Germany));
    std::printf("German catalogue through an own translator: %s\n", german ? "yes" : "no");
    return sinksOk && samples == 1024 && registered && german ? 0 : 1;
}
