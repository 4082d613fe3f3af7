// velmora-demo: the demo instrument panel on its built-in signal generator, or with
// --source audio[:DEVICE] on a sound card input. With a display it runs in real time until the
// window is closed; without one (or with --blocks) it runs a fixed number of blocks, writes a
// snapshot of the panel and exits.

#include <cstdio>
#include <memory>

#include <QtCore/QDeadlineTimer>

#include <QtCore/QCommandLineParser>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

#include "host/qvAudioSource.h"
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
                                    QStringLiteral("generator (default), or audio[:DEVICE] for a sound card input "
                                                   "(the default input without a device name)."),
                                    QStringLiteral("source"), QStringLiteral("generator"));
    parser.addOption(blocksOption);
    parser.addOption(snapshotOption);
    parser.addOption(sourceOption);
    parser.process(app);

    const QString source = parser.value(sourceOption);
    std::unique_ptr<TQVAudioSource> audio;
    if (source == QLatin1String("audio") || source.startsWith(QLatin1String("audio:"))) {
        audio = std::make_unique<TQVAudioSource>();
        audio->SetDevice(source.mid(6));
        audio->SetSampleRate(TQVDemoPanel::SampleRate);
        audio->SetBlockLength(TQVDemoPanel::BlockLength);
    } else if (source != QLatin1String("generator")) {
        std::fprintf(stderr, "unknown source %s; use generator or audio[:DEVICE]\n", qPrintable(source));
        return 2;
    }

    TQVDemoPanel panel;
    panel.resize(1000, 760);
    if (audio) {
        panel.SetExternalSource(audio.get());
        QObject::connect(audio.get(), &TQVAudioSource::ErrorOccurred, &app, [](const QString &message) {
            std::fprintf(stderr, "%s\n", qPrintable(message));
        });
    }
    panel.show();
    const bool batch = parser.isSet(blocksOption) || QGuiApplication::platformName() == QLatin1String("offscreen");
    if (!batch) {
        panel.SetRunning(true);
        return app.exec();
    }

    const int blocks = parser.isSet(blocksOption) ? std::max(1, parser.value(blocksOption).toInt()) : 200;
    if (audio) {
        // The device sets the pace: wait for the blocks (at most their duration and 5 s more).
        int received = 0;
        QObject::connect(&panel.Analyzer(), &TQVAnalyzer::Analyzed, &app, [&received] { ++received; });
        panel.SetRunning(true);
        QDeadlineTimer deadline(qint64(1000.0 * blocks * TQVDemoPanel::BlockLength / TQVDemoPanel::SampleRate) + 5000);
        while (received < blocks && audio->State() == mssRun && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        panel.SetRunning(false);
        if (received < blocks) {
            std::fprintf(stderr, "only %d of %d blocks arrived from the audio input\n", received, blocks);
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
