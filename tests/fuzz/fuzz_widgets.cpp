// Every instrument under property writes drawn from the input, extremes most of all, at
// sizes up to 1200 x 1200 and pixel ratio 1 or 2: paints after every few writes, sets
// values (the value repaint paths), sends mouse, wheel and key events and asks for the size
// hints. A sanitizer report, an exception or a paint slower than -timeout is a failure.
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

#include <QtCore/QMetaProperty>
#include <QtGui/QImage>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>

#include "framework/qvRegistry.h"
#include "indicators/QVPlot.h"
#include "indicators/qvWaterfall.h"
#include "indicators/qvRegister.h"

namespace {

TQVClassRegistry *Registry = nullptr;
const char *const Classes[] = {"TQVMeter", "TQVDial", "TQVBarGraph", "TQVSlider", "TQVLed", "TQVPanelMeter", "TQVPlot", "TQVWaterfall"};
constexpr int Ints[] = {INT_MIN, INT_MAX, 0, -1, 1, 3, 1 << 16, -(1 << 16)};
const double Doubles[] = {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e308, -1e308, 5e-324, 0.0, -1.0, 1.0, 100.0};

// The input, read from the front; zeros once it is used up.
struct Input
{
    const std::uint8_t *data;
    std::size_t size;
    template<typename T>
    T Next()
    {
        T value{};
        const std::size_t n = std::min(size, sizeof value);
        std::memcpy(&value, data, n);
        data += n;
        size -= n;
        return value;
    }
    // Half of the picks are extremes, the others any bit pattern.
    template<typename T, std::size_t N>
    T Pick(const T (&extremes)[N])
    {
        const std::uint8_t k = Next<std::uint8_t>();
        return k < 128 ? extremes[k % N] : Next<T>();
    }
};

QWidget *Create(const char *cls)
{
    return qobject_cast<QWidget *>(Registry->Create(QString::fromLatin1(cls)));
}

void Paint(QWidget &widget, int dpr)
{
    QImage image(widget.size() * dpr, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    widget.render(&image);
    (void)widget.sizeHint();
    (void)widget.minimumSizeHint();
}

QVariant ValueFor(const QMetaProperty &property, Input &in)
{
    switch (property.isEnumType() ? int(QMetaType::Int) : property.metaType().id()) {
    case QMetaType::Int: return in.Pick(Ints);
    case QMetaType::UInt: return in.Next<quint32>();
    case QMetaType::Double: return in.Pick(Doubles);
    case QMetaType::Bool: return bool(in.Next<std::uint8_t>() & 1);
    case QMetaType::QString: return QString(in.Next<std::uint8_t>() % 24, QChar(in.Next<std::uint8_t>()));
    default: return QVariant(); // writes a default font, picture or measure source
    }
}

void SendEvent(QWidget &widget, Input &in)
{
    const QPointF at(in.Next<std::uint16_t>() % 1300 - 50, in.Next<std::uint16_t>() % 1300 - 50);
    const int kind = in.Next<std::uint8_t>() % 5;
    QWheelEvent wheel(at, at, QPoint(), QPoint(0, in.Pick(Ints)), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Home + in.Next<std::uint8_t>() % 8, Qt::NoModifier); // Home .. PageDown
    const QEvent::Type mouse[] = {QEvent::MouseButtonPress, QEvent::MouseMove, QEvent::MouseButtonRelease};
    QMouseEvent button(mouse[kind % 3], at, at, Qt::LeftButton, kind == 2 ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
    QEvent *const events[] = {&button, &button, &button, &wheel, &key};
    QApplication::sendEvent(&widget, events[kind]);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    new QApplication(*argc, *argv); // never destroyed: the events' pointing device would outlive it at exit
    Registry = new TQVClassRegistry;
    Register(*Registry);
    Registry->RegisterClass<TQVPlot, QWidget>(); // the plot and the waterfall are not on the palette
    Registry->RegisterClass<TQVWaterfall, QWidget>();
    // Fonts and the caches behind them, set up on first use, are no leak of an input.
    for (const char *cls : Classes) {
        const std::unique_ptr<QWidget> widget(Create(cls));
        widget->show();
        Paint(*widget, 2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input in{data, size};
    const std::unique_ptr<QWidget> widget(Create(Classes[in.Next<std::uint8_t>() % std::size(Classes)]));
    const auto resize = [&] { widget->resize(1 + in.Next<std::uint16_t>() % 1200, 1 + in.Next<std::uint16_t>() % 1200); };
    resize();
    const int dpr = 1 + in.Next<std::uint8_t>() % 2;
    const QMetaObject *meta = widget->metaObject();
    const int first = TQVCustomControl::staticMetaObject.propertyOffset(); // the published properties
    widget->show();
    // An exception through the meta-object escapes to libFuzzer, which reports it as a crash.
    for (int op = 0; in.size > 0 && op < 48; ++op) {
        const std::uint8_t what = in.Next<std::uint8_t>();
        if (what < 150) {
            const QMetaProperty property = meta->property(first + what % (meta->propertyCount() - first));
            const QVariant value = ValueFor(property, in);
            if (property.isWritable())
                property.write(widget.get(), value);
        } else if (what < 200 && meta->indexOfProperty("Value") >= 0) {
            widget->setProperty("Value", in.Pick(Doubles));
        } else if (what < 215) {
            resize();
        } else {
            SendEvent(*widget, in);
        }
        if (op % 4 == 3)
            Paint(*widget, dpr);
    }
    Paint(*widget, dpr);
    return 0;
}
