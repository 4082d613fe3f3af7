// velmora-gallery OUTDIR: renders every instrument at the sizes a user would choose into
// PNGs, one per scale layout (classic, adaptive), palette (light, dark) and device pixel
// ratio (1, 2), each a labelled grid of instruments on a panel. The adaptive layout is the
// instruments' `ScaleLayout` property; where a class does not publish it, that instrument
// is shown in the classic layout and its label says so, and when no class publishes it
// only the classic images are written.

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QDir>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QStyle>
#include <QtWidgets/QVBoxLayout>

#include "controls/qvDial.h"
#include "controls/qvSlider.h"
#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "host/qvSignalGenerator.h"
#include "indicators/QVLedInt.h"
#include "indicators/QVPanelMeterInt.h"
#include "indicators/QVPlot.h"

namespace {

enum class Layout { Classic = 0, Adaptive = 1 };

const char *const ScaleLayoutProperty = "ScaleLayout";

bool HasScaleLayout(const QObject &object)
{
    return object.metaObject()->indexOfProperty(ScaleLayoutProperty) >= 0;
}

// A dark palette for every role and group, so that nothing falls back to the light one.
QPalette DarkPalette()
{
    const QColor window(45, 47, 50), base(30, 31, 34), text(225, 227, 230), button(55, 58, 62);
    const QColor disabledText(120, 122, 126), highlight(64, 128, 210);
    QPalette p(button, window);
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const bool disabled = group == QPalette::Disabled;
        p.setColor(group, QPalette::Window, window);
        p.setColor(group, QPalette::WindowText, disabled ? disabledText : text);
        p.setColor(group, QPalette::Base, base);
        p.setColor(group, QPalette::AlternateBase, window.lighter(110));
        p.setColor(group, QPalette::ToolTipBase, button);
        p.setColor(group, QPalette::ToolTipText, text);
        p.setColor(group, QPalette::PlaceholderText, disabledText);
        p.setColor(group, QPalette::Text, disabled ? disabledText : text);
        p.setColor(group, QPalette::Button, button);
        p.setColor(group, QPalette::ButtonText, disabled ? disabledText : text);
        p.setColor(group, QPalette::BrightText, QColor(255, 90, 90));
        p.setColor(group, QPalette::Light, QColor(88, 92, 98));
        p.setColor(group, QPalette::Midlight, QColor(70, 74, 79));
        p.setColor(group, QPalette::Mid, QColor(40, 42, 45));
        p.setColor(group, QPalette::Dark, QColor(25, 26, 28));
        p.setColor(group, QPalette::Shadow, QColor(10, 10, 12));
        p.setColor(group, QPalette::Highlight, disabled ? window.lighter(130) : highlight);
        p.setColor(group, QPalette::HighlightedText, disabled ? disabledText : Qt::white);
        p.setColor(group, QPalette::Link, highlight.lighter(130));
        p.setColor(group, QPalette::LinkVisited, QColor(170, 130, 220));
    }
    return p;
}

// `a` moved by `t` toward `b`.
QColor Mix(const QColor &a, const QColor &b, double t)
{
    return QColor::fromRgbF(float(a.redF() + (b.redF() - a.redF()) * t),
                            float(a.greenF() + (b.greenF() - a.greenF()) * t),
                            float(a.blueF() + (b.blueF() - a.blueF()) * t));
}

constexpr TQVColor Green = 0x30A030, Yellow = 0x00C8F0, Red = 0x3030E0; // 0x00BBGGRR

// The panel of one image: a heading and sections of labelled instruments. The instruments
// are children; `Instruments` lists them for the layout switch.
class TQVGalleryPanel : public QWidget
{
public:
    TQVGalleryPanel(const QPalette &palette, Layout layout)
    {
        setPalette(palette);
        setAutoFillBackground(true);
        m_grid = new QVBoxLayout(this);
        m_grid->setContentsMargins(16, 12, 16, 16);
        m_grid->setSpacing(10);
        m_heading = new QLabel(this);
        QFont font = m_heading->font();
        font.setBold(true);
        font.setPointSizeF(font.pointSizeF() * 1.3);
        m_heading->setFont(font);
        m_grid->addWidget(m_heading);
        Build(layout);
    }

    void SetHeading(const QString &text) { m_heading->setText(text); }
    int InstrumentsWithoutScaleLayout() const { return m_withoutScaleLayout; }

private:
    // A row of cells: each a caption above an instrument of fixed size.
    QGridLayout *Section(const QString &title)
    {
        auto *label = new QLabel(title, this);
        QFont font = label->font();
        font.setBold(true);
        label->setFont(font);
        m_grid->addWidget(label);
        auto *row = new QGridLayout;
        row->setHorizontalSpacing(18);
        row->setVerticalSpacing(4);
        row->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        m_grid->addLayout(row);
        return row;
    }

    // An instrument of fixed `size` under its caption, in grid row 2 * rowIndex and below.
    template <typename W>
    W *Cell(QGridLayout *row, int column, const QString &caption, QSize size, Layout layout, int rowIndex = 0,
            int rowSpan = 1)
    {
        auto *widget = new W(this);
        widget->setFixedSize(size);
        auto *label = new QLabel(Caption(caption, *widget, layout), this);
        label->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
        row->addWidget(label, 2 * rowIndex, column, Qt::AlignLeft | Qt::AlignBottom);
        row->addWidget(widget, 2 * rowIndex + 1, column, rowSpan, 1, Qt::AlignLeft | Qt::AlignTop);
        return widget;
    }

    void Meter(TQVMeterInt &m, TQVMeterInt::TQVIndicatorStyle style)
    {
        m.SetValueMin(0.0);
        m.SetValueMax(10.0);
        m.SetValueGap(0.5);
        m.SetValueDecimals(0);
        m.SetRangeNumber(3);
        const double limits[] = {6.0, 8.0, 10.0};
        const TQVColor colours[] = {Green, Yellow, Red};
        for (int i = 0; i < 3; ++i) {
            m.SetRangeCurrent(i + 1);
            m.SetRangeLimit(limits[i]);
            m.SetRangeColor(colours[i]);
        }
        m.SetIndicatorStyle(style);
        m.SetIndicatorColor(QVColors::clBtnText);
        m.SetLegend1(QStringLiteral("V"));
        m.SetValue(6.3);
    }

    static void Ranges(TQVBarGraphInt &bar, const double (&limits)[3])
    {
        const TQVColor colours[] = {Green, Yellow, Red};
        bar.SetRangeNumber(3);
        for (int i = 0; i < 3; ++i) {
            bar.SetRangeCurrent(i + 1);
            bar.SetRangeColor(colours[i]);
            bar.SetRangeLimit(limits[i]);
        }
    }

    static void Slider(TQVSlider &s, TQVSlider::TQVKind kind)
    {
        s.SetKind(kind);
        s.SetValueMin(0.0);
        s.SetValueMax(10000.0);
        s.SetLabelingStyle(TQVSlider::lbsBoth);
        s.SetLabelingGap(1000.0);
        s.SetLabelScientificUnitPosfix(sipKilo);
        s.SetLabelingDecimals(0);
        s.SetLabelTextPosfix(QStringLiteral("Hz"));
        s.SetLabelingFontColor(QVColors::clBtnText);
        s.SetValue(3500.0);
    }

    void Build(Layout layout)
    {
        QGridLayout *meters
            = Section(QStringLiteral("Meter 0-10 V, gap 0.5, 0 decimals, value 6.3, ranges to 6 / 8 / 10"));
        Meter(*Cell<TQVMeterInt>(meters, 0, QStringLiteral("needle, 200 x 200"), {200, 200}, layout),
              TQVMeterInt::indNeedle);
        Meter(*Cell<TQVMeterInt>(meters, 1, QStringLiteral("wedge, 200 x 200"), {200, 200}, layout),
              TQVMeterInt::indWedge);
        for (int k = 0; k < 2; ++k) {
            auto *m = Cell<TQVMeterInt>(meters, 2 + k,
                                        k == 0 ? QStringLiteral("needle, -60..60, peak 8.6, 260 x 160")
                                               : QStringLiteral("wedge, -60..60, 260 x 160"),
                                        {260, 160}, layout);
            Meter(*m, k == 0 ? TQVMeterInt::indNeedle : TQVMeterInt::indWedge);
            m->SetMeterAngle1(-60.0);
            m->SetMeterAngle2(60.0);
            if (k == 0) { // a drag pointer left behind by a higher value
                m->SetPeakHold(true);
                m->SetPeakHoldTime(0);
                m->SetValue(8.6);
                m->SetValue(6.3);
            }
        }
        Meter(*Cell<TQVMeterInt>(meters, 4, QStringLiteral("needle, 80 x 80"), {80, 80}, layout),
              TQVMeterInt::indNeedle);
        Meter(*Cell<TQVMeterInt>(meters, 5, QStringLiteral("wedge, 80 x 80"), {80, 80}, layout), TQVMeterInt::indWedge);

        QGridLayout *linear = Section(QStringLiteral("Dial, bar graphs, sliders"));
        auto *dial = Cell<TQVDial>(linear, 0, QStringLiteral("dial 0-100, 160 x 160"), {160, 160}, layout);
        dial->SetValue(35.0);

        auto *hz = Cell<TQVBarGraphInt>(linear, 1, QStringLiteral("bar 0-400 kHz, labels\nboth sides, peak 340 kHz"),
                                        {120, 300}, layout);
        hz->SetValueParams(0.0, 400000.0);
        hz->SetLabelingStyle(TQVBarGraphInt::lbsSymmetric);
        hz->SetLabelingGap(50000.0);
        hz->SetLabelingDecimals(0);
        hz->SetLabelScientificUnitPosfix(sipKilo);
        hz->SetLabelTextPosfix(QStringLiteral("Hz"));
        hz->SetLabelingFontColor(QVColors::clBtnText);
        Ranges(*hz, {300000.0, 360000.0, 400000.0});
        hz->SetPeakHold(true);
        hz->SetPeakHoldTime(0);
        hz->SetValue(340000.0);
        hz->SetValue(250000.0);

        auto *sci = Cell<TQVBarGraphInt>(linear, 2, QStringLiteral("bar 0-1e6,\nno prefix"), {100, 300}, layout);
        sci->SetValueParams(0.0, 1.0e6);
        sci->SetLabelingStyle(TQVBarGraphInt::lbsBoth);
        sci->SetLabelingGap(100000.0);
        sci->SetLabelingFontColor(QVColors::clBtnText);
        sci->SetRangeColor(QVColors::clHighlight);
        sci->SetValue(420000.0);

        Slider(*Cell<TQVSlider>(linear, 3, QStringLiteral("slider 0-10 kHz,\nvertical"), {90, 300}, layout),
               TQVSlider::sbVertical);

        auto *column = new QVBoxLayout;
        column->setSpacing(4);
        linear->addLayout(column, 0, 4, 2, 1, Qt::AlignTop);
        const auto labelled = [&](const QString &caption, QWidget *widget) {
            column->addWidget(new QLabel(caption, this));
            column->addWidget(widget);
            column->addSpacing(10);
        };
        auto *horizontal = new TQVBarGraphInt(this);
        horizontal->SetKind(TQVBarGraphInt::sbHorizontal);
        horizontal->setFixedSize(320, 70);
        horizontal->SetValueParams(0.0, 10.0);
        horizontal->SetLabelingStyle(TQVBarGraphInt::lbsBoth);
        horizontal->SetLabelingOrientation(TQVBarGraphInt::lboBelow);
        horizontal->SetLabelingGap(1.0);
        horizontal->SetLabelingDecimals(0);
        horizontal->SetLabelingFontColor(QVColors::clBtnText);
        Ranges(*horizontal, {6.0, 8.0, 10.0});
        horizontal->SetValue(6.3);
        labelled(Caption(QStringLiteral("bar 0-10 horizontal, labels below, 320 x 70"), *horizontal, layout),
                 horizontal);
        auto *slider = new TQVSlider(this);
        Slider(*slider, TQVSlider::sbHorizontal);
        slider->setFixedSize(440, 80);
        labelled(Caption(QStringLiteral("slider 0-10 kHz horizontal, 440 x 80"), *slider, layout), slider);

        QGridLayout *indicators = Section(QStringLiteral("LEDs, panel meters, plot"));
        auto *leds = new QGridLayout;
        leds->setHorizontalSpacing(10);
        indicators->addLayout(leds, 0, 0, 2, 1, Qt::AlignTop);
        struct LedCase
        {
            const char *Name;
            TQVLedInt::TQVLedStyle Style;
            bool On;
            QSize Size;
        };
        const LedCase ledCases[] = {
            {"circle off", TQVLedInt::lesCircle, false, {32, 32}},
            {"circle on", TQVLedInt::lesCircle, true, {32, 32}},
            {"circle 20 on", TQVLedInt::lesCircle, true, {20, 20}},
            {"rectangle on", TQVLedInt::lesRectangle, true, {40, 20}},
            {"left", TQVLedInt::lesArrowLeft, true, {28, 28}},
            {"right", TQVLedInt::lesArrowRight, true, {28, 28}},
            {"up", TQVLedInt::lesArrowUp, false, {28, 28}},
            {"down", TQVLedInt::lesArrowDown, true, {28, 28}},
            {"up-down", TQVLedInt::lesArrowUpDown, true, {28, 28}},
        };
        for (int i = 0; i < int(std::size(ledCases)); ++i) {
            const LedCase &c = ledCases[i];
            auto *led = new TQVLedInt(this);
            led->setFixedSize(c.Size);
            led->SetStyle(c.Style);
            if (c.Style != TQVLedInt::lesCircle)
                led->SetColorActive(0x20C020);
            led->SetValue(c.On);
            auto *label = new QLabel(Caption(QString::fromLatin1(c.Name), *led, layout), this);
            leds->addWidget(led, i / 3 * 2, i % 3, Qt::AlignCenter);
            leds->addWidget(label, i / 3 * 2 + 1, i % 3, Qt::AlignHCenter | Qt::AlignTop);
        }

        auto *segments = Cell<TQVPanelMeterInt>(indicators, 1, QStringLiteral("panel meter, 7 segments, 240 x 80"),
                                                {240, 80}, layout);
        segments->SetDecimals(3);
        segments->SetUnitText(QStringLiteral("V"));
        segments->SetCaption(QStringLiteral("Output"));
        segments->SetValue(6.3);
        auto *fontDigits = Cell<TQVPanelMeterInt>(indicators, 1, QStringLiteral("panel meter, font digits, kHz"),
                                                  {240, 80}, layout, 1);
        fontDigits->SetDigitStyle(TQVPanelMeterInt::dsFont);
        fontDigits->SetDecimals(2);
        fontDigits->SetSIPrefix(sipKilo);
        fontDigits->SetUnitText(QStringLiteral("Hz"));
        fontDigits->SetValue(-1234.5);

        auto *plot = Cell<TQVPlot>(indicators, 2, QStringLiteral("plot: 500 Hz sine, 10 ms, 440 x 240"), {440, 240},
                                   layout, 0, 3);
        plot->SetTitle(QStringLiteral("Sine 500 Hz"));
        plot->SetXUnit(QStringLiteral("s"));
        plot->SetYUnit(QStringLiteral("V"));
        plot->SetAutoScale(false);
        plot->SetYRange(-1.2, 1.2);
        // The plot's colours from the palette: its area on the base, frame and labels in
        // the text colour, the grid a little toward it.
        const QPalette &p = palette();
        plot->SetBackground(QVColors::clWindow);
        plot->SetAxisColor(QVColors::clWindowText);
        plot->SetGridColor(QVFromQColor(Mix(p.color(QPalette::Base), p.color(QPalette::Text), 0.18)));
        m_generator.SetSampleRate(48000.0);
        m_generator.SetBlockLength(480);
        m_generator.SetFrequency(500.0);
        m_generator.SetAmplitude(1.0);
        plot->SetMeasureSource(&m_generator);
        m_generator.Tick();
        m_grid->addStretch(1);
    }

    // The caption of an instrument; in the adaptive variant it also switches the instrument
    // to that layout, or says that it cannot.
    QString Caption(const QString &caption, QWidget &widget, Layout layout)
    {
        if (layout != Layout::Adaptive)
            return caption;
        if (HasScaleLayout(widget) && widget.setProperty(ScaleLayoutProperty, int(layout)))
            return caption;
        ++m_withoutScaleLayout;
        return caption + QStringLiteral("\n(no ScaleLayout: classic)");
    }

    // The plot's source (it goes before the plot, which it leaves unconnected).
    TQVSignalGenerator m_generator;
    QVBoxLayout *m_grid = nullptr;
    QLabel *m_heading = nullptr;
    int m_withoutScaleLayout = 0;
};

// Instrument classes of the gallery that publish `ScaleLayout`.
QStringList ClassesWithScaleLayout()
{
    const QMetaObject *classes[]
        = {&TQVMeterInt::staticMetaObject, &TQVDial::staticMetaObject,   &TQVBarGraphInt::staticMetaObject,
           &TQVSlider::staticMetaObject,   &TQVLedInt::staticMetaObject, &TQVPanelMeterInt::staticMetaObject,
           &TQVPlot::staticMetaObject};
    QStringList names;
    for (const QMetaObject *m : classes)
        if (m->indexOfProperty(ScaleLayoutProperty) >= 0)
            names << QString::fromLatin1(m->className());
    return names;
}

} // namespace

int main(int argc, char **argv)
{
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (headless && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-gallery"));
    const QStringList args = QCoreApplication::arguments();
    if (args.size() != 2 || args[1].startsWith(QLatin1Char('-'))) {
        std::fprintf(stderr,
                     "usage: velmora-gallery OUTDIR\n"
                     "Writes <layout>-<palette>-<ratio>x.png for the classic and adaptive scale layouts,\n"
                     "the light and the dark palette and the device pixel ratios 1 and 2.\n");
        return 2;
    }
    const QDir out(args[1]);
    if (!QDir().mkpath(out.path())) {
        std::fprintf(stderr, "velmora-gallery: cannot create %s\n", qPrintable(out.path()));
        return 1;
    }

    const QStringList adaptiveClasses = ClassesWithScaleLayout();
    std::vector<Layout> layouts{Layout::Classic};
    if (adaptiveClasses.isEmpty())
        std::printf("No instrument class publishes ScaleLayout: only the classic layout is rendered.\n");
    else
        layouts.push_back(Layout::Adaptive);

    struct PaletteCase
    {
        const char *Name;
        QPalette Palette;
    };
    const PaletteCase palettes[] = {{"light", QApplication::style()->standardPalette()}, {"dark", DarkPalette()}};
    int written = 0;
    for (Layout layout : layouts) {
        const char *layoutName = layout == Layout::Classic ? "classic" : "adaptive";
        for (const PaletteCase &pc : palettes) {
            TQVGalleryPanel panel(pc.Palette, layout);
            panel.setAttribute(Qt::WA_DontShowOnScreen);
            panel.show();
            panel.adjustSize();
            QCoreApplication::processEvents();
            if (layout == Layout::Adaptive && panel.InstrumentsWithoutScaleLayout() > 0)
                std::printf("%s/%s: %d instruments without ScaleLayout are shown in the classic layout\n", layoutName,
                            pc.Name, panel.InstrumentsWithoutScaleLayout());
            for (int ratio : {1, 2}) {
                panel.SetHeading(
                    QStringLiteral("Velmora instruments: %1 scale layout, %2 palette, device pixel ratio %3")
                        .arg(QLatin1String(layoutName), QLatin1String(pc.Name))
                        .arg(ratio));
                QCoreApplication::processEvents();
                QImage image(panel.size() * ratio, QImage::Format_ARGB32_Premultiplied);
                image.setDevicePixelRatio(ratio);
                image.fill(pc.Palette.color(QPalette::Window));
                panel.render(&image);
                const QString file = out.filePath(
                    QStringLiteral("%1-%2-%3x.png").arg(QLatin1String(layoutName), QLatin1String(pc.Name)).arg(ratio));
                if (!image.save(file)) {
                    std::fprintf(stderr, "velmora-gallery: cannot write %s\n", qPrintable(file));
                    return 1;
                }
                std::printf("%s (%d x %d pixels)\n", qPrintable(file), image.width(), image.height());
                ++written;
            }
        }
    }
    std::printf("%d images written\n", written);
    return 0;
}
