<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>QObject</name>
    <message>
        <source>Place %1</source>
        <translation>%1 platzieren</translation>
    </message>
    <message>
        <source>Delete %1</source>
        <translation>%1 löschen</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation>%1 von %2</translation>
    </message>
    <message>
        <source>Paste %1</source>
        <translation>%1 einfügen</translation>
    </message>
    <message numerus="yes">
        <source>Paste %n components</source>
        <translation>
            <numerusform>%n Komponente einfügen</numerusform>
            <numerusform>%n Komponenten einfügen</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>QVNet</name>
    <message>
        <source>the port must be a number from %1 to 65535</source>
        <translation>der Port muss eine Zahl von %1 bis 65535 sein</translation>
    </message>
</context>
<context>
    <name>TQVAudioSource</name>
    <message>
        <source>No audio input device is present</source>
        <translation>Es ist kein Audioeingang vorhanden</translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; is not present</source>
        <translation>Der Audioeingang &quot;%1&quot; ist nicht vorhanden</translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; does not support %2 Hz with %3 channels</source>
        <translation>Der Audioeingang &quot;%1&quot; unterstützt %2 Hz mit %3 Kanälen nicht</translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; could not be opened</source>
        <translation>Der Audioeingang &quot;%1&quot; konnte nicht geöffnet werden</translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; failed: the device was removed or the sound server stopped</source>
        <translation>Der Audioeingang &quot;%1&quot; ist ausgefallen: das Gerät wurde entfernt oder der Soundserver wurde beendet</translation>
    </message>
    <message>
        <source>The audio input &quot;%1&quot; was removed</source>
        <translation>Der Audioeingang &quot;%1&quot; wurde entfernt</translation>
    </message>
</context>
<context>
    <name>TQVBarGraphInt</name>
    <message>
        <source>Bar graph</source>
        <translation>Balkenanzeige</translation>
    </message>
</context>
<context>
    <name>TQVBlockSource</name>
    <message>
        <source>Not enough memory for %1 channels of %2 samples</source>
        <translation>Nicht genug Speicher für %1 Kanäle mit je %2 Abtastwerten</translation>
    </message>
</context>
<context>
    <name>TQVCustomControl</name>
    <message>
        <source>Unknown error</source>
        <translation>Unbekannter Fehler</translation>
    </message>
</context>
<context>
    <name>TQVDemoPanel</name>
    <message>
        <source>Velmora demo</source>
        <translation>Velmora-Demo</translation>
    </message>
    <message>
        <source>Filtered signal, triggered on the rising zero crossing</source>
        <translation>Gefiltertes Signal, getriggert auf den steigenden Nulldurchgang</translation>
    </message>
    <message>
        <source>Spectrum of the filtered signal (Hanning window)</source>
        <translation>Spektrum des gefilterten Signals (Hanning-Fenster)</translation>
    </message>
    <message>
        <source>Alarm: RMS above %1 V</source>
        <translation>Alarm: Effektivwert über %1 V</translation>
    </message>
    <message>
        <source>RMS after the low-pass</source>
        <translation>Effektivwert nach dem Tiefpass</translation>
    </message>
    <message>
        <source>Reading</source>
        <translation>Messwert</translation>
    </message>
    <message>
        <source>Generator frequency</source>
        <translation>Generatorfrequenz</translation>
    </message>
    <message>
        <source>Waterfall of the filtered signal, newest block on top</source>
        <translation>Wasserfall des gefilterten Signals, neuester Block oben</translation>
    </message>
    <message>
        <source>Low-pass cutoff, Hz</source>
        <translation>Tiefpass-Grenzfrequenz, Hz</translation>
    </message>
    <message>
        <source>Noise amplitude, V</source>
        <translation>Rauschamplitude, V</translation>
    </message>
</context>
<context>
    <name>TQVDesignerPlugin</name>
    <message>
        <source>Bar graph</source>
        <translation>Balkenanzeige</translation>
    </message>
    <message>
        <source>Shows a value as a bar along a scale, coloured by a table of up to 16 colour ranges.</source>
        <translation>Zeigt einen Wert als Balken entlang einer Skala, eingefärbt nach einer Tabelle mit bis zu 16 Farbbereichen.</translation>
    </message>
    <message>
        <source>Bar graph bound to a source</source>
        <translation>Balkenanzeige an einer Messquelle</translation>
    </message>
    <message>
        <source>LED</source>
        <translation>LED</translation>
    </message>
    <message>
        <source>A lamp (round, rectangular or an arrow), on or off, optionally flashing; it can compare a value with a limit or a range.</source>
        <translation>Eine Leuchte (rund, rechteckig oder als Pfeil), ein oder aus, wahlweise blinkend; sie kann einen Wert mit einem Grenzwert oder einem Bereich vergleichen.</translation>
    </message>
    <message>
        <source>LED bound to a source</source>
        <translation>LED an einer Messquelle</translation>
    </message>
    <message>
        <source>Analog meter</source>
        <translation>Zeigerinstrument</translation>
    </message>
    <message>
        <source>Shows a value with a needle or wedge on a circular scale with coloured range bands.</source>
        <translation>Zeigt einen Wert mit Zeiger oder Keil auf einer Kreisskala mit farbigen Bereichsbändern.</translation>
    </message>
    <message>
        <source>Analog meter bound to a source</source>
        <translation>Zeigerinstrument an einer Messquelle</translation>
    </message>
    <message>
        <source>Digital panel meter</source>
        <translation>Digitalanzeige</translation>
    </message>
    <message>
        <source>Shows a value in seven-segment or font digits with an SI prefix and a unit.</source>
        <translation>Zeigt einen Wert in Siebensegment- oder Schriftziffern mit SI-Vorsatz und Einheit.</translation>
    </message>
    <message>
        <source>Digital panel meter bound to a source</source>
        <translation>Digitalanzeige an einer Messquelle</translation>
    </message>
    <message>
        <source>Rotary dial</source>
        <translation>Drehknopf</translation>
    </message>
    <message>
        <source>An input control: a knob on a circular scale between ScaleAngle1 and ScaleAngle2 that sets a value.</source>
        <translation>Ein Eingabeelement: ein Drehknopf auf einer Kreisskala zwischen ScaleAngle1 und ScaleAngle2, der einen Wert einstellt.</translation>
    </message>
    <message>
        <source>Slider</source>
        <translation>Schieberegler</translation>
    </message>
    <message>
        <source>An input control: the user drags the button along a scale to set a value, in steps of ValueStepWidth.</source>
        <translation>Ein Eingabeelement: Der Benutzer zieht den Schieber entlang einer Skala und stellt so einen Wert in Schritten von ValueStepWidth ein.</translation>
    </message>
    <message>
        <source>A bar graph that follows a measure source.</source>
        <translation>Eine Balkenanzeige, die einer Messquelle folgt.</translation>
    </message>
    <message>
        <source>An LED that compares the values of a measure source with its limit or range.</source>
        <translation>Eine LED, die die Werte einer Messquelle mit ihrem Grenzwert oder Bereich vergleicht.</translation>
    </message>
    <message>
        <source>An analog meter that follows a measure source.</source>
        <translation>Ein Zeigerinstrument, das einer Messquelle folgt.</translation>
    </message>
    <message>
        <source>A digital panel meter that follows a measure source.</source>
        <translation>Eine Digitalanzeige, die einer Messquelle folgt.</translation>
    </message>
    <message>
        <source>Bound to a measure source through its MeasureSource property, it shows the first value of channel 0 of every block.</source>
        <translation>An eine Messquelle über ihre Eigenschaft MeasureSource gebunden, zeigt es den ersten Wert von Kanal 0 jedes Blocks.</translation>
    </message>
</context>
<context>
    <name>TQVDial</name>
    <message>
        <source>Dial</source>
        <translation>Drehknopf</translation>
    </message>
</context>
<context>
    <name>TQVFilePlayer</name>
    <message>
        <source>Cannot read &quot;%1&quot;: %2</source>
        <translation>&quot;%1&quot; kann nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: the fmt chunk is too short (%2 bytes)</source>
        <translation>&quot;%1&quot;: Der fmt-Chunk ist zu kurz (%2 Byte)</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: unsupported sample format (format tag 0x%2, %3 bits per sample)</source>
        <translation>&quot;%1&quot;: Nicht unterstütztes Sampleformat (Format-Tag 0x%2, %3 Bit pro Abtastwert)</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: %2 channels; 1 to %3 are supported</source>
        <translation>&quot;%1&quot;: %2 Kanäle; unterstützt werden 1 bis %3</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: invalid sample rate %2</source>
        <translation>&quot;%1&quot;: Ungültige Abtastrate %2</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: block alignment %2 does not match %3 channels of %4 bits</source>
        <translation>&quot;%1&quot;: Die Blockausrichtung %2 passt nicht zu %3 Kanälen mit %4 Bit</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a RIFF WAVE file</source>
        <translation>&quot;%1&quot; ist keine RIFF-WAVE-Datei</translation>
    </message>
    <message>
        <source>&quot;%1&quot; has no data chunk</source>
        <translation>&quot;%1&quot; hat keinen data-Chunk</translation>
    </message>
    <message>
        <source>&quot;%1&quot; has no fmt chunk</source>
        <translation>&quot;%1&quot; hat keinen fmt-Chunk</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is truncated: an incomplete chunk header at offset %2</source>
        <translation>&quot;%1&quot; ist abgeschnitten: unvollständiger Chunk-Header bei Offset %2</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is truncated: the data chunk declares %2 bytes but holds %3</source>
        <translation>&quot;%1&quot; ist abgeschnitten: Der data-Chunk gibt %2 Byte an, enthält aber %3</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is truncated: the &apos;%2&apos; chunk at offset %3 ends after the end of the file</source>
        <translation>&quot;%1&quot; ist abgeschnitten: Der Chunk &apos;%2&apos; bei Offset %3 endet hinter dem Dateiende</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: the data chunk of %2 bytes does not hold whole frames of %3 bytes</source>
        <translation>&quot;%1&quot;: Der data-Chunk mit %2 Byte enthält keine ganzen Frames zu %3 Byte</translation>
    </message>
    <message>
        <source>&quot;%1&quot; holds no samples</source>
        <translation>&quot;%1&quot; enthält keine Abtastwerte</translation>
    </message>
    <message>
        <source>&quot;%1&quot; line %2: %3 columns where %4 are expected</source>
        <translation>&quot;%1&quot; Zeile %2: %3 Spalten, erwartet werden %4</translation>
    </message>
    <message>
        <source>&quot;%1&quot; line %2: &apos;%3&apos; is not a valid number</source>
        <translation>&quot;%1&quot; Zeile %2: &apos;%3&apos; ist keine gültige Zahl</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: a time column needs at least two rows</source>
        <translation>&quot;%1&quot;: Eine Zeitspalte braucht mindestens zwei Zeilen</translation>
    </message>
    <message>
        <source>&quot;%1&quot; line %2: the time column is not equidistant</source>
        <translation>&quot;%1&quot; Zeile %2: Die Zeitspalte ist nicht äquidistant</translation>
    </message>
    <message>
        <source>&quot;%1&quot;: the time step is too small to give a sample rate</source>
        <translation>&quot;%1&quot;: Der Zeitschritt ist zu klein, um eine Abtastrate zu ergeben</translation>
    </message>
    <message>
        <source>Cannot open &quot;%1&quot;: %2</source>
        <translation>&quot;%1&quot; kann nicht geöffnet werden: %2</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is too large to load</source>
        <translation>&quot;%1&quot; ist zu groß zum Laden</translation>
    </message>
</context>
<context>
    <name>TQVMeterInt</name>
    <message>
        <source>Meter</source>
        <translation>Zeigerinstrument</translation>
    </message>
</context>
<context>
    <name>TQVNetSink</name>
    <message>
        <source>Cannot publish on &quot;%1&quot;: %2</source>
        <translation>Veröffentlichen auf &quot;%1&quot; nicht möglich: %2</translation>
    </message>
</context>
<context>
    <name>TQVNetSource</name>
    <message>
        <source>Rejected a truncated stream message</source>
        <translation>Unvollständige Stream-Nachricht verworfen</translation>
    </message>
    <message>
        <source>Rejected a message that is not part of a Velmora stream</source>
        <translation>Nachricht verworfen, die nicht zu einem Velmora-Stream gehört</translation>
    </message>
    <message>
        <source>Rejected a stream message of another format version</source>
        <translation>Stream-Nachricht einer anderen Formatversion verworfen</translation>
    </message>
    <message>
        <source>Rejected a stream message of unknown kind</source>
        <translation>Stream-Nachricht unbekannter Art verworfen</translation>
    </message>
    <message>
        <source>Rejected a stream message whose size does not match its contents</source>
        <translation>Stream-Nachricht verworfen, deren Größe nicht zu ihrem Inhalt passt</translation>
    </message>
    <message>
        <source>Rejected a block with more than 65 channels</source>
        <translation>Block mit mehr als 65 Kanälen verworfen</translation>
    </message>
    <message>
        <source>Rejected a block with a channel of more than 2^24 samples</source>
        <translation>Block mit einem Kanal von mehr als 2^24 Abtastwerten verworfen</translation>
    </message>
    <message>
        <source>Rejected a stream message with a field out of range</source>
        <translation>Stream-Nachricht mit einem Feld außerhalb des Wertebereichs verworfen</translation>
    </message>
    <message>
        <source>Cannot subscribe to &quot;%1&quot;: %2</source>
        <translation>Abonnieren von &quot;%1&quot; nicht möglich: %2</translation>
    </message>
</context>
<context>
    <name>TQVPanelMeterInt</name>
    <message>
        <source>Panel meter</source>
        <translation>Digitalanzeige</translation>
    </message>
</context>
<context>
    <name>TQVPlot</name>
    <message>
        <source>Ch %1</source>
        <translation>Kan. %1</translation>
    </message>
    <message>
        <source>Plot</source>
        <translation>Diagramm</translation>
    </message>
    <message>
        <source>Peak</source>
        <translation>Spitze</translation>
    </message>
    <message>
        <source>%1 max</source>
        <translation>%1 max</translation>
    </message>
    <message>
        <source>%1 min</source>
        <translation>%1 min</translation>
    </message>
    <message>
        <source>The traces could not be written to %1: %2</source>
        <translation>Die Kurven konnten nicht nach %1 geschrieben werden: %2</translation>
    </message>
    <message>
        <source>no file name</source>
        <translation>kein Dateiname</translation>
    </message>
    <message>
        <source>Max</source>
        <translation>Max</translation>
    </message>
    <message>
        <source>Min</source>
        <translation>Min</translation>
    </message>
    <message>
        <source>p-p</source>
        <translation>s-s</translation>
    </message>
    <message>
        <source>Mean</source>
        <translation>Mittel</translation>
    </message>
    <message>
        <source>RMS</source>
        <translation>Effektiv</translation>
    </message>
    <message>
        <source>Fail</source>
        <translation>n. i. O.</translation>
    </message>
    <message>
        <source>Pass</source>
        <translation>i. O.</translation>
    </message>
</context>
<context>
    <name>TQVRecorder</name>
    <message>
        <source>Cannot record &quot;%1&quot;: the source delivers no stream of equidistant samples</source>
        <translation>&quot;%1&quot; kann nicht aufgezeichnet werden: die Quelle liefert keinen Strom äquidistanter Abtastwerte</translation>
    </message>
    <message>
        <source>Cannot create &quot;%1&quot;: %2</source>
        <translation>&quot;%1&quot; kann nicht angelegt werden: %2</translation>
    </message>
    <message>
        <source>Cannot write &quot;%1&quot;: %2</source>
        <translation>&quot;%1&quot; kann nicht geschrieben werden: %2</translation>
    </message>
    <message>
        <source>Recording &quot;%1&quot; stopped: the stream changed its channel count or sample rate</source>
        <translation>Aufzeichnung von &quot;%1&quot; beendet: der Strom hat seine Kanalzahl oder Abtastrate geändert</translation>
    </message>
    <message>
        <source>Recording &quot;%1&quot; stopped: a WAV file holds at most 4 GiB</source>
        <translation>Aufzeichnung von &quot;%1&quot; beendet: eine WAV-Datei fasst höchstens 4 GiB</translation>
    </message>
    <message>
        <source>Cannot write &quot;%1&quot;: %2; the file keeps the %3 frames before</source>
        <translation>&quot;%1&quot; kann nicht geschrieben werden: %2; die Datei behält die %3 Frames davor</translation>
    </message>
    <message>
        <source>no file name</source>
        <translation>kein Dateiname</translation>
    </message>
</context>
<context>
    <name>TQVSlider</name>
    <message>
        <source>Slider</source>
        <translation>Schieberegler</translation>
    </message>
</context>
<context>
    <name>TQVThreadBridge</name>
    <message>
        <source>Thread bridge: cannot allocate %1 blocks of %2 x %3 samples</source>
        <translation>Thread-Brücke: %1 Blöcke zu %2 x %3 Abtastwerten können nicht angelegt werden</translation>
    </message>
</context>
<context>
    <name>TQVWaterfall</name>
    <message>
        <source>Waterfall</source>
        <translation>Wasserfall</translation>
    </message>
</context>
<context>
    <name>TQVWorkbench</name>
    <message>
        <source>Non-visual components</source>
        <translation>Nicht sichtbare Komponenten</translation>
    </message>
    <message>
        <source>Property</source>
        <translation>Eigenschaft</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Wert</translation>
    </message>
    <message>
        <source>Running</source>
        <translation>Läuft</translation>
    </message>
    <message>
        <source>Design</source>
        <translation>Entwurf</translation>
    </message>
    <message>
        <source>&amp;New</source>
        <translation>&amp;Neu</translation>
    </message>
    <message>
        <source>&amp;Open...</source>
        <translation>Ö&amp;ffnen...</translation>
    </message>
    <message>
        <source>&amp;Save</source>
        <translation>&amp;Speichern</translation>
    </message>
    <message>
        <source>Save &amp;As...</source>
        <translation>Speichern &amp;unter...</translation>
    </message>
    <message>
        <source>&amp;Run</source>
        <translation>&amp;Ausführen</translation>
    </message>
    <message>
        <source>S&amp;top</source>
        <translation>&amp;Stoppen</translation>
    </message>
    <message>
        <source>&amp;Delete</source>
        <translation>&amp;Löschen</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>F&amp;orm</source>
        <translation>&amp;Formular</translation>
    </message>
    <message>
        <source>Form</source>
        <translation>Formular</translation>
    </message>
    <message>
        <source>%1: click to place it on the form, or drag it there</source>
        <translation>%1: anklicken, um die Komponente auf das Formular zu setzen, oder dorthin ziehen</translation>
    </message>
    <message>
        <source>Velmora workbench</source>
        <translation>Velmora-Werkbank</translation>
    </message>
    <message>
        <source>untitled</source>
        <translation>unbenannt</translation>
    </message>
    <message>
        <source>%1[*] - Velmora workbench</source>
        <translation>%1[*] - Velmora-Werkbank</translation>
    </message>
    <message>
        <source>No component selected</source>
        <translation>Keine Komponente ausgewählt</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>(none)</source>
        <translation>(keine)</translation>
    </message>
    <message>
        <source>Colour of %1</source>
        <translation>Farbe von %1</translation>
    </message>
    <message>
        <source>Entries separated by ;</source>
        <translation>Einträge durch ; getrennt</translation>
    </message>
    <message>
        <source>The form has unsaved changes. Save them?</source>
        <translation>Das Formular enthält nicht gespeicherte Änderungen. Sollen sie gespeichert werden?</translation>
    </message>
    <message>
        <source>Open form</source>
        <translation>Formular öffnen</translation>
    </message>
    <message>
        <source>Velmora forms (*.vform);;All files (*)</source>
        <translation>Velmora-Formulare (*.vform);;Alle Dateien (*)</translation>
    </message>
    <message>
        <source>Save form</source>
        <translation>Formular speichern</translation>
    </message>
    <message>
        <source>Generator output</source>
        <translation>Generatorausgang</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>&amp;Rückgängig</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Wiederholen</translation>
    </message>
    <message>
        <source>Open &amp;Recent</source>
        <translation>&amp;Zuletzt geöffnet</translation>
    </message>
    <message>
        <source>%1 no longer exists; it was removed from the recent files.</source>
        <translation>%1 existiert nicht mehr und wurde aus der Liste der zuletzt geöffneten Dateien entfernt.</translation>
    </message>
    <message>
        <source>&amp;%1 %2</source>
        <translation>&amp;%1 %2</translation>
    </message>
    <message>
        <source>&amp;Clear list</source>
        <translation>Liste &amp;leeren</translation>
    </message>
    <message numerus="yes">
        <source>%1 and %n more</source>
        <translation>
            <numerusform>%1 und %n weitere</numerusform>
            <numerusform>%1 und %n weitere</numerusform>
        </translation>
    </message>
    <message>
        <source>Cu&amp;t</source>
        <translation>&amp;Ausschneiden</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Kopieren</translation>
    </message>
    <message>
        <source>&amp;Paste</source>
        <translation>&amp;Einfügen</translation>
    </message>
    <message>
        <source>D&amp;uplicate</source>
        <translation>D&amp;uplizieren</translation>
    </message>
    <message>
        <source>Select &amp;All</source>
        <translation>Alles aus&amp;wählen</translation>
    </message>
    <message>
        <source>&amp;Arrange</source>
        <translation>&amp;Anordnen</translation>
    </message>
    <message>
        <source>&amp;Align</source>
        <translation>&amp;Ausrichten</translation>
    </message>
    <message>
        <source>&amp;Left Edges</source>
        <translation>&amp;Linke Kanten</translation>
    </message>
    <message>
        <source>Horizontal &amp;Centers</source>
        <translation>Horizontale &amp;Mitten</translation>
    </message>
    <message>
        <source>&amp;Right Edges</source>
        <translation>&amp;Rechte Kanten</translation>
    </message>
    <message>
        <source>&amp;Top Edges</source>
        <translation>&amp;Obere Kanten</translation>
    </message>
    <message>
        <source>&amp;Vertical Centers</source>
        <translation>&amp;Vertikale Mitten</translation>
    </message>
    <message>
        <source>&amp;Bottom Edges</source>
        <translation>&amp;Untere Kanten</translation>
    </message>
    <message>
        <source>Make Same &amp;Size</source>
        <translation>Gleiche &amp;Größe</translation>
    </message>
    <message>
        <source>&amp;Width</source>
        <translation>&amp;Breite</translation>
    </message>
    <message>
        <source>&amp;Height</source>
        <translation>&amp;Höhe</translation>
    </message>
    <message>
        <source>&amp;Both</source>
        <translation>B&amp;eides</translation>
    </message>
    <message>
        <source>&amp;Space Evenly</source>
        <translation>Gleichmäßig ver&amp;teilen</translation>
    </message>
    <message>
        <source>&amp;Across</source>
        <translation>&amp;Waagerecht</translation>
    </message>
    <message>
        <source>&amp;Down</source>
        <translation>&amp;Senkrecht</translation>
    </message>
    <message>
        <source>Bring to &amp;Front</source>
        <translation>In den &amp;Vordergrund</translation>
    </message>
    <message>
        <source>Send to &amp;Back</source>
        <translation>In den &amp;Hintergrund</translation>
    </message>
</context>
<context>
    <name>TQVWorkbenchModel</name>
    <message>
        <source>Stop the form before adding components.</source>
        <translation>Stoppen Sie das Formular, bevor Sie Komponenten hinzufügen.</translation>
    </message>
    <message>
        <source>Class %1 is not registered.</source>
        <translation>Die Klasse %1 ist nicht registriert.</translation>
    </message>
    <message>
        <source>%1 could not be created: %2</source>
        <translation>%1 konnte nicht erzeugt werden: %2</translation>
    </message>
    <message>
        <source>%1 could not be created on the form.</source>
        <translation>%1 konnte nicht auf dem Formular erzeugt werden.</translation>
    </message>
    <message>
        <source>The component is not on the form.</source>
        <translation>Die Komponente befindet sich nicht auf dem Formular.</translation>
    </message>
    <message>
        <source>Stop the form before deleting components.</source>
        <translation>Stoppen Sie das Formular, bevor Sie Komponenten löschen.</translation>
    </message>
    <message>
        <source>There is no component named %1 on the form.</source>
        <translation>Auf dem Formular gibt es keine Komponente namens %1.</translation>
    </message>
    <message>
        <source>A component or its name is expected.</source>
        <translation>Eine Komponente oder ihr Name wird erwartet.</translation>
    </message>
    <message>
        <source>%1 is not a %2.</source>
        <translation>%1 ist kein %2.</translation>
    </message>
    <message>
        <source>%1 is read-only.</source>
        <translation>%1 ist schreibgeschützt.</translation>
    </message>
    <message>
        <source>%1 is not a value of %2.</source>
        <translation>%1 ist kein Wert von %2.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a valid %2.</source>
        <translation>&quot;%1&quot; ist kein gültiger Wert vom Typ %2.</translation>
    </message>
    <message>
        <source>the value was not accepted.</source>
        <translation>der Wert wurde nicht angenommen.</translation>
    </message>
    <message>
        <source>Property %1 does not exist in %2.</source>
        <translation>Die Eigenschaft %1 gibt es in %2 nicht.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a valid component name: use letters, digits and _, not starting with a digit.</source>
        <translation>&quot;%1&quot; ist kein gültiger Komponentenname: Buchstaben, Ziffern und _ verwenden, nicht mit einer Ziffer beginnen.</translation>
    </message>
    <message>
        <source>A component named %1 already exists.</source>
        <translation>Eine Komponente namens %1 existiert bereits.</translation>
    </message>
    <message>
        <source>%1: the size must lie between 8 and 10000 pixels.</source>
        <translation>%1: Die Größe muss zwischen 8 und 10000 Pixeln liegen.</translation>
    </message>
    <message>
        <source>The form could not be written: %1</source>
        <translation>Das Formular konnte nicht geschrieben werden: %1</translation>
    </message>
    <message>
        <source>Cannot write %1: %2</source>
        <translation>%1 kann nicht geschrieben werden: %2</translation>
    </message>
    <message>
        <source>Cannot open %1: %2</source>
        <translation>%1 kann nicht geöffnet werden: %2</translation>
    </message>
    <message>
        <source>The form</source>
        <translation>Das Formular</translation>
    </message>
    <message>
        <source>%1 could not be read: %2</source>
        <translation>%1 konnte nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>The form could not start: %1</source>
        <translation>Das Formular konnte nicht gestartet werden: %1</translation>
    </message>
    <message>
        <source>The form could not stop cleanly: %1</source>
        <translation>Das Formular konnte nicht sauber gestoppt werden: %1</translation>
    </message>
    <message>
        <source>A block could not be delivered: %1</source>
        <translation>Ein Block konnte nicht übergeben werden: %1</translation>
    </message>
    <message>
        <source>The component could not be restored: %1</source>
        <translation>Die Komponente konnte nicht wiederhergestellt werden: %1</translation>
    </message>
    <message>
        <source>Stop the form before pasting components.</source>
        <translation>Stoppen Sie das Formular, bevor Sie Komponenten einfügen.</translation>
    </message>
    <message>
        <source>The text could not be pasted: %1</source>
        <translation>Der Text konnte nicht eingefügt werden: %1</translation>
    </message>
    <message>
        <source>The text holds no component to paste.</source>
        <translation>Der Text enthält keine Komponente zum Einfügen.</translation>
    </message>
    <message numerus="yes">
        <source>Delete %n components</source>
        <translation>
            <numerusform>%n Komponente löschen</numerusform>
            <numerusform>%n Komponenten löschen</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Move %n components</source>
        <translation>
            <numerusform>%n Komponente verschieben</numerusform>
            <numerusform>%n Komponenten verschieben</numerusform>
        </translation>
    </message>
    <message>
        <source>Spacing takes at least three components of the form.</source>
        <translation>Zum Verteilen braucht es mindestens drei Komponenten des Formulars.</translation>
    </message>
    <message>
        <source>Aligning and sizing take at least two components of the form.</source>
        <translation>Zum Ausrichten und Angleichen der Größe braucht es mindestens zwei Komponenten des Formulars.</translation>
    </message>
    <message numerus="yes">
        <source>Resize %n components</source>
        <translation>
            <numerusform>%n Komponente in der Größe ändern</numerusform>
            <numerusform>%n Komponenten in der Größe ändern</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Space %n components</source>
        <translation>
            <numerusform>%n Komponente verteilen</numerusform>
            <numerusform>%n Komponenten verteilen</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Align %n components</source>
        <translation>
            <numerusform>%n Komponente ausrichten</numerusform>
            <numerusform>%n Komponenten ausrichten</numerusform>
        </translation>
    </message>
    <message>
        <source>Bring %1 to front</source>
        <translation>%1 in den Vordergrund</translation>
    </message>
    <message>
        <source>Send %1 to back</source>
        <translation>%1 in den Hintergrund</translation>
    </message>
    <message numerus="yes">
        <source>Bring %n components to front</source>
        <translation>
            <numerusform>%n Komponente in den Vordergrund</numerusform>
            <numerusform>%n Komponenten in den Vordergrund</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Send %n components to back</source>
        <translation>
            <numerusform>%n Komponente in den Hintergrund</numerusform>
            <numerusform>%n Komponenten in den Hintergrund</numerusform>
        </translation>
    </message>
    <message>
        <source>A name belongs to one component only.</source>
        <translation>Ein Name gehört zu nur einer Komponente.</translation>
    </message>
    <message numerus="yes">
        <source>%1 of %n components</source>
        <translation>
            <numerusform>%1 von %n Komponente</numerusform>
            <numerusform>%1 von %n Komponenten</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>Velmora</name>
    <message>
        <source>None</source>
        <comment>SI prefix name</comment>
        <translation>Ohne</translation>
    </message>
    <message>
        <source>None</source>
        <comment>SI number word</comment>
        <translation>Ohne</translation>
    </message>
    <message>
        <source>Yocto</source>
        <comment>SI prefix name</comment>
        <translation>Yokto</translation>
    </message>
    <message>
        <source>y</source>
        <comment>SI prefix symbol</comment>
        <translation>y</translation>
    </message>
    <message>
        <source>Quadrillionstel</source>
        <comment>SI number word</comment>
        <translation>Quadrillionstel</translation>
    </message>
    <message>
        <source>Zepto</source>
        <comment>SI prefix name</comment>
        <translation>Zepto</translation>
    </message>
    <message>
        <source>z</source>
        <comment>SI prefix symbol</comment>
        <translation>z</translation>
    </message>
    <message>
        <source>Trilliardstel</source>
        <comment>SI number word</comment>
        <translation>Trilliardstel</translation>
    </message>
    <message>
        <source>Atto</source>
        <comment>SI prefix name</comment>
        <translation>Atto</translation>
    </message>
    <message>
        <source>a</source>
        <comment>SI prefix symbol</comment>
        <translation>a</translation>
    </message>
    <message>
        <source>Trillionstel</source>
        <comment>SI number word</comment>
        <translation>Trillionstel</translation>
    </message>
    <message>
        <source>Femto</source>
        <comment>SI prefix name</comment>
        <translation>Femto</translation>
    </message>
    <message>
        <source>f</source>
        <comment>SI prefix symbol</comment>
        <translation>f</translation>
    </message>
    <message>
        <source>Billiardstel</source>
        <comment>SI number word</comment>
        <translation>Billiardstel</translation>
    </message>
    <message>
        <source>Pico</source>
        <comment>SI prefix name</comment>
        <translation>Piko</translation>
    </message>
    <message>
        <source>p</source>
        <comment>SI prefix symbol</comment>
        <translation>p</translation>
    </message>
    <message>
        <source>Billionstel</source>
        <comment>SI number word</comment>
        <translation>Billionstel</translation>
    </message>
    <message>
        <source>Nano</source>
        <comment>SI prefix name</comment>
        <translation>Nano</translation>
    </message>
    <message>
        <source>n</source>
        <comment>SI prefix symbol</comment>
        <translation>n</translation>
    </message>
    <message>
        <source>Milliardstel</source>
        <comment>SI number word</comment>
        <translation>Milliardstel</translation>
    </message>
    <message>
        <source>Micro</source>
        <comment>SI prefix name</comment>
        <translation>Mikro</translation>
    </message>
    <message>
        <source>µ</source>
        <comment>SI prefix symbol</comment>
        <translation>µ</translation>
    </message>
    <message>
        <source>Millionstel</source>
        <comment>SI number word</comment>
        <translation>Millionstel</translation>
    </message>
    <message>
        <source>Milli</source>
        <comment>SI prefix name</comment>
        <translation>Milli</translation>
    </message>
    <message>
        <source>m</source>
        <comment>SI prefix symbol</comment>
        <translation>m</translation>
    </message>
    <message>
        <source>Tausendstel</source>
        <comment>SI number word</comment>
        <translation>Tausendstel</translation>
    </message>
    <message>
        <source>Centi</source>
        <comment>SI prefix name</comment>
        <translation>Zenti</translation>
    </message>
    <message>
        <source>c</source>
        <comment>SI prefix symbol</comment>
        <translation>c</translation>
    </message>
    <message>
        <source>Hundertstel</source>
        <comment>SI number word</comment>
        <translation>Hundertstel</translation>
    </message>
    <message>
        <source>Deci</source>
        <comment>SI prefix name</comment>
        <translation>Dezi</translation>
    </message>
    <message>
        <source>d</source>
        <comment>SI prefix symbol</comment>
        <translation>d</translation>
    </message>
    <message>
        <source>Zehntel</source>
        <comment>SI number word</comment>
        <translation>Zehntel</translation>
    </message>
    <message>
        <source>Deca</source>
        <comment>SI prefix name</comment>
        <translation>Deka</translation>
    </message>
    <message>
        <source>da</source>
        <comment>SI prefix symbol</comment>
        <translation>da</translation>
    </message>
    <message>
        <source>Zehn</source>
        <comment>SI number word</comment>
        <translation>Zehn</translation>
    </message>
    <message>
        <source>Hecto</source>
        <comment>SI prefix name</comment>
        <translation>Hekto</translation>
    </message>
    <message>
        <source>h</source>
        <comment>SI prefix symbol</comment>
        <translation>h</translation>
    </message>
    <message>
        <source>Hundert</source>
        <comment>SI number word</comment>
        <translation>Hundert</translation>
    </message>
    <message>
        <source>Kilo</source>
        <comment>SI prefix name</comment>
        <translation>Kilo</translation>
    </message>
    <message>
        <source>k</source>
        <comment>SI prefix symbol</comment>
        <translation>k</translation>
    </message>
    <message>
        <source>Tausend Tsd.</source>
        <comment>SI number word</comment>
        <translation>Tausend Tsd.</translation>
    </message>
    <message>
        <source>Mega</source>
        <comment>SI prefix name</comment>
        <translation>Mega</translation>
    </message>
    <message>
        <source>M</source>
        <comment>SI prefix symbol</comment>
        <translation>M</translation>
    </message>
    <message>
        <source>Million Mio.</source>
        <comment>SI number word</comment>
        <translation>Million Mio.</translation>
    </message>
    <message>
        <source>Giga</source>
        <comment>SI prefix name</comment>
        <translation>Giga</translation>
    </message>
    <message>
        <source>G</source>
        <comment>SI prefix symbol</comment>
        <translation>G</translation>
    </message>
    <message>
        <source>Milliarde Mrd. 1)</source>
        <comment>SI number word</comment>
        <translation>Milliarde Mrd. 1)</translation>
    </message>
    <message>
        <source>Tera</source>
        <comment>SI prefix name</comment>
        <translation>Tera</translation>
    </message>
    <message>
        <source>T</source>
        <comment>SI prefix symbol</comment>
        <translation>T</translation>
    </message>
    <message>
        <source>Billion Bio. 1)</source>
        <comment>SI number word</comment>
        <translation>Billion Bio. 1)</translation>
    </message>
    <message>
        <source>Peta</source>
        <comment>SI prefix name</comment>
        <translation>Peta</translation>
    </message>
    <message>
        <source>P</source>
        <comment>SI prefix symbol</comment>
        <translation>P</translation>
    </message>
    <message>
        <source>Billiarde</source>
        <comment>SI number word</comment>
        <translation>Billiarde</translation>
    </message>
    <message>
        <source>Exa</source>
        <comment>SI prefix name</comment>
        <translation>Exa</translation>
    </message>
    <message>
        <source>E</source>
        <comment>SI prefix symbol</comment>
        <translation>E</translation>
    </message>
    <message>
        <source>Trillion</source>
        <comment>SI number word</comment>
        <translation>Trillion</translation>
    </message>
    <message>
        <source>Zetta</source>
        <comment>SI prefix name</comment>
        <translation>Zetta</translation>
    </message>
    <message>
        <source>Z</source>
        <comment>SI prefix symbol</comment>
        <translation>Z</translation>
    </message>
    <message>
        <source>Trilliarde</source>
        <comment>SI number word</comment>
        <translation>Trilliarde</translation>
    </message>
    <message>
        <source>Yotta</source>
        <comment>SI prefix name</comment>
        <translation>Yotta</translation>
    </message>
    <message>
        <source>Y</source>
        <comment>SI prefix symbol</comment>
        <translation>Y</translation>
    </message>
    <message>
        <source>Quadrillion</source>
        <comment>SI number word</comment>
        <translation>Quadrillion</translation>
    </message>
    <message>
        <source>Component can process only individual values from channel 0!</source>
        <translation>Die Komponente kann nur Einzelwerte von Kanal 0 verarbeiten!</translation>
    </message>
    <message>
        <source>Component can process only values from channel 0!</source>
        <translation>Die Komponente kann nur Werte von Kanal 0 verarbeiten!</translation>
    </message>
    <message>
        <source>Component can process only values from the channels 0 and 1!</source>
        <translation>Die Komponente kann nur Werte der Kanäle 0 und 1 verarbeiten!</translation>
    </message>
    <message>
        <source>Component needs continuous operation.</source>
        <translation>Die Komponente benötigt kontinuierlichen Betrieb.</translation>
    </message>
    <message>
        <source>List index out of bounds (%1)</source>
        <translation>Listenindex außerhalb des gültigen Bereichs (%1)</translation>
    </message>
    <message>
        <source>SelectorSingle: Component needs continuous operation.</source>
        <translation>SelectorSingle: Die Komponente benötigt kontinuierlichen Betrieb.</translation>
    </message>
    <message>
        <source>SelectorDual: Component needs continuous operation and at least two input channels.</source>
        <translation>SelectorDual: Die Komponente benötigt kontinuierlichen Betrieb und mindestens zwei Eingangskanäle.</translation>
    </message>
    <message>
        <source>SelectorMatrix: Component needs continuous operation.</source>
        <translation>SelectorMatrix: Die Komponente benötigt kontinuierlichen Betrieb.</translation>
    </message>
    <message>
        <source>Selector line %1 (&quot;%2&quot;): &apos;%3&apos; is not a valid integer value</source>
        <translation>Selector-Zeile %1 (&quot;%2&quot;): &apos;%3&apos; ist kein gültiger ganzzahliger Wert</translation>
    </message>
    <message>
        <source>Trigger: Component needs continuous operation.</source>
        <translation>Trigger: Die Komponente benötigt kontinuierlichen Betrieb.</translation>
    </message>
    <message>
        <source>Component needs continuous operation, a channel and no individual values.</source>
        <translation>Die Komponente benötigt kontinuierlichen Betrieb, einen Kanal und keine Einzelwerte.</translation>
    </message>
    <message>
        <source>Component needs continuous operation, two channels and no individual values.</source>
        <translation>Die Komponente benötigt kontinuierlichen Betrieb, zwei Kanäle und keine Einzelwerte.</translation>
    </message>
    <message>
        <source>Filter: Component needs continuous operation and one channel.</source>
        <translation>Filter: Die Komponente benötigt kontinuierlichen Betrieb und einen Kanal.</translation>
    </message>
    <message>
        <source>FIRFilter: The number of coefficients must amount to between 1 and 512</source>
        <translation>FIRFilter: Die Anzahl der Koeffizienten muss zwischen 1 und 512 liegen</translation>
    </message>
    <message>
        <source>FIRFilter line %1 (&quot;%2&quot;) is not a valid floating point value</source>
        <translation>FIRFilter-Zeile %1 (&quot;%2&quot;) ist kein gültiger Gleitkommawert</translation>
    </message>
    <message>
        <source>Form line %1, column %2: %3</source>
        <translation>Formular, Zeile %1, Spalte %2: %3</translation>
    </message>
    <message>
        <source>%1 expected but %2 found</source>
        <translation>%1 erwartet, aber %2 gefunden</translation>
    </message>
    <message>
        <source>Class %1 not found</source>
        <translation>Klasse %1 nicht gefunden</translation>
    </message>
    <message>
        <source>Property %1 does not exist in %2</source>
        <translation>Eigenschaft %1 existiert nicht in %2</translation>
    </message>
    <message>
        <source>Property %1 of %2 not accepted: %3</source>
        <translation>Eigenschaft %1 von %2 nicht angenommen: %3</translation>
    </message>
    <message>
        <source>Property %1 of %2 refers to the unknown component %3</source>
        <translation>Eigenschaft %1 von %2 verweist auf die unbekannte Komponente %3</translation>
    </message>
    <message>
        <source>A component named %1 already exists</source>
        <translation>Eine Komponente namens %1 existiert bereits</translation>
    </message>
    <message>
        <source>Nesting deeper than %1 levels</source>
        <translation>Verschachtelung tiefer als %1 Ebenen</translation>
    </message>
    <message>
        <source>Integer %1 out of range</source>
        <translation>Ganzzahl %1 außerhalb des Wertebereichs</translation>
    </message>
    <message>
        <source>Floating point value %1 out of range</source>
        <translation>Gleitkommawert %1 außerhalb des Wertebereichs</translation>
    </message>
    <message>
        <source>Invalid character %1</source>
        <translation>Ungültiges Zeichen %1</translation>
    </message>
    <message>
        <source>Invalid escape sequence in string</source>
        <translation>Ungültige Escape-Sequenz in Zeichenkette</translation>
    </message>
    <message>
        <source>Unterminated string</source>
        <translation>Nicht abgeschlossene Zeichenkette</translation>
    </message>
    <message>
        <source>Invalid UTF-8 data</source>
        <translation>Ungültige UTF-8-Daten</translation>
    </message>
    <message>
        <source>Component %1 could not finish loading: %2</source>
        <translation>Komponente %1 konnte das Laden nicht abschließen: %2</translation>
    </message>
    <message>
        <source>Class %1 cannot be placed on %2</source>
        <translation>Klasse %1 kann nicht auf %2 platziert werden</translation>
    </message>
    <message>
        <source>Class %1 is not registered</source>
        <translation>Klasse %1 ist nicht registriert</translation>
    </message>
    <message>
        <source>Component name &quot;%1&quot; is not a valid identifier</source>
        <translation>Komponentenname &quot;%1&quot; ist kein gültiger Bezeichner</translation>
    </message>
    <message>
        <source>Property %1 of %2 refers to a component without a name</source>
        <translation>Eigenschaft %1 von %2 verweist auf eine Komponente ohne Namen</translation>
    </message>
    <message>
        <source>end of input</source>
        <translation>Ende der Eingabe</translation>
    </message>
    <message>
        <source>Integer</source>
        <translation>Ganzzahl</translation>
    </message>
    <message>
        <source>Floating point value</source>
        <translation>Gleitkommawert</translation>
    </message>
    <message>
        <source>String</source>
        <translation>Zeichenkette</translation>
    </message>
    <message>
        <source>Identifier</source>
        <translation>Bezeichner</translation>
    </message>
    <message>
        <source>Boolean</source>
        <translation>Boolescher Wert</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Wert</translation>
    </message>
    <message>
        <source>Property, &apos;object&apos; or &apos;end&apos;</source>
        <translation>Eigenschaft, &apos;object&apos; oder &apos;end&apos;</translation>
    </message>
    <message>
        <source>Component of class %1</source>
        <translation>Komponente der Klasse %1</translation>
    </message>
    <message>
        <source>Key of %1</source>
        <translation>Schlüssel von %1</translation>
    </message>
    <message>
        <source>invalid value</source>
        <translation>ungültiger Wert</translation>
    </message>
</context>
</TS>
