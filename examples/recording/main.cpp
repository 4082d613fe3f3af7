// Records a generated signal to WAV and CSV and plays both back through the file player
// (exits 1 unless every sample comes back with the same bits), then measures the RMS of the
// sound card's default input (or of VELMORA_AUDIO_DEVICE) for a second when there is one.

#include <cstdio>
#include <cstring>
#include <vector>

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QTemporaryDir>

#include <Velmora/Audio>

// Every sample of channel 0 that `source` delivers, appended to `samples`.
static void Collect(TQVMeasureLink &link, TQVMeasureSource &source, std::vector<float> &samples)
{
    link.OnNewData = [&samples](TQVMeasureLink *, TQVDescArraySingle &block) {
        samples.insert(samples.end(), block.Channels[0].Data, block.Channels[0].Data + block.Channels[0].Count);
    };
    link.SeTQVMeasureSource(&source);
}

static bool RoundTrip(const QString &fileName, TQVRecorder::TQVRecordFormat format)
{
    TQVSignalGenerator generator;
    generator.SetNoiseAmplitude(0.1);
    QObject owner;
    TQVMeasureLink link(&owner);
    std::vector<float> sent, played;
    Collect(link, generator, sent);

    // [record]
    TQVRecorder recorder;
    recorder.SetQVMeasureSource(&generator);
    recorder.SetFileName(fileName);
    recorder.SetFormat(format);                 // TQVRecorder::rfWave (float32) or rfCsv
    if (!recorder.Start())                      // the reason is in recorder.ErrorString()
        return false;
    for (int i = 0; i < 10; ++i)
        generator.Tick();                       // every block is in the file when Tick returns
    recorder.Stop();
    // [record]

    TQVFilePlayer player;
    player.SetFileName(fileName);
    link.SeTQVMeasureSource(nullptr);
    Collect(link, player, played);
    while (!player.AtEnd())
        player.Tick();
    const bool same = played.size() == sent.size()
                      && std::memcmp(played.data(), sent.data(), sent.size() * sizeof(float)) == 0;
    std::printf("%s: %lld frames recorded, %zu played back, %s\n", qPrintable(fileName),
                recorder.FramesWritten(), played.size(), same ? "the same bits" : "DIFFERENT");
    return same;
}

static void MeasureSoundCard()
{
    if (TQVAudioSource::Devices().isEmpty()) {
        std::printf("no audio input\n");
        return;
    }
    // [audio]
    TQVAudioSource audio;
    audio.SetDevice(qEnvironmentVariable("VELMORA_AUDIO_DEVICE")); // empty: the default input
    audio.SetSampleRate(48000);
    audio.SetBlockLength(4800);                // 0.1 s per block

    TQVAnalyzer rms;
    rms.SetCompression(TQVAnalyzer::mcoRMS);
    rms.SetQVMeasureSource(&audio);
    QObject::connect(&rms, &TQVAnalyzer::Analyzed, [](float value) { std::printf("RMS %.4f\n", value); });
    QObject::connect(&audio, &TQVAudioSource::ErrorOccurred,
                     [](const QString &message) { std::printf("%s\n", qPrintable(message)); });
    audio.Run();                               // the device sets the pace from here on
    // [audio]
    QDeadlineTimer deadline(1500);
    while (audio.State() == mssRun && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    std::printf("audio input: state %d, %lld overruns\n", int(audio.State()), audio.Overruns());
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const bool wave = RoundTrip(dir.filePath("signal.wav"), TQVRecorder::rfWave);
    const bool csv = RoundTrip(dir.filePath("signal.csv"), TQVRecorder::rfCsv);
    MeasureSoundCard();
    return wave && csv ? 0 : 1;
}
