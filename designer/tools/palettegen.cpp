// Draws the palette bitmaps of the component classes (24 x 24 and 48 x 48 "@2x") and a
// contact sheet of them. The PNGs are kept in resources/palette/; run this only to redraw
// them:  velmora_palettegen <output dir> [contact sheet png]

#include <cmath>
#include <functional>
#include <numbers>

#include <QtCore/QDir>
#include <QtCore/QList>
#include <QtCore/QTextStream>
#include <QtGui/QFont>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

namespace {

const QColor BoxFill(0xEA, 0xEF, 0xF6);
const QColor BoxLine(0x4A, 0x5A, 0x70);
const QColor Ink(0x1C, 0x3F, 0x8C);
const QColor Accent(0xD0, 0x30, 0x20);
const QColor Green(0x2E, 0xA0, 0x3C);
const QColor Yellow(0xF0, 0xC0, 0x20);

QPen Pen(const QColor &color, qreal width = 1.0)
{
    QPen pen(color, width);
    pen.setCapStyle(Qt::RoundCap);
    pen.setJoinStyle(Qt::RoundJoin);
    return pen;
}

// The body shared by the non-visual stream components: a rounded box with `inputs` stubs on
// the left and `outputs` stubs on the right edge (0 for none).
void DrawBox(QPainter &p, int inputs, int outputs)
{
    auto stubs = [&p](int count, qreal x0, qreal x1) {
        p.setPen(Pen(BoxLine, 1.6));
        if (count == 1)
            p.drawLine(QPointF(x0, 12), QPointF(x1, 12));
        else if (count == 2) {
            p.drawLine(QPointF(x0, 8), QPointF(x1, 8));
            p.drawLine(QPointF(x0, 16), QPointF(x1, 16));
        }
    };
    stubs(inputs, 0.5, 3.5);
    stubs(outputs, 20.5, 23.5);
    p.setPen(Pen(BoxLine, 1.0));
    p.setBrush(BoxFill);
    p.drawRoundedRect(QRectF(3.5, 2.5, 17, 19), 2.5, 2.5);
    p.setBrush(Qt::NoBrush);
}

void DrawArrowHead(QPainter &p, QPointF tip, qreal angle, const QColor &color, qreal size = 3.2)
{
    const qreal a1 = angle + std::numbers::pi * 0.82;
    const qreal a2 = angle - std::numbers::pi * 0.82;
    QPolygonF head;
    head << tip << tip + QPointF(std::cos(a1), std::sin(a1)) * size
         << tip + QPointF(std::cos(a2), std::sin(a2)) * size;
    p.setPen(Qt::NoPen);
    p.setBrush(color);
    p.drawPolygon(head);
    p.setBrush(Qt::NoBrush);
}

// A curve over the box interior, x in 0..1 maps to 6..18, y in 0..1 maps to 18..6.
void DrawResponse(QPainter &p, const std::function<qreal(qreal)> &f, const QColor &color, qreal width = 1.6)
{
    QPainterPath path;
    for (int i = 0; i <= 48; ++i) {
        const qreal x = i / 48.0;
        const QPointF pt(6 + 12 * x, 18 - 12 * std::clamp(f(x), 0.0, 1.0));
        if (i == 0)
            path.moveTo(pt);
        else
            path.lineTo(pt);
    }
    p.setPen(Pen(color, width));
    p.drawPath(path);
}

void DrawAxes(QPainter &p)
{
    p.setPen(Pen(BoxLine.lighter(150), 1.0));
    p.drawLine(QPointF(5.5, 5.5), QPointF(5.5, 18.5));
    p.drawLine(QPointF(5.5, 18.5), QPointF(18.5, 18.5));
}

void DrawSpectrum(QPainter &p)
{
    DrawAxes(p);
    const qreal heights[] = {3, 5, 11, 6, 3, 2, 4, 2};
    p.setPen(Qt::NoPen);
    for (int i = 0; i < 6; ++i) {
        const qreal h = heights[i];
        p.setBrush(i == 2 ? Accent : Ink);
        p.drawRect(QRectF(7 + 2 * i, 18 - h, 1.4, h));
    }
    p.setBrush(Qt::NoBrush);
}

qreal LowPass(qreal x)
{
    const qreal f = x / 0.45;
    return 0.85 / std::sqrt(1 + std::pow(f, 4));
}

qreal HighPass(qreal x)
{
    const qreal f = x / 0.45;
    return 0.85 * f * f / std::sqrt(1 + std::pow(f, 4));
}

qreal BandPass(qreal x)
{
    const qreal d = (x - 0.5) / 0.13;
    return 0.9 / (1 + d * d);
}

// Stream components -----------------------------------------------------------------------

void DrawSelector(QPainter &p, int outputs)
{
    DrawBox(p, 0, outputs);
    const qreal ins[] = {6.5, 12, 17.5};
    p.setPen(Qt::NoPen);
    p.setBrush(BoxLine);
    for (qreal y : ins)
        p.drawEllipse(QPointF(6.5, y), 1.3, 1.3);
    p.setBrush(Qt::NoBrush);
    if (outputs == 1) {
        p.setPen(Pen(Ink, 1.6));
        p.drawLine(QPointF(7.5, 6.8), QPointF(17, 11.6));
        DrawArrowHead(p, QPointF(19.5, 12), std::atan2(5.2, 10.5), Ink, 3.6);
    } else {
        p.setPen(Pen(Ink, 1.6));
        p.drawLine(QPointF(7.5, 12), QPointF(16.8, 8));
        DrawArrowHead(p, QPointF(19.5, 8), std::atan2(-4, 10), Ink, 3.4);
        p.setPen(Pen(Accent, 1.6));
        p.drawLine(QPointF(7.5, 17.5), QPointF(16.8, 16));
        DrawArrowHead(p, QPointF(19.5, 16), std::atan2(-1.5, 10), Accent, 3.4);
    }
}

void DrawSelectorMatrix(QPainter &p)
{
    DrawBox(p, 0, 0);
    p.setPen(Pen(BoxLine.lighter(140), 1.0));
    for (int i = 0; i < 3; ++i) {
        const qreal c = 7.5 + 4.5 * i;
        p.drawLine(QPointF(6, c), QPointF(18, c));
        p.drawLine(QPointF(c + 1.5, 5), QPointF(c + 1.5, 19));
    }
    p.setPen(Qt::NoPen);
    const QPoint on[] = {{0, 1}, {1, 0}, {2, 2}};
    for (const QPoint &cell : on) {
        p.setBrush(cell.x() == 1 ? Accent : Ink);
        p.drawEllipse(QPointF(9 + 4.5 * cell.x(), 7.5 + 4.5 * cell.y()), 1.9, 1.9);
    }
    p.setBrush(Qt::NoBrush);
}

void DrawAnalyzer(QPainter &p)
{
    DrawBox(p, 1, 1);
    QPolygonF sigma;
    sigma << QPointF(16.5, 7.5) << QPointF(16.5, 6) << QPointF(7.5, 6) << QPointF(12.5, 12)
          << QPointF(7.5, 18) << QPointF(16.5, 18) << QPointF(16.5, 16.5);
    p.setPen(Pen(Ink, 2.0));
    p.drawPolyline(sigma);
}

void DrawTrigger(QPainter &p)
{
    DrawBox(p, 1, 1);
    QPen dash = Pen(Accent, 1.0);
    dash.setDashPattern({2, 1.5});
    p.setPen(dash);
    p.drawLine(QPointF(5.5, 12), QPointF(18.5, 12));
    QPolygonF edge;
    edge << QPointF(5.5, 17.5) << QPointF(11, 17.5) << QPointF(11, 6.5) << QPointF(18.5, 6.5);
    p.setPen(Pen(Ink, 1.8));
    p.drawPolyline(edge);
    DrawArrowHead(p, QPointF(11, 9.5), -std::numbers::pi / 2, Ink, 4.2);
}

void DrawFFTEngine(QPainter &p)
{
    DrawBox(p, 0, 0);
    DrawSpectrum(p);
}

void DrawFFTStage(QPainter &p, int inputs, int outputs)
{
    DrawBox(p, inputs, outputs);
    DrawSpectrum(p);
}

void DrawFilter(QPainter &p, const std::function<qreal(qreal)> &f)
{
    DrawBox(p, 1, 1);
    DrawAxes(p);
    DrawResponse(p, f, Ink, 1.8);
}

void DrawStateVariable(QPainter &p)
{
    DrawBox(p, 1, 1);
    DrawAxes(p);
    DrawResponse(p, LowPass, Ink.lighter(170), 1.3);
    DrawResponse(p, HighPass, Green, 1.3);
    DrawResponse(p, BandPass, Accent, 1.8);
}

void DrawFIR(QPainter &p)
{
    // A finite, symmetric impulse response: five taps standing on a base line.
    DrawBox(p, 1, 1);
    const qreal base = 17;
    const qreal taps[] = {-0.15, 0.45, 1.0, 0.45, -0.15};
    p.setPen(Pen(BoxLine.lighter(150), 1.0));
    p.drawLine(QPointF(5.5, base), QPointF(18.5, base));
    for (int k = 0; k < 5; ++k) {
        const QPointF top(6 + 3 * k, base - 10 * taps[k]);
        QPen stem = Pen(k == 2 ? Accent : Ink, 1.5);
        stem.setCapStyle(Qt::FlatCap);
        p.setPen(stem);
        p.drawLine(QPointF(top.x(), base), top);
        p.setPen(Qt::NoPen);
        p.setBrush(k == 2 ? Accent : Ink);
        p.drawEllipse(top, 1.4, 1.4);
        p.setBrush(Qt::NoBrush);
    }
}

void DrawIIR(QPainter &p)
{
    // An impulse response that rings on to the edge: a damped oscillation.
    DrawBox(p, 1, 1);
    const qreal base = 12;
    p.setPen(Pen(BoxLine.lighter(150), 1.0));
    p.drawLine(QPointF(5.5, base), QPointF(18.5, base));
    QPainterPath path;
    for (int i = 0; i <= 60; ++i) {
        const qreal t = i / 60.0;
        const QPointF pt(6 + 13 * t, base - 6.5 * std::exp(-2.6 * t) * std::cos(2 * std::numbers::pi * 2.6 * t));
        if (i == 0)
            path.moveTo(pt);
        else
            path.lineTo(pt);
    }
    p.setPen(Pen(Ink, 1.6));
    p.drawPath(path);
}

// Display and input controls --------------------------------------------------------------

void DrawBarGraph(QPainter &p)
{
    p.setPen(Pen(BoxLine, 1.0));
    p.setBrush(QColor(0x30, 0x34, 0x3A));
    p.drawRect(QRectF(10.5, 1.5, 8, 21));
    p.setPen(Qt::NoPen);
    p.setBrush(Green);
    p.drawRect(QRectF(12, 12, 5, 9));
    p.setBrush(Yellow);
    p.drawRect(QRectF(12, 7, 5, 5));
    p.setBrush(QColor(0x70, 0x30, 0x30));
    p.drawRect(QRectF(12, 3, 5, 4));
    p.setBrush(Qt::NoBrush);
    p.setPen(Pen(BoxLine, 1.0));
    for (int i = 0; i <= 4; ++i) {
        const qreal y = 2.5 + 4.75 * i;
        p.drawLine(QPointF(i % 2 ? 6.5 : 4.5, y), QPointF(8.5, y));
    }
}

void DrawLed(QPainter &p)
{
    QRadialGradient glow(QPointF(10, 10), 10, QPointF(9, 9));
    glow.setColorAt(0, QColor(0xFF, 0xB0, 0xA0));
    glow.setColorAt(0.45, QColor(0xF0, 0x30, 0x20));
    glow.setColorAt(1, QColor(0x90, 0x10, 0x08));
    p.setPen(Pen(QColor(0x50, 0x50, 0x58), 1.6));
    p.setBrush(glow);
    p.drawEllipse(QPointF(12, 12), 8.6, 8.6);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 200));
    p.drawEllipse(QPointF(9.3, 9.3), 2.4, 2.0);
    p.setBrush(Qt::NoBrush);
}

void DrawMeter(QPainter &p)
{
    p.setPen(Pen(BoxLine, 1.0));
    p.setBrush(QColor(0xFB, 0xF8, 0xEE));
    p.drawRoundedRect(QRectF(1.5, 3.5, 21, 17), 2, 2);
    p.setBrush(Qt::NoBrush);
    const QPointF hub(12, 18);
    const QRectF arc(hub.x() - 8, hub.y() - 8, 16, 16);
    p.setPen(Pen(Ink, 1.3));
    p.drawArc(arc, 30 * 16, 120 * 16);
    QPen band = Pen(Accent, 2.2);
    band.setCapStyle(Qt::FlatCap);
    p.setPen(band);
    p.drawArc(arc.adjusted(1.5, 1.5, -1.5, -1.5), 30 * 16, 32 * 16);
    p.setPen(Pen(Ink, 1.0));
    for (int i = 0; i <= 4; ++i) {
        const qreal a = (150 - 30 * i) * std::numbers::pi / 180;
        const QPointF dir(std::cos(a), -std::sin(a));
        p.drawLine(hub + dir * 8, hub + dir * 10);
    }
    const qreal needle = 62 * std::numbers::pi / 180;
    p.setPen(Pen(QColor(0x20, 0x20, 0x20), 1.4));
    p.drawLine(hub, hub + QPointF(std::cos(needle), -std::sin(needle)) * 11);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0x20, 0x20, 0x20));
    p.drawEllipse(hub, 1.8, 1.8);
    p.setBrush(Qt::NoBrush);
}

// Seven segments a..g of one digit in a 6 x 12 cell at `origin`.
void DrawDigit(QPainter &p, QPointF origin, int digit, const QColor &on, const QColor &off)
{
    static const char *const Segments[10] = {"abcdef", "bc", "abdeg", "abcdg", "bcfg",
                                             "acdfg", "acdefg", "abc", "abcdefg", "abcdfg"};
    const qreal w = 6, h = 12;
    const QLineF lines[7] = {
        {0.6, 0, w - 0.6, 0},       // a
        {w, 0.6, w, h / 2 - 0.6},   // b
        {w, h / 2 + 0.6, w, h - 0.6}, // c
        {0.6, h, w - 0.6, h},       // d
        {0, h / 2 + 0.6, 0, h - 0.6}, // e
        {0, 0.6, 0, h / 2 - 0.6},   // f
        {0.6, h / 2, w - 0.6, h / 2}, // g
    };
    const QString lit = QString::fromLatin1(Segments[digit]);
    QPen pen(off, 1.6, Qt::SolidLine, Qt::FlatCap);
    for (int i = 0; i < 7; ++i) {
        pen.setColor(lit.contains(QChar(u'a' + i)) ? on : off);
        p.setPen(pen);
        p.drawLine(lines[i].translated(origin));
    }
}

void DrawPanelMeter(QPainter &p)
{
    p.setPen(Pen(BoxLine, 1.0));
    p.setBrush(QColor(0x18, 0x1C, 0x20));
    p.drawRoundedRect(QRectF(0.5, 3.5, 23, 17), 2, 2);
    p.setBrush(Qt::NoBrush);
    const QColor on(0x50, 0xF0, 0x60), off(0x28, 0x3C, 0x2C);
    DrawDigit(p, QPointF(3.5, 6), 4, on, off);
    DrawDigit(p, QPointF(14, 6), 2, on, off);
    p.setPen(Qt::NoPen);
    p.setBrush(on);
    p.drawEllipse(QPointF(11.5, 18), 1.0, 1.0);
    p.setBrush(Qt::NoBrush);
}

void DrawDial(QPainter &p)
{
    const QPointF c(12, 12.5);
    p.setPen(Pen(BoxLine, 1.1));
    for (int i = 0; i <= 6; ++i) {
        const qreal a = (225 - 45 * i) * std::numbers::pi / 180;
        const QPointF dir(std::cos(a), -std::sin(a));
        p.drawLine(c + dir * 9.2, c + dir * 11.3);
    }
    QLinearGradient knob(QPointF(6, 6), QPointF(18, 19));
    knob.setColorAt(0, QColor(0xE4, 0xE8, 0xEE));
    knob.setColorAt(1, QColor(0x80, 0x88, 0x94));
    p.setPen(Pen(QColor(0x40, 0x46, 0x50), 1.2));
    p.setBrush(knob);
    p.drawEllipse(c, 7.2, 7.2);
    p.setBrush(Qt::NoBrush);
    const qreal a = 135 * std::numbers::pi / 180;
    const QPointF dir(std::cos(a), -std::sin(a));
    p.setPen(Pen(Accent, 2.0));
    p.drawLine(c + dir * 1.5, c + dir * 6);
}

void DrawSlider(QPainter &p)
{
    p.setPen(Pen(BoxLine, 1.0));
    for (int i = 0; i <= 4; ++i) {
        const qreal x = 2.5 + 4.75 * i;
        p.drawLine(QPointF(x, 18.5), QPointF(x, i % 2 ? 20.5 : 22.5));
    }
    p.setBrush(QColor(0x30, 0x34, 0x3A));
    p.drawRoundedRect(QRectF(1.5, 10.5, 21, 3), 1.5, 1.5);
    p.setPen(Qt::NoPen);
    p.setBrush(Green);
    p.drawRect(QRectF(2.5, 11.5, 12, 1.5));
    QLinearGradient button(QPointF(12, 4), QPointF(18, 18));
    button.setColorAt(0, QColor(0xF0, 0xF2, 0xF6));
    button.setColorAt(1, QColor(0x90, 0x98, 0xA4));
    p.setPen(Pen(QColor(0x40, 0x46, 0x50), 1.0));
    p.setBrush(button);
    p.drawRoundedRect(QRectF(11.5, 5.5, 6, 13), 1.5, 1.5);
    p.setPen(Pen(Accent, 1.2));
    p.drawLine(QPointF(14.5, 8), QPointF(14.5, 16));
    p.setBrush(Qt::NoBrush);
}

struct Icon
{
    const char *Name;
    std::function<void(QPainter &)> Draw;
};

QList<Icon> Icons()
{
    return {
        {"TQVANALYZER", DrawAnalyzer},
        {"TQVBARGRAPH", DrawBarGraph},
        {"TQVDIAL", DrawDial},
        {"TQVFFT", DrawFFTEngine},
        {"TQVFFTDUALSINGLE", [](QPainter &p) { DrawFFTStage(p, 2, 1); }},
        {"TQVFFTSINGLEDUAL", [](QPainter &p) { DrawFFTStage(p, 1, 2); }},
        {"TQVFFTSINGLESINGLE", [](QPainter &p) { DrawFFTStage(p, 1, 1); }},
        {"TQVFIRFILTER", DrawFIR},
        {"TQVIIRFILTER", DrawIIR},
        {"TQVLED", DrawLed},
        {"TQVMETER", DrawMeter},
        {"TQVMLSTRIGGER", DrawTrigger},
        {"TQVPANELMETER", DrawPanelMeter},
        {"TQVRCHIGHPASS", [](QPainter &p) { DrawFilter(p, HighPass); }},
        {"TQVRCLOWPASS", [](QPainter &p) { DrawFilter(p, LowPass); }},
        {"TQVSELECTORDUAL", [](QPainter &p) { DrawSelector(p, 2); }},
        {"TQVSELECTORMATRIX", DrawSelectorMatrix},
        {"TQVSELECTORSINGLE", [](QPainter &p) { DrawSelector(p, 1); }},
        {"TQVSLIDER", DrawSlider},
        {"TQVSTATEVARIABLEFILTER", DrawStateVariable},
    };
}

QImage Render(const Icon &icon, int scale)
{
    QImage image(24 * scale, 24 * scale, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(scale, scale);
    icon.Draw(p);
    p.end();
    return image;
}

// Every icon at 1x, magnified 1x and 2x, with its name, on a light and a dark strip.
QImage ContactSheet(const QList<Icon> &icons)
{
    const int columns = 4, cellW = 200, cellH = 118;
    const int rows = (icons.size() + columns - 1) / columns;
    QImage sheet(columns * cellW, rows * cellH, QImage::Format_ARGB32_Premultiplied);
    sheet.fill(QColor(0xFA, 0xFA, 0xFA));
    QPainter p(&sheet);
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(11);
    p.setFont(font);
    for (int i = 0; i < icons.size(); ++i) {
        const QPoint cell((i % columns) * cellW, (i / columns) * cellH);
        const QImage small = Render(icons[i], 1);
        const QImage large = Render(icons[i], 2);
        p.fillRect(QRect(cell + QPoint(0, 0), QSize(cellW, 84)), QColor(0xFA, 0xFA, 0xFA));
        p.fillRect(QRect(cell + QPoint(150, 8), QSize(40, 72)), QColor(0x2B, 0x2D, 0x30));
        p.drawImage(cell + QPoint(10, 10), small.scaled(72, 72, Qt::IgnoreAspectRatio, Qt::FastTransformation));
        p.drawImage(cell + QPoint(92, 10), large);
        p.drawImage(cell + QPoint(104, 62), small);
        p.drawImage(cell + QPoint(158, 16), small);
        p.drawImage(cell + QPoint(158, 48), small);
        p.setPen(QColor(0x20, 0x20, 0x20));
        p.drawText(QRect(cell + QPoint(4, 88), QSize(cellW - 8, 22)), Qt::AlignCenter,
                   QString::fromLatin1(icons[i].Name));
    }
    p.end();
    return sheet;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTextStream err(stderr);
    const QStringList args = app.arguments();
    if (args.size() < 2 || args.size() > 3) {
        err << "usage: velmora_palettegen <output dir> [contact sheet png]\n";
        return 2;
    }
    const QDir out(args[1]);
    if (!out.exists() && !QDir().mkpath(out.path())) {
        err << "cannot create " << out.path() << "\n";
        return 1;
    }
    const QList<Icon> icons = Icons();
    for (const Icon &icon : icons) {
        const QString name = QString::fromLatin1(icon.Name);
        if (!Render(icon, 1).save(out.filePath(name + QStringLiteral(".png")))
            || !Render(icon, 2).save(out.filePath(name + QStringLiteral("@2x.png")))) {
            err << "cannot write " << name << " to " << out.path() << "\n";
            return 1;
        }
    }
    if (args.size() == 3 && !ContactSheet(icons).save(args[2])) {
        err << "cannot write " << args[2] << "\n";
        return 1;
    }
    return 0;
}
