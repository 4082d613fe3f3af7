import QtQuick
import Velmora

// Every instrument item once, fed by a chain: a 50 Hz sine of 0.88 V amplitude (RMS 0.62)
// into the RMS displays, the signal itself into the plot. velmora-quick-gallery grabs each
// item that has an object name.
Rectangle {
    id: gallery
    width: 760; height: 840
    color: palette.window
    SystemPalette { id: palette }

    readonly property var ranges: [{ limit: 0.5, color: "#40b040" }, { limit: 0.65, color: "#f0c800" },
                                   { limit: 1, color: "#e03030" }]

    SignalGenerator { id: generator; sampleRate: 48000; blockLength: 4800; frequency: 50; amplitude: 0.88 }
    Analyzer { id: rms; source: generator; compression: Analyzer.RMS }

    Grid {
        x: 10; y: 10; columns: 4; spacing: 12
        Meter {
            objectName: "meter"; source: rms; width: 260; height: 180; scaleLayout: Meter.Adaptive
            autoConfig: false; valueMin: 0; valueMax: 1; valueGap: 0.1; valueDecimals: 1
            ranges: gallery.ranges; caption: "RMS"; legend1: "V"
        }
        Dial { objectName: "dial"; width: 170; height: 170; valueMin: 0; valueMax: 100; value: 35; scaleLayout: Dial.Adaptive }
        BarGraph {
            objectName: "bargraph"; source: rms; width: 90; height: 220; scaleLayout: BarGraph.Adaptive
            autoConfig: false; valueMin: 0; valueMax: 1; ranges: gallery.ranges; labelingStyle: BarGraph.Labels; labelingGap: 0.1
        }
        Slider {
            objectName: "slider"; width: 70; height: 220; valueMin: 0; valueMax: 10; value: 6.5; scaleLayout: Slider.Adaptive
            labelingStyle: Slider.Labels; labelingGap: 1
        }
        PanelMeter { objectName: "panelmeter"; source: rms; width: 220; height: 70; decimals: 3; unitText: "V" }
        Led { objectName: "led"; source: rms; width: 40; height: 40; limit: 0.5; colorActive: "#e02020"; scaleLayout: Led.Adaptive }
        Plot {
            objectName: "plot"; source: generator; width: 360; height: 220
            title: "Generator, 50 Hz"; xUnit: "s"; yUnit: "V"; autoScale: false; yMin: -1; yMax: 1
        }
        // One period between the cursors: RMS 0.88 / sqrt(2), mean 0.
        Plot {
            objectName: "plot-measure"; source: generator; width: 480; height: 260
            title: "Cursor statistics over one period"; xUnit: "s"; yUnit: "V"; autoScale: false; yMin: -1; yMax: 1
            cursors: true; cursor1: 0.005; cursor2: 0.025; cursorStatistics: true
        }
    }

    Component.onCompleted: { generator.run(); generator.tick(3) }
}
