// A measurement chain and a display, as an application using the installed library writes
// them: generator -> RMS analyzer -> bar graph sink. Prints the value the bar graph shows and
// exits 0 when it is the RMS of the generated sine.

#include <cmath>
#include <cstdio>

#include <QtWidgets/QApplication>

#include <host/qvSignalGenerator.h>
#include <indicators/QVMLSingleSinks.h>
#include <stream/qvMLSSimpleSources.h>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    TQVSignalGenerator generator;
    generator.SetSampleRate(48000.0);
    generator.SetBlockLength(4800);
    generator.SetFrequency(1000.0);
    TQVAnalyzer analyzer;
    analyzer.SetCompression(TQVAnalyzer::mcoRMS);
    analyzer.SetQVMeasureSource(&generator);
    TQVBarGraph bar;
    bar.SetMeasureSource(&analyzer);
    generator.Tick();
    const double expected = 1.0 / std::sqrt(2.0); // a whole number of periods of a unit sine
    std::printf("bar graph shows %.6f (expected %.6f)\n", bar.Value(), expected);
    return std::fabs(bar.Value() - expected) < 1e-4 ? 0 : 1;
}
