// velmora-demo: the demo instrument panel on its built-in signal generator, on a sound card
// input (--source audio[:DEVICE]) or on the stream a velmora-node publishes
// (--source tcp://HOST:PORT). With a display it runs in real time until the window is closed;
// without one (or with --blocks) it runs a fixed number of blocks, writes a snapshot of the
// panel and exits. --qml shows the same panel written in QML (demo.qml) on its generator.

#include <cstdio>
#include <exception>
#include <memory>

#include <QtCore/QCommandLineParser>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QLoggingCategory>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

#include "host/net/qvNetSource.h"
#include "host/qvAudioSource.h"
#include "qvDemoPanel.h"
#ifdef VELMORA_DEMO_QML
#include "qvQuickDemo.h"
#endif

namespace {

// The source --source names, or null for the generator; prints why and returns null in `failed`.
std::unique_ptr<TQVMeasureSource> MakeSource(const QString &name, bool &failed)
{
    failed = false;
    if (name == QLatin1String("generator"))
        return nullptr;
    try {
        if (name == QLatin1String("audio") || name.startsWith(QLatin1String("audio:"))) {
            auto audio = std::make_unique<TQVAudioSource>();
            audio->SetDevice(name.mid(6));
            audio->SetSampleRate(TQVDemoPanel::SampleRate);
            audio->SetBlockLength(TQVDemoPanel::BlockLength);
            return audio;
        }
        if (name.startsWith(QLatin1String("tcp://"))) {
            auto remote = std::make_unique<TQVNetSource>();
            remote->SetEndpoint(name);
            return remote;
        }
        std::fprintf(stderr, "velmora-demo: unknown source %s; use generator, audio[:DEVICE] or tcp://HOST:PORT\n",
                     qPrintable(name));
    } catch (const std::exception &e) {
        std::fprintf(stderr, "velmora-demo: %s\n", e.what());
    }
    failed = true;
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-demo"));
    // The demo prints its source's errors itself, once.
    QLoggingCategory::setFilterRules(QStringLiteral("velmora.sources.warning=false"));

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
                                    QStringLiteral("generator (default); audio[:DEVICE] for a sound card input (the "
                                                   "default input without a device name); tcp://HOST:PORT for the "
                                                   "stream a velmora-node publishes there."),
                                    QStringLiteral("source"), QStringLiteral("generator"));
#ifdef VELMORA_DEMO_QML
    QCommandLineOption qmlOption(QStringLiteral("qml"), QStringLiteral("Show the panel written in QML."));
    parser.addOption(qmlOption);
#endif
    parser.addOption(blocksOption);
    parser.addOption(snapshotOption);
    parser.addOption(sourceOption);
    parser.process(app);

    const bool batch = parser.isSet(blocksOption) || QGuiApplication::platformName() == QLatin1String("offscreen");
    const int blocks = parser.isSet(blocksOption) ? std::max(1, parser.value(blocksOption).toInt()) : 200;
    double rms = 0.0;
    QImage snapshot;
#ifdef VELMORA_DEMO_QML
    if (parser.isSet(qmlOption)) {
        if (parser.value(sourceOption) != QLatin1String("generator")) {
            std::fprintf(stderr, "velmora-demo: the QML panel runs on its own generator\n");
            return 2;
        }
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
        bool failed = false;
        const std::unique_ptr<TQVMeasureSource> source = MakeSource(parser.value(sourceOption), failed);
        if (failed)
            return 2;
        TQVDemoPanel panel;
        if (source) {
            QObject::connect(source.get(), &TQVMeasureSource::ErrorOccurred, &app,
                             [](const QString &message) { std::fprintf(stderr, "velmora-demo: %s\n", qPrintable(message)); });
            try {
                panel.SetExternalSource(source.get());
            } catch (const std::exception &e) {
                std::fprintf(stderr, "velmora-demo: %s\n", e.what());
                return 1;
            }
        }
        panel.resize(1000, 910);
        panel.show();
        if (!batch) {
            panel.SetRunning(true);
            return app.exec();
        }
        if (source) {
            // The source sets the pace: wait for the blocks (at most their duration and 30 s more).
            int received = 0;
            QObject::connect(&panel.Analyzer(), &TQVAnalyzer::Analyzed, &app, [&received] { ++received; });
            panel.SetRunning(true);
            const QDeadlineTimer deadline(
                qint64(1000.0 * blocks * TQVDemoPanel::BlockLength / TQVDemoPanel::SampleRate) + 30000);
            const auto *audio = qobject_cast<const TQVAudioSource *>(source.get());
            while (received < blocks && !(audio && audio->State() == mssError) && !deadline.hasExpired())
                QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            panel.SetRunning(false);
            if (received < blocks) {
                std::fprintf(stderr, "velmora-demo: only %d of %d blocks arrived from %s\n", received, blocks,
                             qPrintable(parser.value(sourceOption)));
                return 1;
            }
        } else {
            panel.RunBlocks(blocks);
        }
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
