// [window]
import QtQuick
import Velmora

// A 1 kHz tone of 2 V amplitude, its RMS on a needle meter and a panel meter.
Window {
    width: 480; height: 220
    visible: true

    SignalGenerator { id: generator; sampleRate: 48000; blockLength: 4800; frequency: 1000; amplitude: 2 }
    Analyzer { id: rms; source: generator; compression: Analyzer.RMS }

    Row {
        anchors.fill: parent
        Meter { objectName: "meter"; source: rms; width: 280; height: parent.height; caption: "RMS" }
        PanelMeter { source: rms; width: 200; height: 60; unitText: "V" }
    }

    Component.onCompleted: generator.run() // a block per block period
}
// [window]
