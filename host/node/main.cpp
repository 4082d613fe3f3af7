// velmora-node: publishes a source on a ZeroMQ endpoint for stations elsewhere
// (TQVNetSource). `--source generator` (default) runs the signal generator, `--source FILE`
// plays a WAV or CSV recording, `--source audio[:DEVICE]` captures a sound card input. While it runs, lines on standard input change it: `stop`,
// `run`, `block-length N`, `frequency F` (generator), `quit`.

#include <algorithm>
#include <cmath>
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

// Reads numeric options and checks that the setters took them: the sources' setters ignore
// what their rules refuse, which a command line must not do silently. The first problem is
// kept in `Error`.
struct TQVOptions
{
    const QCommandLineParser &Parser;
    QString Error;

    bool Ok() const { return Error.isEmpty(); }
    double Number(const char *option)
    {
        bool number = false;
        const double value = Parser.value(QLatin1String(option)).toDouble(&number);
        if (!(number && std::isfinite(value)))
            Fail(option, "is not a number");
        return value;
    }
    // The value as an int a setter takes; out of the int range it stays out of the setter's.
    int Int(const char *option) { return int(std::clamp(Number(option), -1.0, 1e9)); }
    void Took(bool took, const char *option)
    {
        if (!took)
            Fail(option, "is out of range");
    }
    void Fail(const char *option, const char *why)
    {
        if (Ok())
            Error = QStringLiteral("--%1 %2 %3").arg(QLatin1String(option), Parser.value(QLatin1String(option)),
                                                     QLatin1String(why));
    }
};

// The source named by --source: "generator", "audio[:DEVICE]" or a file name, with the
// options that apply to it. Every kind of source a node can publish is chosen here. Returns
// null with `options.Error` set when the choice or an option's value cannot be honoured.
std::unique_ptr<TQVBlockSource> MakeSource(const QString &choice, TQVOptions &options)
{
    const double rate = options.Number("rate"), channels = options.Number("channels");
    if (choice == QLatin1String("generator")) {
        auto generator = std::make_unique<TQVSignalGenerator>();
        generator->SetSampleRate(rate);
        options.Took(generator->SampleRate() == rate, "rate");
        generator->SetChannelCount(options.Int("channels"));
        options.Took(generator->ChannelCount() == channels, "channels");
        const double frequency = options.Number("frequency");
        for (int k = 0; options.Ok() && k < generator->ChannelCount(); ++k) {
            TQVSignalGenerator::TQVGeneratorChannel channel;
            channel.Frequency = frequency * (k + 1);
            channel.NoiseAmplitude = 0.05;
            generator->SetChannel(k, channel);
            options.Took(generator->Channel(k).Frequency == channel.Frequency, "frequency");
        }
        return options.Ok() ? std::move(generator) : nullptr;
    }
    if (choice == QLatin1String("audio") || choice.startsWith(QLatin1String("audio:"))) {
        auto audio = std::make_unique<TQVAudioSource>();
        audio->SetDevice(choice.mid(6));
        audio->SetSampleRate(rate);
        options.Took(audio->SampleRate() == rate, "rate");
        audio->SetChannelCount(options.Int("channels"));
        options.Took(audio->ChannelCount() == channels, "channels");
        return options.Ok() ? std::move(audio) : nullptr;
    }
    auto player = std::make_unique<TQVFilePlayer>();
    try {
        player->SetFileName(choice);
    } catch (const std::exception &e) {
        options.Error = QString::fromLocal8Bit(e.what());
        return nullptr;
    }
    player->SetLoop(options.Parser.isSet(QStringLiteral("loop")));
    return player;
}

// One command line from standard input.
void Command(const QByteArray &line, TQVBlockSource &source)
{
    const QList<QByteArray> words = line.simplified().split(' ');
    const QByteArray &verb = words.first();
    bool number = false;
    const double value = words.size() > 1 ? words.at(1).toDouble(&number) : 0.0;
    auto *generator = qobject_cast<TQVSignalGenerator *>(&source);
    if (verb == "run") {
        source.Run();
    } else if (verb == "stop") {
        source.Stop();
    } else if (verb == "block-length") {
        source.SetBlockLength(int(std::clamp(value, -1.0, 1e9)));
        if (!number || source.BlockLength() != value)
            std::fprintf(stderr, "refused: %s\n", line.constData());
    } else if (verb == "frequency" && generator) {
        generator->SetFrequency(value);
        if (!number || generator->Channel(0).Frequency != value)
            std::fprintf(stderr, "refused: %s\n", line.constData());
    } else if (verb == "quit") {
        QCoreApplication::quit();
    } else if (!verb.isEmpty()) {
        std::fprintf(stderr, "unknown command: %s\n", line.constData());
    }
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

    TQVOptions options{parser, {}};
    const std::unique_ptr<TQVBlockSource> source = MakeSource(parser.value(QStringLiteral("source")), options);
    TQVNetSink sink;
    if (source) {
        source->SetBlockLength(options.Int("block-length"));
        options.Took(source->BlockLength() == options.Number("block-length"), "block-length");
        sink.SetHighWaterMark(options.Int("hwm"));
        options.Took(sink.HighWaterMark() == options.Number("hwm"), "hwm");
    }
    if (!source || !options.Ok()) {
        std::fprintf(stderr, "velmora-node: %s\n", qPrintable(options.Error));
        return 1;
    }
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
