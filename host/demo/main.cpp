// velmora-demo: the demo instrument panel on its built-in signal generator. With a display it
// runs in real time until the window is closed; without one (or with --blocks) it runs a
// fixed number of blocks, writes a snapshot of the panel and exits.

#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

#include "qvDemoPanel.h"

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
    parser.addOption(blocksOption);
    parser.addOption(snapshotOption);
    parser.process(app);

    TQVDemoPanel panel;
    panel.resize(1000, 760);
    panel.show();
    const bool batch = parser.isSet(blocksOption) || QGuiApplication::platformName() == QLatin1String("offscreen");
    if (!batch) {
        panel.SetRunning(true);
        return app.exec();
    }

    const int blocks = parser.isSet(blocksOption) ? std::max(1, parser.value(blocksOption).toInt()) : 200;
    panel.RunBlocks(blocks);
    QCoreApplication::processEvents();
    const QString file = parser.value(snapshotOption);
    if (!panel.grab().save(file)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(file));
        return 1;
    }
    std::printf("%d blocks through the chain; RMS %.4f V; snapshot written to %s\n", blocks, panel.Meter().Value(),
                qPrintable(file));
    return 0;
}
