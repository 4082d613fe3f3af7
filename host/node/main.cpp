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

// The option's value as a finite number; `ok` turns false, and `error` names the option,
// when it is not one.
double Number(const QCommandLineParser &parser, const QString &option, bool &ok, QString &error)
{
    bool number = false;
    const double value = parser.value(option).toDouble(&number);
    if (ok && !(number && std::isfinite(value)))
        error = QStringLiteral("--%1 %2 is not a number").arg(option, parser.value(option));
    ok = ok && number && std::isfinite(value);
    return value;
}

// Checks that a setter took the option's value: the sources' setters ignore what their rules
// refuse, which a command line must not do silently.
void Took(bool took, const QCommandLineParser &parser, const QString &option, bool &ok, QString &error)
{
    if (ok && !took)
        error = QStringLiteral("--%1 %2 is out of range").arg(option, parser.value(option));
    ok = ok && took;
}

// The source named by --source: "generator", "audio[:DEVICE]" or a file name, with the
// options that apply to it. Every kind of source a node can publish is chosen here. Returns
// null with `error` set when the choice or an option's value cannot be honoured.
std::unique_ptr<TQVBlockSource> MakeSource(const QString &choice, const QCommandLineParser &parser, QString &error)
{
    bool ok = true;
    const QString rateOption = QStringLiteral("rate"), channelsOption = QStringLiteral("channels");
    const double rate = Number(parser, rateOption, ok, error), count = Number(parser, channelsOption, ok, error);
    const int channels = int(std::clamp(count, -1.0, 1e6));
    if (choice == QLatin1String("generator")) {
        auto generator = std::make_unique<TQVSignalGenerator>();
        generator->SetSampleRate(rate);
        Took(generator->SampleRate() == rate, parser, rateOption, ok, error);
        generator->SetChannelCount(channels);
        Took(generator->ChannelCount() == count, parser, channelsOption, ok, error);
        const double frequency = Number(parser, QStringLiteral("frequency"), ok, error);
        for (int k = 0; ok && k < generator->ChannelCount(); ++k) {
            TQVSignalGenerator::TQVGeneratorChannel channel;
            channel.Frequency = frequency * (k + 1);
            channel.NoiseAmplitude = 0.05;
            generator->SetChannel(k, channel);
            Took(generator->Channel(k).Frequency == channel.Frequency, parser, QStringLiteral("frequency"), ok, error);
        }
        return ok ? std::move(generator) : nullptr;
    }
    if (choice == QLatin1String("audio") || choice.startsWith(QLatin1String("audio:"))) {
        auto audio = std::make_unique<TQVAudioSource>();
        audio->SetDevice(choice.mid(6));
        audio->SetSampleRate(rate);
        Took(audio->SampleRate() == rate, parser, rateOption, ok, error);
        audio->SetChannelCount(channels);
        Took(audio->ChannelCount() == count, parser, channelsOption, ok, error);
        return ok ? std::move(audio) : nullptr;
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

    QString error;
    bool ok = true;
    std::unique_ptr<TQVBlockSource> source = MakeSource(parser.value(QStringLiteral("source")), parser, error);
    TQVNetSink sink;
    if (source) {
        const QString lengthOption = QStringLiteral("block-length"), hwmOption = QStringLiteral("hwm");
        const double length = Number(parser, lengthOption, ok, error), hwm = Number(parser, hwmOption, ok, error);
        source->SetBlockLength(int(std::clamp(length, -1.0, 1e9)));
        Took(source->BlockLength() == length, parser, lengthOption, ok, error);
        sink.SetHighWaterMark(int(std::clamp(hwm, -1.0, 1e9)));
        Took(sink.HighWaterMark() == hwm, parser, hwmOption, ok, error);
    }
    if (!source || !ok) {
        std::fprintf(stderr, "velmora-node: %s\n", qPrintable(error));
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
