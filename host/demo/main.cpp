// velmora-demo: the demo instrument panel on its built-in signal generator. With a display it
// runs in real time until the window is closed; without one (or with --blocks) it runs a
// fixed number of blocks, writes a snapshot of the panel and exits. --qml shows the same panel
// written in QML (demo.qml) instead of widgets.

#include <cstdio>
#include <memory>

#include <QtCore/QCommandLineParser>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

#include "qvDemoPanel.h"
#ifdef VELMORA_DEMO_QML
#include "qvQuickDemo.h"
#endif

int main(int argc, char **argv)
{
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Generator -> IIR low-pass -> RMS -> meter, bar graph, panel meter, LED; trigger and FFT -> plots."));
    parser.addHelpOption();
    QCommandLineOption blocksOption(QStringLiteral("blocks"),
                                    QStringLiteral("Run this many blocks at once, write the snapshot and exit."),
                                    QStringLiteral("n"));
    QCommandLineOption snapshotOption(QStringLiteral("snapshot"), QStringLiteral("PNG file for the snapshot."),
                                      QStringLiteral("file"), QStringLiteral("velmora-demo.png"));
#ifdef VELMORA_DEMO_QML
    QCommandLineOption qmlOption(QStringLiteral("qml"), QStringLiteral("Show the panel written in QML."));
    parser.addOption(qmlOption);
#endif
    parser.addOption(blocksOption);
    parser.addOption(snapshotOption);
    parser.process(app);

    const bool batch = parser.isSet(blocksOption) || QGuiApplication::platformName() == QLatin1String("offscreen");
    const int blocks = parser.isSet(blocksOption) ? std::max(1, parser.value(blocksOption).toInt()) : 200;
    double rms = 0.0;
    QImage snapshot;
#ifdef VELMORA_DEMO_QML
    if (parser.isSet(qmlOption)) {
        TQVQuickDemo quick;
        if (!quick.Loaded())
            return 1;
        quick.Show();
        if (!batch) {
            quick.SetRunning(true);
            return app.exec();
        }
        quick.RunBlocks(blocks);
        QCoreApplication::processEvents();
        snapshot = quick.Snapshot();
        rms = quick.MeterValue();
    } else
#endif
    {
        TQVDemoPanel panel;
        panel.resize(1000, 760);
        panel.show();
        if (!batch) {
            panel.SetRunning(true);
            return app.exec();
        }
        panel.RunBlocks(blocks);
        QCoreApplication::processEvents();
        snapshot = panel.grab().toImage();
        rms = panel.Meter().Value();
    }
    const QString file = parser.value(snapshotOption);
    if (!snapshot.save(file)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(file));
        return 1;
    }
    std::printf("%d blocks through the chain; RMS %.4f V; snapshot written to %s\n", blocks, rms, qPrintable(file));
    return 0;
}
