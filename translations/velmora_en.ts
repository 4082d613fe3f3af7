<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>QObject</name>
    <message>
        <source>Place %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Delete %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Paste %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>Paste %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
</context>
<context>
    <name>QVNet</name>
    <message>
        <source>the port must be a number from %1 to 65535</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVAudioSource</name>
    <message>
        <source>No audio input device is present</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; is not present</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; does not support %2 Hz with %3 channels</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; could not be opened</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; failed: the device was removed or the sound server stopped</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; was removed</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVBarGraphInt</name>
    <message>
        <source>Bar graph</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVBlockSource</name>
    <message>
        <source>Not enough memory for %1 channels of %2 samples</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVCustomControl</name>
    <message>
        <source>Unknown error</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVDemoPanel</name>
    <message>
        <source>Velmora demo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Filtered signal, triggered on the rising zero crossing</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Spectrum of the filtered signal (Hanning window)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Alarm: RMS above %1 V</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RMS after the low-pass</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Reading</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Generator frequency</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Waterfall of the filtered signal, newest block on top</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Noise amplitude, V</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Low-pass cutoff, Hz</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVDesignerPlugin</name>
    <message>
        <source>Bound to a measure source through its MeasureSource property, it shows the first value of channel 0 of every block.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bar graph</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Shows a value as a bar along a scale, coloured by a table of up to 16 colour ranges.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bar graph bound to a source</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A bar graph that follows a measure source.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>LED</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A lamp (round, rectangular or an arrow), on or off, optionally flashing; it can compare a value with a limit or a range.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>LED bound to a source</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>An LED that compares the values of a measure source with its limit or range.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Analog meter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Shows a value with a needle or wedge on a circular scale with coloured range bands.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Analog meter bound to a source</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>An analog meter that follows a measure source.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Digital panel meter</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Shows a value in seven-segment or font digits with an SI prefix and a unit.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Digital panel meter bound to a source</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A digital panel meter that follows a measure source.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rotary dial</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>An input control: a knob on a circular scale between ScaleAngle1 and ScaleAngle2 that sets a value.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Slider</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>An input control: the user drags the button along a scale to set a value, in steps of ValueStepWidth.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVDial</name>
    <message>
        <source>Dial</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVFilePlayer</name>
    <message>
        <source>Cannot read &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: the fmt chunk is too short (%2 bytes)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: unsupported sample format (format tag 0x%2, %3 bits per sample)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: %2 channels; 1 to %3 are supported</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: invalid sample rate %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: block alignment %2 does not match %3 channels of %4 bits</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a RIFF WAVE file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; has no data chunk</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; has no fmt chunk</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is truncated: an incomplete chunk header at offset %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is truncated: the data chunk declares %2 bytes but holds %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is truncated: the &apos;%2&apos; chunk at offset %3 ends after the end of the file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: the data chunk of %2 bytes does not hold whole frames of %3 bytes</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; holds no samples</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; line %2: %3 columns where %4 are expected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; line %2: &apos;%3&apos; is not a valid number</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: a time column needs at least two rows</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; line %2: the time column is not equidistant</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot;: the time step is too small to give a sample rate</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot open &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is too large to load</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVMeterInt</name>
    <message>
        <source>Meter</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVNetSink</name>
    <message>
        <source>Cannot publish on &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVNetSource</name>
    <message>
        <source>Rejected a truncated stream message</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a message that is not part of a Velmora stream</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a stream message of another format version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a stream message of unknown kind</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a stream message whose size does not match its contents</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a block with more than 65 channels</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a block with a channel of more than 2^24 samples</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rejected a stream message with a field out of range</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot subscribe to &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVPanelMeterInt</name>
    <message>
        <source>Panel meter</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVPlot</name>
    <message>
        <source>Ch %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Plot</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Peak</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 max</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The traces could not be written to %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no file name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Max</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Min</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>p-p</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Mean</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RMS</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Fail</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Pass</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVRecorder</name>
    <message>
        <source>Cannot record &quot;%1&quot;: the source delivers no stream of equidistant samples</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot create &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot write &quot;%1&quot;: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recording &quot;%1&quot; stopped: the stream changed its channel count or sample rate</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Recording &quot;%1&quot; stopped: a WAV file holds at most 4 GiB</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot write &quot;%1&quot;: %2; the file keeps the %3 frames before</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>no file name</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVSlider</name>
    <message>
        <source>Slider</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVThreadBridge</name>
    <message>
        <source>Thread bridge: cannot allocate %1 blocks of %2 x %3 samples</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVWaterfall</name>
    <message>
        <source>Waterfall</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVWorkbench</name>
    <message>
        <source>Non-visual components</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Value</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Running</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Design</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;New</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Open...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Save</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save &amp;As...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Run</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>S&amp;top</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Delete</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>F&amp;orm</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Form</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1: click to place it on the form, or drag it there</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Velmora workbench</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>untitled</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1[*] - Velmora workbench</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No component selected</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>(none)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Colour of %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Entries separated by ;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The form has unsaved changes. Save them?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open form</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Velmora forms (*.vform);;All files (*)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save form</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Generator output</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open &amp;Recent</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 no longer exists; it was removed from the recent files.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;%1 %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Clear list</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>%1 and %n more</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message>
        <source>Cu&amp;t</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Paste</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>D&amp;uplicate</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Select &amp;All</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Arrange</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Align</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Left Edges</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Horizontal &amp;Centers</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Right Edges</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Top Edges</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Vertical Centers</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Bottom Edges</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Make Same &amp;Size</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Width</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Height</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Both</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Space Evenly</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Across</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Down</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Bring to &amp;Front</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send to &amp;Back</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TQVWorkbenchModel</name>
    <message>
        <source>Stop the form before adding components.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Class %1 is not registered.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 could not be created: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 could not be created on the form.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The component is not on the form.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop the form before deleting components.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is no component named %1 on the form.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A component or its name is expected.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is not a %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is read-only.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is not a value of %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a valid %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>the value was not accepted.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property %1 does not exist in %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a valid component name: use letters, digits and _, not starting with a digit.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A component named %1 already exists.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1: the size must lie between 8 and 10000 pixels.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The form could not be written: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot write %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot open %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The form</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 could not be read: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The form could not start: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The form could not stop cleanly: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A block could not be delivered: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The component could not be restored: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop the form before pasting components.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The text could not be pasted: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The text holds no component to paste.</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>Delete %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Move %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message>
        <source>Spacing takes at least three components of the form.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Aligning and sizing take at least two components of the form.</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>Resize %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Space %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Align %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message>
        <source>Bring %1 to front</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Send %1 to back</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>Bring %n components to front</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Send %n components to back</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
    <message>
        <source>A name belongs to one component only.</source>
        <translation type="unfinished"></translation>
    </message>
    <message numerus="yes">
        <source>%1 of %n components</source>
        <translation type="unfinished">
            <numerusform></numerusform>
            <numerusform></numerusform>
        </translation>
    </message>
</context>
<context>
    <name>Velmora</name>
    <message>
        <source>None</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>None</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Yocto</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>y</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Quadrillionstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zepto</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>z</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Trilliardstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Atto</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>a</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Trillionstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Femto</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>f</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Billiardstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Pico</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>p</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Billionstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nano</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>n</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Milliardstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Micro</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>µ</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Millionstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Milli</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>m</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Tausendstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Centi</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>c</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hundertstel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Deci</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>d</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zehntel</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Deca</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>da</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zehn</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hecto</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>h</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hundert</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Kilo</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>k</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Tausend Tsd.</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Mega</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>M</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Million Mio.</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Giga</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>G</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Milliarde Mrd. 1)</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Tera</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>T</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Billion Bio. 1)</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Peta</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>P</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Billiarde</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Exa</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>E</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Trillion</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zetta</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Z</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Trilliarde</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Yotta</source>
        <comment>SI prefix name</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Y</source>
        <comment>SI prefix symbol</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Quadrillion</source>
        <comment>SI number word</comment>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component can process only individual values from channel 0!</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component can process only values from channel 0!</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component can process only values from the channels 0 and 1!</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component needs continuous operation.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>List index out of bounds (%1)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>SelectorSingle: Component needs continuous operation.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>SelectorDual: Component needs continuous operation and at least two input channels.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>SelectorMatrix: Component needs continuous operation.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Selector line %1 (&quot;%2&quot;): &apos;%3&apos; is not a valid integer value</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Trigger: Component needs continuous operation.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component needs continuous operation, a channel and no individual values.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component needs continuous operation, two channels and no individual values.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Filter: Component needs continuous operation and one channel.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FIRFilter: The number of coefficients must amount to between 1 and 512</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FIRFilter line %1 (&quot;%2&quot;) is not a valid floating point value</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Form line %1, column %2: %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 expected but %2 found</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Class %1 not found</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property %1 does not exist in %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property %1 of %2 not accepted: %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property %1 of %2 refers to the unknown component %3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A component named %1 already exists</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Nesting deeper than %1 levels</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Integer %1 out of range</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Floating point value %1 out of range</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Invalid character %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Invalid escape sequence in string</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Unterminated string</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Invalid UTF-8 data</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component %1 could not finish loading: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Class %1 cannot be placed on %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Class %1 is not registered</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component name &quot;%1&quot; is not a valid identifier</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property %1 of %2 refers to a component without a name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>end of input</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Integer</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Floating point value</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>String</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Identifier</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Boolean</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Value</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Property, &apos;object&apos; or &apos;end&apos;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Component of class %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Key of %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>invalid value</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
