// Guide: an acquisition thread feeding a chain shown in the user-interface thread. A worker
// QThread produces blocks of a 1 kHz sine and pushes them into a TQVThreadBridge; in the
// user-interface thread the bridge feeds an RMS analyzer and a panel meter. When the worker
// is done the bridge is closed and the program quits; it exits 0 when every block was either
// delivered or counted as an overrun and the panel meter shows the RMS of the sine.

#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

#include <QtCore/QThread>
#include <QtWidgets/QApplication>

#include <Velmora/Host>
#include <Velmora/Widgets>

constexpr int BlockLength = 480;  // 10 ms at 48 kHz: ten whole periods of 1 kHz
constexpr int BlockCount = 200;

int main(int argc, char **argv)
{
    QApplication app(argc, argv);

    // [bridge]
    TQVThreadBridge bridge;            // lives in the user-interface thread
    bridge.SetChannelCount(1);
    bridge.SetBlockLength(BlockLength);
    bridge.SetSampleRate(48000.0);
    bridge.SetCapacity(32);            // blocks the queue holds between two drains
    bridge.SetDrainInterval(10);       // ms; the bridge's timer delivers what is queued
    bridge.Open();                     // allocates the queue once, announces mssRun

    TQVAnalyzer rms;
    rms.SetCompression(TQVAnalyzer::mcoRMS);
    rms.SetQVMeasureSource(&bridge);
    TQVPanelMeter display;
    display.SetUnitText(QStringLiteral("V"));
    display.SetMeasureSource(&rms);
    display.resize(240, 80);
    display.show();

    qint64 reportedOverruns = 0;
    QObject::connect(&bridge, &TQVThreadBridge::Overrun, &display,
                     [&](qint64 total) { reportedOverruns = total; });
    // [bridge]

    int delivered = 0;
    TQVMeasureLinkSingleChannel counter(&display);
    counter.OnNewData = [&](TQVMeasureLink *, TQVDescArraySingle &) { ++delivered; };
    counter.SeTQVMeasureSource(&bridge);

    // [worker]
    // The producer holds the queue, not the bridge: Push copies and returns at once, from
    // any thread, and after the bridge is gone it returns Closed.
    int refused = 0;
    QThread *worker = QThread::create([queue = bridge.Queue(), &refused] {
        std::vector<float> block(BlockLength);
        const float *channels[] = {block.data()};
        for (int b = 0; b < BlockCount; ++b) {
            for (int i = 0; i < BlockLength; ++i)
                block[i] = float(std::sin(2.0 * std::numbers::pi * 1000.0 * i / 48000.0));
            const TQVPushResult result = queue->Push(channels, 1, BlockLength);
            refused += result != TQVPushResult::Accepted && result != TQVPushResult::Overrun;
            QThread::usleep(500); // the pace of the hardware
        }
    });
    // Done producing: deliver what is queued, announce mssStop, quit.
    QObject::connect(worker, &QThread::finished, &app, [&] {
        bridge.Close();
        app.quit();
    });
    worker->start();
    app.exec();
    worker->wait();
    delete worker;
    // [worker]

    const double expected = 1.0 / std::sqrt(2.0);
    std::printf("%d blocks delivered, %lld overruns (%lld reported), %d refused; panel meter %.5f "
                "(expected %.5f)\n",
                delivered, bridge.Overruns(), reportedOverruns, refused, display.Value(), expected);
    const bool allAccounted = delivered + bridge.Overruns() == BlockCount && reportedOverruns <= bridge.Overruns();
    return allAccounted && refused == 0 && std::fabs(display.Value() - expected) < 1e-4 ? 0 : 1;
}
