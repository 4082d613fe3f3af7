// velmora-demo: the demo instrument panel on its built-in signal generator. With a display it
// runs in real time until the window is closed; without one (or with --blocks) it runs a
// fixed number of blocks, writes a snapshot of the panel and exits. `--source tcp://HOST:PORT`
// runs the panel on the stream a velmora-node publishes instead of the generator.

#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtCore/QDeadlineTimer>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

#include "host/net/qvNetSource.h"
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
    QCommandLineOption sourceOption(QStringLiteral("source"),
                                    QStringLiteral("Run on the stream published at this endpoint (tcp://HOST:PORT)."),
                                    QStringLiteral("endpoint"));
    parser.addOption(blocksOption);
    parser.addOption(snapshotOption);
    parser.addOption(sourceOption);
    parser.process(app);

    TQVNetSource remote;
    TQVMeasureLink blockCounter(&remote);
    int received = 0;
    TQVDemoPanel panel;
    if (parser.isSet(sourceOption)) {
        QObject::connect(&remote, &TQVMeasureSource::ErrorOccurred,
                         [](const QString &message) { std::fprintf(stderr, "%s\n", qPrintable(message)); });
        try {
            remote.SetEndpoint(parser.value(sourceOption));
            panel.SetExternalSource(&remote);
        } catch (const std::exception &e) {
            std::fprintf(stderr, "velmora-demo: %s\n", e.what());
            return 1;
        }
        blockCounter.OnNewData = [&received](TQVMeasureLink *, TQVDescArraySingle &) { ++received; };
        blockCounter.SeTQVMeasureSource(&remote);
    }
    panel.resize(1000, 760);
    panel.show();
    const bool batch = parser.isSet(blocksOption) || QGuiApplication::platformName() == QLatin1String("offscreen");
    if (!batch) {
        panel.SetRunning(true);
        return app.exec();
    }

    const int blocks = parser.isSet(blocksOption) ? std::max(1, parser.value(blocksOption).toInt()) : 200;
    if (panel.ExternalSource()) {
        // The stream sets the pace: wait for the blocks, 30 s at most.
        const QDeadlineTimer deadline(30000);
        while (received < blocks && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        if (received < blocks) {
            std::fprintf(stderr, "velmora-demo: %d of %d blocks arrived from %s\n", received, blocks,
                         qPrintable(remote.Endpoint()));
            return 1;
        }
    } else {
        panel.RunBlocks(blocks);
    }
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
