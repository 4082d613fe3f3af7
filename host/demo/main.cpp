// velmora-demo: the signal generator feeding a chain through a stream stage; every block
// that arrives at the end of the chain is summarised on stdout, and the last one is drawn
// into a PNG snapshot.

#include <cmath>
#include <cstdio>
#include <vector>

#include <QtCore/QCommandLineParser>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include "framework/qvMeasIntf.h"
#include "host/qvSignalGenerator.h"

namespace {

// The end of the chain: prints each block and keeps the last one for the snapshot.
class BlockPrinter : public QObject
{
public:
    explicit BlockPrinter(TQVMeasureSource *source)
        : m_link(this)
    {
        m_link.OnNewData = [this](TQVMeasureLink *, TQVDescArraySingle &data) { Print(data); };
        m_link.SeTQVMeasureSource(source);
    }

    const std::vector<float> &LastBlock() const { return m_last; }
    int Blocks() const { return m_blocks; }

private:
    void Print(const TQVDescArraySingle &data)
    {
        ++m_blocks;
        const QVDescArraySingle &slot = data.Channels[0];
        if (!QVHasData(slot)) {
            std::printf("block %4d: empty\n", m_blocks);
            return;
        }
        long double sum2 = 0.0L;
        float low = slot.Data[0];
        float high = slot.Data[0];
        for (int i = 0; i < slot.Count; ++i) {
            sum2 += static_cast<long double>(slot.Data[i]) * slot.Data[i];
            low = std::min(low, slot.Data[i]);
            high = std::max(high, slot.Data[i]);
        }
        std::printf("block %4d: t = %8.4f s, %d channel(s), %d samples, min %+.4f, max %+.4f, rms %.4f\n",
                    m_blocks, double(static_cast<long double>(data.HeaderValueA)), data.HeaderWord,
                    slot.Count, double(low), double(high), double(std::sqrt(sum2 / slot.Count)));
        m_last.assign(slot.Data, slot.Data + slot.Count);
    }

    TQVMeasureLinkSingleChannel m_link;
    std::vector<float> m_last;
    int m_blocks = 0;
};

QImage Snapshot(const std::vector<float> &samples, const TQVMeasureSourceSettings &settings)
{
    QImage image(800, 300, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(250, 250, 250));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF plot(50, 30, 730, 240);
    p.setPen(QColor(220, 220, 220));
    for (int i = 0; i <= 10; ++i)
        p.drawLine(QPointF(plot.left() + plot.width() * i / 10, plot.top()),
                   QPointF(plot.left() + plot.width() * i / 10, plot.bottom()));
    for (int i = 0; i <= 4; ++i)
        p.drawLine(QPointF(plot.left(), plot.top() + plot.height() * i / 4),
                   QPointF(plot.right(), plot.top() + plot.height() * i / 4));
    p.setPen(QColor(60, 60, 60));
    p.drawRect(plot);

    const double low = settings.RangeMin;
    const double high = settings.RangeMax > settings.RangeMin ? settings.RangeMax : low + 1.0;
    QPainterPath path;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double x = plot.left() + plot.width() * double(i) / double(std::max<std::size_t>(1, samples.size() - 1));
        const double y = plot.bottom() - plot.height() * (samples[i] - low) / (high - low);
        if (i == 0)
            path.moveTo(x, y);
        else
            path.lineTo(x, y);
    }
    p.setPen(QPen(QColor(20, 90, 200), 1.5));
    p.drawPath(path);

    p.setPen(QColor(40, 40, 40));
    p.drawText(QRectF(50, 5, 730, 20), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("Velmora demo: channel 0, last block (%1 samples, %2 s)")
                   .arg(samples.size())
                   .arg(double(static_cast<long double>(settings.XSpan)), 0, 'g', 4));
    p.drawText(QRectF(0, plot.top() - 8, 45, 16), Qt::AlignRight | Qt::AlignVCenter, QString::number(high, 'g', 3));
    p.drawText(QRectF(0, plot.bottom() - 8, 45, 16), Qt::AlignRight | Qt::AlignVCenter, QString::number(low, 'g', 3));
    return image;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Signal generator -> stage -> printer."));
    parser.addHelpOption();
    QCommandLineOption blocksOption(QStringLiteral("blocks"), QStringLiteral("Number of blocks to run."),
                                    QStringLiteral("n"), QStringLiteral("8"));
    QCommandLineOption snapshotOption(QStringLiteral("snapshot"), QStringLiteral("PNG file to write."),
                                      QStringLiteral("file"), QStringLiteral("velmora-demo.png"));
    parser.addOption(blocksOption);
    parser.addOption(snapshotOption);
    parser.process(app);

    TQVSignalGenerator generator;
    generator.setObjectName(QStringLiteral("Generator"));
    generator.SetSampleRate(48000.0);
    generator.SetBlockLength(1024);
    generator.SetFrequency(187.5);
    generator.SetAmplitude(1.0);
    generator.SetNoiseAmplitude(0.05);

    TQVMLSBase stage;
    stage.setObjectName(QStringLiteral("Stage"));
    stage.SetQVMeasureSource(&generator);

    BlockPrinter printer(&stage);

    const int blocks = std::max(1, parser.value(blocksOption).toInt());
    generator.Run();
    for (int i = 0; i < blocks; ++i)
        generator.Tick();
    generator.Stop();

    TQVMeasureSourceSettings settings{};
    stage.GetSettings(settings);
    const QString file = parser.value(snapshotOption);
    if (!Snapshot(printer.LastBlock(), settings).save(file)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(file));
        return 1;
    }
    std::printf("%d blocks through the chain; snapshot written to %s\n", printer.Blocks(), qPrintable(file));
    return 0;
}
