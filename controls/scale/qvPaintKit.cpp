#include "controls/scale/qvPaintKit.h"

#include <cmath>

#include <QtGui/QPaintEngine>
#include <QtGui/QPainter>
#include <QtGui/QPixmap>
#include <QtWidgets/QWidget>

int QVRoundPx(double x)
{
    if (std::isnan(x))
        return 0;
    x = std::clamp(x, -QVRoundLimit, QVRoundLimit);
    if (std::fabs(x - std::trunc(x)) == 0.5)
        return int(2.0 * std::round(x / 2.0));
    return int(std::round(x));
}

int QVFloorPx(double x)
{
    if (std::isnan(x))
        return 0;
    return int(std::floor(std::clamp(x, -QVRoundLimit, QVRoundLimit)));
}

int QVFrameFit(int width, const QRect &r)
{
    // Computed wide: the rectangle's own width() may not fit an int.
    const qint64 shorter = std::min(qint64(r.right()) - r.left() + 1, qint64(r.bottom()) - r.top() + 1);
    if (width <= 0 || shorter <= 0)
        return 0;
    return int(std::min<qint64>(width, (shorter + 1) / 2));
}

double QVSpanFraction(double value, double lo, double hi)
{
    double t = (value - lo) / (hi - lo);
    if (!std::isfinite(value - lo) || !std::isfinite(hi - lo))
        t = (value * 0.5 - lo * 0.5) / (hi * 0.5 - lo * 0.5); // halves are exact this large
    return std::isnan(t) ? 0.0 : t;
}

qreal QVTargetPixelRatio(const QPainter &painter, const QWidget &widget)
{
    const QPaintDevice *target = painter.paintEngine() ? painter.paintEngine()->paintDevice() : nullptr;
    return target ? target->devicePixelRatioF() : widget.devicePixelRatioF();
}

bool QVEnsurePixmap(QPixmap &pixmap, QSize logical, qreal dpr)
{
    const QSize pixels = (QSizeF(logical) * dpr).toSize();
    if (pixmap.size() == pixels && pixmap.devicePixelRatioF() == dpr && !pixmap.isNull())
        return false;
    pixmap = QPixmap(pixels);
    pixmap.setDevicePixelRatio(dpr);
    return true;
}
