// Drives every instrument class with property writes drawn from the input, extremes most of
// all (INT_MIN, INT_MAX, NaN, infinities, 1e308, the smallest denormal), at sizes up to
// 1200 x 1200 and pixel ratio 1 or 2: paints after every few writes, sets values (the
// value repaint paths), sends mouse, wheel and key events and asks for the size hints. A
// sanitizer report, an exception through the meta-object or a paint slower than the
// fuzzer's -timeout is a failure.
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include <QtCore/QMetaProperty>
#include <QtGui/QImage>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>

#include "framework/qvRegistry.h"
#include "indicators/QVPlot.h"
#include "indicators/qvRegister.h"

namespace {

TQVClassRegistry *Registry = nullptr;
const char *const Classes[] = {"TQVMeter", "TQVDial", "TQVBarGraph", "TQVSlider", "TQVLed", "TQVPanelMeter", "TQVPlot"};

// The input, read from the front; zeros once it is used up.
struct Input
{
    const std::uint8_t *data;
    std::size_t size;
    template<typename T>
    T Raw()
    {
        T value{};
        const std::size_t n = std::min(size, sizeof value);
        std::memcpy(&value, data, n);
        data += n;
        size -= n;
        return value;
    }
    int Int()
    {
        static constexpr int extremes[] = {INT_MIN, INT_MAX, 0, -1, 1, 3, 1 << 16, -(1 << 16)};
        const std::uint8_t pick = Raw<std::uint8_t>();
        return pick < 128 ? extremes[pick % std::size(extremes)] : Raw<std::int32_t>();
    }
    double Double()
    {
        constexpr double inf = std::numeric_limits<double>::infinity();
        static constexpr double extremes[] = {std::numeric_limits<double>::quiet_NaN(), inf, -inf, 1e308, -1e308,
                                              5e-324, 0.0, -1.0, 1.0, 100.0};
        const std::uint8_t pick = Raw<std::uint8_t>();
        return pick < 128 ? extremes[pick % std::size(extremes)] : Raw<double>();
    }
};

QVariant ValueFor(const QMetaProperty &property, Input &in)
{
    if (property.isEnumType())
        return in.Int();
    switch (property.metaType().id()) {
    case QMetaType::Int: return in.Int();
    case QMetaType::UInt: return in.Raw<quint32>();
    case QMetaType::Double: return in.Double();
    case QMetaType::Bool: return bool(in.Raw<std::uint8_t>() & 1);
    case QMetaType::QString: return QString::fromLatin1(QByteArray(in.Raw<std::uint8_t>() % 24, char(in.Raw<std::uint8_t>())));
    default: return QVariant();
    }
}

QWidget *Create(const QString &cls)
{
    return cls == u"TQVPlot" ? new TQVPlot : qobject_cast<QWidget *>(Registry->Create(cls));
}

void Paint(QWidget &widget, int dpr)
{
    QImage image(widget.size() * dpr, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(dpr);
    widget.render(&image);
    (void)widget.sizeHint();
    (void)widget.minimumSizeHint();
}

void SendInput(QWidget &widget, Input &in)
{
    const QPointF at(in.Raw<std::uint16_t>() % 1300 - 50, in.Raw<std::uint16_t>() % 1300 - 50);
    const std::uint8_t kind = in.Raw<std::uint8_t>() % 5;
    if (kind == 0) {
        QWheelEvent wheel(at, at, QPoint(), QPoint(0, in.Int()), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&widget, &wheel);
    } else if (kind == 1) {
        static constexpr int keys[] = {Qt::Key_Up, Qt::Key_Down, Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_Home, Qt::Key_End};
        QKeyEvent key(QEvent::KeyPress, keys[in.Raw<std::uint8_t>() % std::size(keys)], Qt::NoModifier);
        QApplication::sendEvent(&widget, &key);
    } else {
        const QEvent::Type type = kind == 2 ? QEvent::MouseButtonPress : kind == 3 ? QEvent::MouseMove : QEvent::MouseButtonRelease;
        QMouseEvent mouse(type, at, at, Qt::LeftButton, kind == 4 ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&widget, &mouse);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Never destroyed: at exit the synthesized events' pointing device would outlive it.
    new QApplication(*argc, *argv);
    Registry = new TQVClassRegistry;
    Register(*Registry);
    // Fonts, the window system and the caches behind them, set up once, are no leak of an input.
    for (const char *cls : Classes) {
        const std::unique_ptr<QWidget> widget(Create(QString::fromLatin1(cls)));
        widget->show();
        Paint(*widget, 2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input in{data, size};
    const std::unique_ptr<QWidget> widget(Create(QString::fromLatin1(Classes[in.Raw<std::uint8_t>() % std::size(Classes)])));
    const auto resize = [&] { widget->resize(1 + in.Raw<std::uint16_t>() % 1200, 1 + in.Raw<std::uint16_t>() % 1200); };
    resize();
    const int dpr = 1 + (in.Raw<std::uint8_t>() & 1);
    QList<QMetaProperty> writable;
    const QMetaObject *meta = widget->metaObject();
    for (int i = TQVCustomControl::staticMetaObject.propertyOffset(); i < meta->propertyCount(); ++i) {
        if (meta->property(i).isWritable())
            writable.append(meta->property(i));
    }
    widget->show();
    try {
        for (int op = 0; in.size > 0 && op < 48; ++op) {
            const std::uint8_t what = in.Raw<std::uint8_t>();
            if (what < 150) {
                const QMetaProperty property = writable[what % writable.size()];
                const QVariant value = ValueFor(property, in);
                if (value.isValid())
                    property.write(widget.get(), value);
            } else if (what < 200) {
                if (meta->indexOfProperty("Value") >= 0)
                    widget->setProperty("Value", in.Double());
            } else if (what < 215) {
                resize();
            } else {
                SendInput(*widget, in);
            }
            if (op % 4 == 3)
                Paint(*widget, dpr);
        }
        Paint(*widget, dpr);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "fuzz_widgets: exception through the meta-object: %s\n", e.what());
        std::abort();
    }
    return 0;
}
