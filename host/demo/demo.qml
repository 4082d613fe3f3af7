import QtQuick
import Velmora

// The demo panel in QML: the chain and the instruments of the widget demo (qvDemoPanel.cpp).
// A 984.375 Hz sine with a little noise -> 4th-order IIR low-pass -> RMS -> meter, bar graph,
// panel meter and an alarm LED; the filtered signal -> trigger -> time plot, and -> FFT ->
// spectrum plot in dBV. The slider sets the generator's frequency, the dials the cutoff and
// the noise amplitude.
// The texts are the widget panel's, under its translation context.
Rectangle {
    id: panel
    width: 1000; height: 940
    color: palette.window

    readonly property real alarmLimit: 0.65
    readonly property var ranges: [{ limit: 0.5, color: "#40b040" }, { limit: alarmLimit, color: "#f0c800" },
                                   { limit: 1, color: "#e03030" }]
    property alias meter: meter
    // The real-time run: the generator's stream, and a block per block duration.
    property bool running: false
    onRunningChanged: running ? generator.run() : generator.stop()

    // Runs `blocks` blocks through the chain at once (headless runs and benchmarks).
    function runBlocks(blocks) { generator.run(); generator.tick(blocks) }
    function tick() { generator.tick() }

    SystemPalette { id: palette }

    SignalGenerator {
        id: generator
        sampleRate: 48000; blockLength: 1024
        frequency: slider.value; amplitude: 1; noiseAmplitude: noise.value
    }
    IIRFilter { id: lowpass; source: generator; order: 4; filterOutput: IIRFilter.LowPass; cutoffFrequency: dial.value }
    Analyzer { id: rms; source: lowpass; compression: Analyzer.RMS }
    Trigger {
        id: trigger; source: lowpass
        triggerType: Trigger.AboveSlope; triggerLimit: 0; triggerSlope: 0; bufferSize: 240; preTrigger: 24
    }
    FFTSingleSingle { id: fft; source: lowpass; output: 2; leakFunction: FFTSingleSingle.Hanning }

    Timer { interval: 1000 * 1024 / 48000; repeat: true; running: panel.running; onTriggered: generator.tick() }

    component Heading: Text { font.bold: true; color: palette.windowText; height: 22; verticalAlignment: Text.AlignVCenter }

    Column {
        x: 10; y: 6; spacing: 6
        Row {
            spacing: 10
            Column {
                Heading { text: qsTranslate("TQVDemoPanel", "RMS after the low-pass") }
                Row {
                    spacing: 6
                    Meter {
                        id: meter; source: rms; width: 380; height: 230
                        autoConfig: false; valueMin: 0; valueMax: 1; valueGap: 0.1; valueDecimals: 1
                        ranges: panel.ranges; legend1: "V"; legend2: "RMS"; indicatorStyle: Meter.Needle
                        scaleLayout: Meter.Adaptive
                    }
                    BarGraph {
                        source: rms; width: 90; height: 230
                        autoConfig: false; valueMin: 0; valueMax: 1; labelingGap: 0.1; labelingDecimals: 1
                        labelingStyle: BarGraph.Both; ranges: panel.ranges; scaleLayout: BarGraph.Adaptive
                        peakHold: true
                    }
                }
            }
            Column {
                spacing: 6
                Heading { text: qsTranslate("TQVDemoPanel", "Reading") }
                PanelMeter { source: rms; width: 494; height: 80; decimals: 3; unitText: "V" }
                Row {
                    spacing: 8
                    Led {
                        source: rms; width: 36; height: 36; limit: panel.alarmLimit; colorActive: "#e02020"
                        compare: Led.Over; scaleLayout: Led.Adaptive
                    }
                    Text { text: qsTranslate("TQVDemoPanel", "Alarm: RMS above %1 V").arg(panel.alarmLimit); color: palette.windowText; height: 36; verticalAlignment: Text.AlignVCenter }
                }
            }
        }
        Row {
            spacing: 10
            Plot {
                source: trigger; width: 485; height: 250
                title: qsTranslate("TQVDemoPanel", "Filtered signal, triggered on the rising zero crossing")
                xUnit: "s"; yUnit: "V"; autoScale: false; yMin: -1.5; yMax: 1.5
            }
            Plot {
                source: fft; width: 485; height: 250
                title: qsTranslate("TQVDemoPanel", "Spectrum of the filtered signal (Hanning window)")
                xUnit: "Hz"; yUnit: "dBV"; scaleY: 1; autoScale: false; yMin: -120; yMax: 0
                distortion: true
            }
        }
        Waterfall {
            source: fft; width: 980; height: 170
            title: qsTranslate("TQVDemoPanel", "Waterfall of the filtered signal, newest block on top")
            levelUnit: "dBV"; xUnit: "Hz"
        }
        Row {
            spacing: 10
            Column {
                Heading { text: qsTranslate("TQVDemoPanel", "Generator frequency") }
                Slider {
                    id: slider; width: 560; height: 80
                    valueMax: 10000; valueMin: 100; valueStepWidth: 46.875; value: 984.375
                    kind: Slider.Horizontal; labelingStyle: Slider.Both; labelingGap: 1000; labelingDecimals: 0
                    unitPrefix: "k"; unitText: "Hz"; scaleLayout: Slider.Adaptive
                }
            }
            Column {
                Heading { text: qsTranslate("TQVDemoPanel", "Low-pass cutoff, Hz") }
                Dial {
                    id: dial; width: 200; height: 200
                    valueMax: 20000; valueMin: 500; valueStepWidth: 100; value: 4000
                    valueGap: 2500; scaleLayout: Dial.Adaptive
                }
            }
            Column {
                Heading { text: qsTranslate("TQVDemoPanel", "Noise amplitude, V") }
                Dial {
                    id: noise; width: 200; height: 200
                    valueMax: 0.5; valueMin: 0; valueStepWidth: 0.01; value: 0.05
                    valueGap: 0.1; valueDecimals: 1; scaleLayout: Dial.Adaptive
                }
            }
        }
    }
}
