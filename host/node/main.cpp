// velmora-node: publishes a source on a ZeroMQ endpoint for stations elsewhere
// (TQVNetSource). `--source generator` (default) runs the signal generator, `--source FILE`
// plays a WAV or CSV recording, `--source audio[:DEVICE]` captures a sound card input. While it runs, lines on standard input change it: `stop`,
// `run`, `block-length N`, `frequency F` (generator), `quit`.

#include <cstdio>
#include <memory>

#include <unistd.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include "host/net/qvNetSink.h"
#include "host/qvAudioSource.h"
#include "host/qvFilePlayer.h"
#include "host/qvSignalGenerator.h"

namespace {

// The source named by --source: "generator", "audio[:DEVICE]" or a file name. Every kind of
// source a node can publish is chosen here. Returns null
// with `error` set when the choice cannot be honoured.
std::unique_ptr<TQVBlockSource> MakeSource(const QString &choice, const QCommandLineParser &parser, QString &error)
{
    const int channels = parser.value(QStringLiteral("channels")).toInt();
    if (choice == QLatin1String("generator")) {
        auto generator = std::make_unique<TQVSignalGenerator>();
        generator->SetSampleRate(parser.value(QStringLiteral("rate")).toDouble());
        generator->SetChannelCount(channels);
        for (int k = 0; k < generator->ChannelCount(); ++k) {
            TQVSignalGenerator::TQVGeneratorChannel channel;
            channel.Frequency = parser.value(QStringLiteral("frequency")).toDouble() * (k + 1);
            channel.NoiseAmplitude = 0.05;
            generator->SetChannel(k, channel);
        }
        return generator;
    }
    if (choice == QLatin1String("audio") || choice.startsWith(QLatin1String("audio:"))) {
        auto audio = std::make_unique<TQVAudioSource>();
        audio->SetDevice(choice.mid(6));
        audio->SetSampleRate(parser.value(QStringLiteral("rate")).toDouble());
        audio->SetChannelCount(channels);
        return audio;
    }
    auto player = std::make_unique<TQVFilePlayer>();
    try {
        player->SetFileName(choice);
    } catch (const std::exception &e) {
        error = QString::fromLocal8Bit(e.what());
        return nullptr;
    }
    player->SetLoop(parser.isSet(QStringLiteral("loop")));
    return player;
}

// One command line from standard input.
void Command(const QByteArray &line, TQVBlockSource &source)
{
    const QList<QByteArray> words = line.simplified().split(' ');
    const QByteArray &verb = words.first();
    const double value = words.size() > 1 ? words.at(1).toDouble() : 0.0;
    if (verb == "run")
        source.Run();
    else if (verb == "stop")
        source.Stop();
    else if (verb == "block-length")
        source.SetBlockLength(int(value));
    else if (verb == "frequency" && qobject_cast<TQVSignalGenerator *>(&source))
        static_cast<TQVSignalGenerator &>(source).SetFrequency(value);
    else if (verb == "quit")
        QCoreApplication::quit();
    else if (!verb.isEmpty())
        std::fprintf(stderr, "unknown command: %s\n", line.constData());
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-node"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Publishes a generator or a recording on a ZeroMQ endpoint."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("source"), QStringLiteral("generator (default), audio[:DEVICE] (a sound card input) or a WAV/CSV file."), QStringLiteral("source"),
         QStringLiteral("generator")},
        {QStringLiteral("bind"), QStringLiteral("Endpoint to publish on."), QStringLiteral("endpoint"),
         QStringLiteral("tcp://*:5555")},
        {QStringLiteral("channels"), QStringLiteral("Channels of the generator or the sound card."), QStringLiteral("n"), QStringLiteral("1")},
        {QStringLiteral("rate"), QStringLiteral("Sample rate of the generator or the sound card in Hz."), QStringLiteral("hz"),
         QStringLiteral("48000")},
        {QStringLiteral("frequency"), QStringLiteral("Generator frequency in Hz (channel k: k+1 times it)."),
         QStringLiteral("hz"), QStringLiteral("984.375")},
        {QStringLiteral("block-length"), QStringLiteral("Samples per channel and block."), QStringLiteral("n"),
         QStringLiteral("1024")},
        {QStringLiteral("hwm"), QStringLiteral("Messages queued per subscriber."), QStringLiteral("n"),
         QStringLiteral("64")},
        {QStringLiteral("loop"), QStringLiteral("Play a file in a loop.")},
    });
    parser.process(app);

    QString error;
    const std::unique_ptr<TQVBlockSource> source = MakeSource(parser.value(QStringLiteral("source")), parser, error);
    if (!source) {
        std::fprintf(stderr, "velmora-node: %s\n", qPrintable(error));
        return 1;
    }
    source->SetBlockLength(parser.value(QStringLiteral("block-length")).toInt());

    TQVNetSink sink;
    sink.SetHighWaterMark(parser.value(QStringLiteral("hwm")).toInt());
    sink.SetQVMeasureSource(source.get());
    try {
        sink.SetEndpoint(parser.value(QStringLiteral("bind")));
    } catch (const std::exception &e) {
        std::fprintf(stderr, "velmora-node: %s\n", e.what());
        return 1;
    }

    QByteArray input;
    QSocketNotifier stdinNotifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&stdinNotifier, &QSocketNotifier::activated, [&] {
        char buffer[256];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got <= 0) {
            stdinNotifier.setEnabled(false);
            return;
        }
        input.append(buffer, got);
        for (qsizetype end; (end = input.indexOf('\n')) >= 0; input.remove(0, end + 1))
            Command(input.left(end), *source);
    });

    source->Run();
    std::printf("velmora-node: publishing %s on %s (session %016llx)\n", qPrintable(parser.value(QStringLiteral("source"))),
                qPrintable(sink.BoundEndpoint()), static_cast<unsigned long long>(sink.Session()));
    std::fflush(stdout);
    const int result = app.exec();
    sink.SetQVMeasureSource(nullptr);
    return result;
}
