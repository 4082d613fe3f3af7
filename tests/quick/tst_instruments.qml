import QtQuick
import QtTest
import Velmora

// The instrument items: lowerCamel properties reach the widget and notify, colour ranges
// round-trip, keys and the mouse drive the dial and the slider (and say so by `moved` and
// `pressed`).
Item {
    id: root
    width: 400; height: 300

    TestCase {
        id: test
        name: "Instruments"
        when: windowShown

        Component { id: meter; Meter { width: 260; height: 160 } }
        Component { id: dial; Dial { width: 150; height: 150 } }
        Component { id: barGraph; BarGraph { width: 60; height: 200 } }
        Component { id: slider; Slider { width: 60; height: 220 } }
        Component { id: panelMeter; PanelMeter { width: 200; height: 60 } }
        Component { id: led; Led { width: 40; height: 40 } }
        Component { id: plot; Plot { width: 300; height: 200 } }
        Component { id: spy; SignalSpy {} }

        function spyOn(item, signal) { return createTemporaryObject(spy, test, { target: item, signalName: signal }) }

        function test_valueProperties_data() {
            return [{ tag: "meter", type: meter }, { tag: "dial", type: dial }, { tag: "barGraph", type: barGraph },
                    { tag: "slider", type: slider }, { tag: "panelMeter", type: panelMeter }]
        }
        function test_valueProperties(row) {
            const item = createTemporaryObject(row.type, root)
            const spies = ["valueChanged", "valueMinChanged", "valueMaxChanged", "captionChanged", "colorChanged",
                           "scaleLayoutChanged"].map(s => spyOn(item, s))
            item.valueMin = -20; item.valueMax = 80; item.value = 35.5
            item.caption = "Level"; item.color = "#204080"; item.scaleLayout = Meter.Adaptive
            compare(item.scaleLayout, Meter.Adaptive)
            compare(item.valueMin, -20); compare(item.valueMax, 80); compare(item.value, 35.5)
            compare(item.caption, "Level"); compare(item.color, Qt.color("#204080"))
            spies.forEach(s => verify(s.count >= 1, s.signalName))
            const before = spies[0].count
            item.value = 35.5 // unchanged: no signal
            compare(spies[0].count, before)
            verify(item.implicitWidth > 0 && item.implicitHeight > 0)
        }

        // The scale, label and unit settings: each reaches the widget under its own name
        // and notifies.
        function test_scaleProperties_data() {
            return [{ tag: "meter", type: meter, widgetValues: { ValueGap: 2.5, ValueDecimals: 2, Legend2: "RMS", IndicatorStyle: 0, AutoConfig: false,
                                                                   PeakHold: true, PeakHoldTime: 0 },
                      values: { valueGap: 2.5, valueDecimals: 2, legend2: "RMS", indicatorStyle: Meter.Needle, autoConfig: false,
                                peakHold: true, peakHoldTime: 0 } },
                    { tag: "dial", type: dial, widgetValues: { ValueGap: 25, ValueDecimals: 1 }, values: { valueGap: 25, valueDecimals: 1 } },
                    { tag: "barGraph", type: barGraph,
                      widgetValues: { Kind: 0, LabelingStyle: 4, LabelingGap: 20, LabelingDecimals: 3, LabelTextPosfix: "Hz", LabelScientificUnitPosfix: 13, AutoConfig: false,
                                      PeakHold: true, PeakHoldTime: 500 },
                      values: { kind: BarGraph.Horizontal, labelingStyle: BarGraph.Symmetric, labelingGap: 20, labelingDecimals: 3,
                                unitText: "Hz", unitPrefix: "k", autoConfig: false, peakHold: true, peakHoldTime: 500 } },
                    { tag: "slider", type: slider, widgetValues: { LabelingStyle: 5, LabelScientificUnitPosfix: 7 },
                      values: { labelingStyle: Slider.Asymmetric, unitPrefix: "\u00b5" } },
                    { tag: "panelMeter", type: panelMeter, widgetValues: { AutoPrefix: true }, values: { autoPrefix: true } },
                    { tag: "led", type: led, widgetValues: { Compare: 3 }, values: { compare: Led.OutOfRange } },
                    { tag: "plot", type: plot, widgetValues: { XUnit: "Hz" }, values: { xUnit: "Hz" } }]
        }
        function test_scaleProperties(row) {
            const item = createTemporaryObject(row.type, root)
            for (const name in row.values) {
                const changed = spyOn(item, name + "Changed")
                item[name] = row.values[name]
                compare(item[name], row.values[name], name); verify(changed.count >= 1, name)
            }
            for (const name in row.widgetValues)
                compare(item.widget[name], row.widgetValues[name], name)
            if ("unitPrefix" in row.values) { // an unknown symbol is refused with a warning
                ignoreWarning(/unknown SI prefix "Q"/); item.unitPrefix = "Q"
                compare(item.unitPrefix, row.values.unitPrefix)
            }
        }

        // A step given before the range (QML sets properties in any order) is not widened
        // to suit the widget's default range.
        function test_stepAfterRange_data() {
            return [{ tag: "meter", type: meter, name: "valueGap" }, { tag: "barGraph", type: barGraph, name: "labelingGap" }]
        }
        function test_stepAfterRange(row) {
            const properties = { valueMin: 0, valueMax: 1 }
            properties[row.name] = 0.05
            compare(createTemporaryObject(row.type, root, properties)[row.name], 0.05)
        }

        function test_ranges_data() {
            return [{ tag: "meter", type: meter }, { tag: "barGraph", type: barGraph }, { tag: "slider", type: slider }]
        }
        function test_ranges(row) {
            const item = createTemporaryObject(row.type, root, { valueMin: 0, valueMax: 1 })
            const changed = spyOn(item, "rangesChanged")
            item.ranges = [{ limit: 0.6, color: "green" }, { limit: 0.85, color: "#ffc000" }, { limit: 1, color: "red" }]
            verify(changed.count >= 1)
            compare(item.ranges.length, 3)
            compare(item.ranges.map(r => r.limit), [0.6, 0.85, 1])
            compare(item.ranges[1].color, Qt.color("#ffc000"))
            compare(item.ranges[2].color, Qt.color("red"))
            item.ranges = [{ limit: "no number", color: "red" }, { limit: 0.5, color: "no colour" }, { limit: 1, color: "blue" }]
            compare(item.ranges.length, 1)
            compare(item.ranges[0].color, Qt.color("blue"))
        }

        function test_led() {
            const item = createTemporaryObject(led, root)
            const on = spyOn(item, "valueChanged"), limit = spyOn(item, "limitChanged")
            item.limit = 0.65; item.value = true; item.colorActive = "orange"
            verify(item.value); compare(on.count, 1); compare(limit.count, 1)
            fuzzyCompare(item.limit, 0.65, 1e-6); compare(item.colorActive, Qt.color("orange"))
        }

        function test_plot() {
            const item = createTemporaryObject(plot, root)
            const title = spyOn(item, "titleChanged")
            item.title = "Spectrum"; item.scaleY = 1; item.autoScale = false; item.yMin = -100; item.yMax = 0
            compare(title.count, 1); compare(item.title, "Spectrum"); compare(item.scaleY, 1)
            compare([item.yMin, item.yMax], [-100, 0]); verify(!item.autoScale)
            // The measuring settings reach the plot and notify; the zoom stack answers.
            const settings = { xLog: true, xAutoScale: false, xMax: 1000, xMin: 10, interactive: true, cursors: true,
                               cursor1: 20, cursor2: 500, cursorStatistics: true, peakMarker: true, averaging: Plot.Exponential,
                               averageCount: 16, maxHold: true, minHold: true, distortion: true, distortionHarmonics: 5 }
            for (const name in settings) {
                const changed = spyOn(item, name + "Changed")
                item[name] = settings[name]
                compare(item[name], settings[name], name); verify(changed.count >= 1, name)
            }
            item.zoomTo(20, 200, -80, -20); compare(item.zoomDepth(), 1)
            item.zoomBack(); compare(item.zoomDepth(), 0)
            verify(isNaN(item.peakX())); compare(item.gateStatistics().count, 0)
            compare(Object.keys(item.distortionReading()).length, 0)
            // Limit lines as points or {x, y}; x must not fall.
            const upper = spyOn(item, "upperLimitChanged")
            item.upperLimit = [Qt.point(10, -20), { x: 1000, y: -40.5 }]
            compare(upper.count, 1); compare(item.widget.UpperLimit, "10 -20; 1000 -40.5")
            compare(item.upperLimit, [Qt.point(10, -20), Qt.point(1000, -40.5)])
            item.lowerLimit = [Qt.point(10, -90), Qt.point(5, -90)]; compare(item.lowerLimit, [])
            verify(!item.limitFailed); compare(item.limitReading().tested, 0)
            item.xUnit = "Hz"; compare(item.tracesCsv(), "x [Hz]\n") // no data: the header alone
            const failed = spyOn(item, "errorOccurred")
            verify(!item.saveTracesCsv("")); compare(failed.count, 1)
        }

        // Keys go to the widget's own handler: arrows one step, pages ten, Home and End the ends.
        function test_keys_data() {
            return [{ tag: "dial", type: dial }, { tag: "slider", type: slider }]
        }
        function test_keys(row) {
            const item = createTemporaryObject(row.type, root, { valueMin: 0, valueMax: 100, valueStepWidth: 1, value: 50 })
            const moved = spyOn(item, "moved")
            item.forceActiveFocus()
            verify(item.activeFocus)
            const steps = [[Qt.Key_Right, 51], [Qt.Key_Up, 52], [Qt.Key_Left, 51], [Qt.Key_Down, 50],
                           [Qt.Key_PageUp, 60], [Qt.Key_PageDown, 50], [Qt.Key_End, 100], [Qt.Key_End, 100],
                           [Qt.Key_Home, 0]]
            for (const [key, expected] of steps) {
                keyClick(key)
                compare(item.value, expected, "key " + key)
            }
            compare(moved.count, steps.length - 1) // the second End changes nothing
            item.value = 30
            compare(moved.count, steps.length - 1) // a value set by the program is no move
        }

        // A press goes to the widget's own handler: on the upper part of the vertical
        // slider's track it moves the value up; on the dial's scale above the knob it jumps
        // to the middle of the scale.
        function test_mouse_data() {
            return [{ tag: "slider", type: slider, x: 0.5, y: 0.2, lo: 60, hi: 100 },
                    { tag: "dial", type: dial, x: 0.5, y: 0.12, lo: 40, hi: 60 }]
        }
        function test_mouse(row) {
            const item = createTemporaryObject(row.type, root, { valueMin: 0, valueMax: 100, value: 10 })
            const pressedChanges = spyOn(item, "pressedChanged"), moved = spyOn(item, "moved")
            waitForRendering(item)
            mousePress(item, item.width * row.x, item.height * row.y)
            verify(item.pressed)
            mouseRelease(item, item.width * row.x, item.height * row.y)
            verify(!item.pressed)
            compare(pressedChanges.count, 2)
            compare(moved.count, 1)
            verify(item.value > row.lo && item.value < row.hi, item.value)
        }
    }
}
