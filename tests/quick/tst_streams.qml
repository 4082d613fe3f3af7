import QtQuick
import QtTest
import Velmora

// The stream types: `source:` bindings connect and disconnect chains, the faces forward and
// notify, an incompatible binding reports through the error signal and leaves the state.
Item {
    id: root
    width: 400; height: 300

    TestCase {
        id: test
        name: "Streams"
        when: windowShown

        readonly property real amplitude: 2.0
        SignalGenerator { id: generator; sampleRate: 48000; blockLength: 4800; frequency: 2000; amplitude: test.amplitude }
        IIRFilter { id: lowpass; source: generator; order: 4; cutoffFrequency: 2000 }
        Analyzer { id: rms; source: lowpass; compression: Analyzer.RMS }
        Meter { id: meter; source: rms; width: 200; height: 120 }
        PanelMeter { id: display; source: rms }
        Component { id: spy; SignalSpy {} }

        // A test's spies are deleted later: detach them before the next test drives the chain.
        property var spies: []
        function cleanup() { spies.forEach(s => s.target = null); spies = [] }
        function spyOn(item, signal) {
            spies.push(createTemporaryObject(spy, test, { target: item, signalName: signal }))
            return spies[spies.length - 1]
        }

        // A Butterworth low-pass passes its cutoff frequency at -3 dB: the RMS of the sine
        // A sin(2π fc t) behind it is A / √2 · 1 / √2 = A / 2.
        function test_chain() {
            compare(lowpass.source, generator); compare(rms.source, lowpass); compare(meter.source, rms)
            generator.tick(20)
            fuzzyCompare(meter.value, amplitude / 2, 2e-3)
            compare(display.value, meter.value)
            // Below the cutoff the filter passes the tone: A / √2.
            generator.frequency = 200
            generator.tick(20)
            fuzzyCompare(meter.value, amplitude / Math.SQRT2, 2e-3)
        }

        function test_rebind() {
            const sourceChanged = spyOn(meter, "sourceChanged")
            meter.source = null
            compare(sourceChanged.count, 1)
            const shown = meter.value
            generator.amplitude = 0.5
            generator.tick(5)
            compare(meter.value, shown)
            meter.source = rms
            generator.tick(20)
            fuzzyCompare(meter.value, 0.5 / Math.SQRT2, 2e-3)
            generator.amplitude = amplitude
        }

        // A sink takes single values only; a stage refuses what it cannot filter. Both report
        // the library's message and stay as they were.
        function test_incompatible_data() {
            return [
                { tag: "meter <- generator", item: meter, source: generator, signal: "errorOccurred", keeps: rms },
                { tag: "filter <- 2 channels", item: lowpass, source: twoChannels, signal: "ErrorOccurred", keeps: null },
            ]
        }
        SignalGenerator { id: twoChannels; channelCount: 2 }
        function test_incompatible(row) {
            const errors = spyOn(row.item, row.signal)
            const before = row.item.source
            row.item.source = row.source
            compare(errors.count, 1)
            verify(String(errors.signalArguments[0][0]).length > 10)
            verify(row.item.source !== row.source)
            if (row.keeps !== null)
                compare(before, row.keeps)
            row.item.source = before
        }

        // The faces forward to the stages' properties and notify.
        function test_faces_data() {
            return [
                { tag: "generator.frequency", object: generator, property: "frequency", value: 440 },
                { tag: "generator.waveform", object: generator, property: "waveform", value: SignalGenerator.Square },
                { tag: "filter.order", object: lowpass, property: "order", value: 6 },
                { tag: "analyzer.compression", object: rms, property: "compression", value: Analyzer.Max },
                { tag: "trigger.preTrigger", object: trigger, property: "preTrigger", value: 100 },
                { tag: "trigger.triggerSlope", object: trigger, property: "triggerSlope", value: 0.25 },
                { tag: "selector.channel0", object: selector, property: "channel0", value: 1 },
                { tag: "fft.leakFunction", object: fft, property: "leakFunction", value: FFTSingleSingle.Hann },
                { tag: "rc.cutoffFrequency", object: rc, property: "cutoffFrequency", value: 100 },
                { tag: "svf.q", object: svf, property: "q", value: 2 },
                { tag: "svf.filterOutput", object: svf, property: "filterOutput", value: StateVariableFilter.SvfNotch },
                { tag: "generator.blockLength", object: generator, property: "blockLength", value: 1024 },
                { tag: "filePlayer.loop", object: player, property: "loop", value: true },
                { tag: "dual.channel1", object: dual, property: "channel1", value: 1 },
                { tag: "fftDualSingle.output", object: fftDual, property: "output", value: 1 },
                { tag: "fftSingleDual.output", object: fftSingleDual, property: "output", value: 1 },
                { tag: "fir.coefficientList", object: fir, property: "coefficientList", value: ["0.5", "0.5"] },
                { tag: "rcHighpass.cutoffFrequency", object: rcHigh, property: "cutoffFrequency", value: 50 },
                { tag: "trigger.triggerType", object: trigger, property: "triggerType", value: Trigger.FreeRunning },
                { tag: "matrix.source", object: matrix, property: "source", value: generator },
            ]
        }
        Trigger { id: trigger }
        SelectorSingle { id: selector }
        FFTSingleSingle { id: fft }
        RCLowpass { id: rc }
        StateVariableFilter { id: svf }
        FilePlayer { id: player }
        SelectorDual { id: dual }
        SelectorMatrix { id: matrix }
        FFTDualSingle { id: fftDual }
        FFTSingleDual { id: fftSingleDual }
        FIRFilter { id: fir }
        RCHighpass { id: rcHigh }
        function test_faces(row) {
            const old = row.object[row.property]
            const changed = spyOn(row.object, row.property + "Changed")
            row.object[row.property] = row.value
            compare(row.object[row.property], row.value)
            verify(changed.count >= 1)
            row.object[row.property] = old
        }

        // A refused write through a face (a file that cannot be read) reports, never throws.
        function test_refusedWrite() {
            const errors = spyOn(player, "ErrorOccurred")
            player.fileName = "/no/such/recording.wav"
            compare(errors.count, 1)
            verify(String(errors.signalArguments[0][0]).length > 10)
        }

        // A spectrum plot's peak marker through the QML chain: a tone between two bins is found
        // within a twentieth of a bin (48000 / 4096 Hz); the waterfall takes the same source.
        SignalGenerator { id: tone; sampleRate: 48000; blockLength: 4096; frequency: 1234.5; amplitude: 1 }
        FFTSingleSingle { id: spectrum; source: tone; output: 2; leakFunction: FFTSingleSingle.Hann }
        Plot { id: spectrumPlot; source: spectrum; peakMarker: true; width: 300; height: 200 }
        Waterfall { id: waterfall; source: spectrum; levelMin: -120; levelMax: 0; width: 300; height: 150 }
        function test_spectrum() {
            tone.tick(2)
            verify(Math.abs(spectrumPlot.peakX() - tone.frequency) < 0.05 * 48000 / 4096, spectrumPlot.peakX())
            verify(spectrumPlot.readoutLines().length > 0)
            compare(waterfall.source, spectrum); compare([waterfall.levelMin, waterfall.levelMax], [-120, 0])
            const marks = spyOn(waterfall, "timeAxisChanged")
            waterfall.timeAxis = true
            verify(waterfall.timeAxis); compare(marks.count, 1)
        }

        function test_running() {
            const running = spyOn(generator, "runningChanged")
            generator.run()
            verify(generator.running)
            generator.stop()
            verify(!generator.running)
            compare(running.count, 2)
        }
    }
}
