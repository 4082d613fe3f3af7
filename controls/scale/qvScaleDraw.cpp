#include "controls/scale/qvScaleDraw.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include <QtGui/QFontMetrics>
#include <QtGui/QFontMetricsF>
#include <QtGui/QPaintEngine>
#include <QtGui/QPainter>
#include <QtGui/QPalette>
#include <QtGui/QPainterPath>

#include "controls/qvFormat.h"
#include "controls/scale/qvPaintKit.h"

namespace {

// Fills the rectangle from (left, top) up to, not including, (right, bottom); nothing when
// it is empty or inverted.
void FillEdges(QPainter &painter, int left, int top, int right, int bottom, const QColor &color)
{
    if (right > left && bottom > top)
        painter.fillRect(QRect(left, top, right - left, bottom - top), color);
}

// A horizontal or vertical line from `from` towards `to`, without the end point.
void LineTo(QPainter &painter, QPoint from, QPoint to, const QColor &color)
{
    if (from.y() == to.y()) {
        if (from.x() < to.x())
            FillEdges(painter, from.x(), from.y(), to.x(), from.y() + 1, color);
        else if (from.x() > to.x())
            FillEdges(painter, to.x() + 1, from.y(), from.x() + 1, from.y() + 1, color);
    } else if (from.x() == to.x()) {
        if (from.y() < to.y())
            FillEdges(painter, from.x(), from.y(), from.x() + 1, to.y(), color);
        else
            FillEdges(painter, from.x(), to.y() + 1, from.x() + 1, from.y() + 1, color);
    }
}

// The ticks of an adaptive scale (minor ones a little thinner) and its labels.
void PaintTicksAndLabels(QPainter &painter, const std::vector<std::pair<QLineF, bool>> &ticks,
                         const std::vector<TQVScaleLabelBox> &labels, const QFont &font, double penWidth,
                         const QColor &ink)
{
    QPen pen(ink, penWidth, Qt::SolidLine, Qt::FlatCap);
    for (const auto &[line, major] : ticks) {
        pen.setWidthF(major ? penWidth : std::max(1.0, penWidth * 0.75));
        painter.setPen(pen);
        painter.drawLine(line);
    }
    painter.setFont(font);
    painter.setPen(ink);
    for (const TQVScaleLabelBox &label : labels)
        painter.drawText(label.Box, Qt::AlignCenter | Qt::TextDontClip, label.Text);
}

bool UsableRange(double valueMin, double valueMax)
{
    const double span = valueMax - valueMin;
    return std::isfinite(valueMin) && std::isfinite(valueMax) && std::isfinite(span) && span > 0.0;
}

} // namespace

void TQVLinearScaleSpec::SetStyle(int labelingStyle, int orientation)
{
    enum { None, OnlyLines, OnlyLabels, Both, SymmetricStyle, Asymmetric };
    Symmetric = labelingStyle == SymmetricStyle;
    FirstSide = orientation == 0 || orientation == 2 || Symmetric;
    SecondSide = orientation == 1 || orientation == 3 || Symmetric;
    Labels = labelingStyle == OnlyLabels || labelingStyle == Both || Symmetric || labelingStyle == Asymmetric;
    Lines = labelingStyle == OnlyLines || labelingStyle == Both || Symmetric;
}

void TQVLinearScaleSpec::SetInk(TQVColor color, const QPalette &palette, bool adaptive)
{
    Ink = adaptive && color == QVColors::clBlack ? palette.color(QPalette::WindowText) : QVToQColor(color, palette);
}

TQVLinearScaleDraw::TClassicResult TQVLinearScaleDraw::PaintClassic(QPainter &painter, const TQVLinearScaleSpec &scale,
                                                                    const TQVClassicLinearGeometry &g)
{
    TClassicResult result;
    result.Gap = scale.Gap;
    // A range whose double overflows has no scale: the gap guard would store inf.
    if ((!scale.Labels && !scale.Lines) || !UsableRange(scale.ValueMin, scale.ValueMax) || !std::isfinite(scale.Gap)
        || !(scale.Gap > 0.0) || !std::isfinite((scale.ValueMax - scale.ValueMin) * 2.0))
        return result;
    const bool vertical = scale.Vertical;
    const int aLeft = g.Area.left(), aTop = g.Area.top();
    const int aRight = aLeft + g.Area.width(), aBottom = aTop + g.Area.height();
    const int span = vertical ? aBottom - aTop : aRight - aLeft;
    if (span <= 0)
        return result;
    const double d = scale.ValueMax - scale.ValueMin;
    const int w = g.Widget.width(), h = g.Widget.height();

    // Gap guard: lines closer than 2 pixels enlarge the gap, which the control keeps.
    const double lines = d * 2.0 / scale.Gap;
    const std::int64_t n = lines >= 9.0e18 ? std::numeric_limits<std::int64_t>::max() : std::int64_t(std::trunc(lines));
    if (span < n)
        result.Gap = d * 2.0 / span;
    const double gap = result.Gap;
    const int pitch = QVRoundPx(span * gap / d);
    if (pitch <= 0)
        return result;

    painter.setFont(scale.Font);
    painter.setBackgroundMode(Qt::TransparentMode);
    painter.setPen(scale.Ink);
    const QFontMetrics fm = painter.fontMetrics();
    const QString format = QVLabelFormat(TQVLabelFormatRule::Linear, scale.ValueMin, scale.ValueMax, scale.Decimals,
                                         scale.PrefixId);
    result.LabelHeight = fm.height();
    const double widest = std::fabs(scale.ValueMin) >= std::fabs(scale.ValueMax) ? scale.ValueMin : scale.ValueMax;
    result.LabelWidth = fm.horizontalAdvance(QVFormatFloat(format, widest, scale.Locale) + QLatin1Char('-'));

    // Labels stand on every k-th line: two text heights apart on a vertical scale, one estimated
    // label width and 10 pixels on a horizontal one.
    const int k = QVLabelStride(pitch, vertical ? 2 * result.LabelHeight : result.LabelWidth + 10);
    double gapK = gap; // accumulated as the stride grows, the classic way
    for (int i = 1; i < k; ++i)
        gapK += gap;
    const double first = QVFirstTick(scale.ValueMin, gap);
    const int offset = QVRoundPx(span * scale.ValueMin / d);
    // Lines lie at least 2 pixels apart, so this many steps cover the scale; the bound also
    // stops a step that is lost in the rounding of a large value.
    const int maxSteps = span + 2;
    int widestLabel = 0;

    if (scale.Labels) {
        // A partial repaint clips most labels away; text outside the clip is skipped.
        const QRect clip = painter.hasClipping() ? painter.clipBoundingRect().toAlignedRect() : QRect();
        const TLabelKey key{first, gapK, scale.ValueMax, format, scale.Suffix, scale.PrefixId, scale.Font, scale.Locale};
        if (!(key == m_key)) {
            m_key = key;
            m_labels.clear();
        }
        // The label texts are accumulated as the classic scales always did: t, t + k·gap, …
        double t = first;
        for (int i = 0; t <= scale.ValueMax && i < maxSteps; ++i, t += gapK) {
            const int p = QVRoundPx(span * t / d);
            if (std::size_t(i) >= m_labels.size()) {
                const QString text = QVScaleLabelText(format, t, scale.PrefixId, scale.Suffix, scale.Locale);
                m_labels.emplace_back(text, fm.horizontalAdvance(text));
            }
            const QString &text = m_labels[std::size_t(i)].first;
            const int textWidth = m_labels[std::size_t(i)].second;
            result.LabelWidth = textWidth;
            widestLabel = std::max(widestLabel, textWidth);
            int x1, x2, y1, y2;
            if (vertical) {
                y1 = y2 = aBottom - p - result.LabelHeight / 2 + offset;
                x1 = g.Asymmetric ? int(w * 0.2) + aLeft + g.Width8 : aLeft;
                x2 = g.Asymmetric ? aRight - textWidth - int(w * 0.2) - g.Width8 : aRight - textWidth;
            } else {
                x1 = x2 = p + aLeft - textWidth / 2 - offset;
                y1 = g.Asymmetric ? aTop + int(result.LabelHeight * 0.5 + h * 0.2) : aTop;
                y2 = g.Asymmetric ? aBottom - int(result.LabelHeight * 1.5 + h * 0.2) : aBottom - result.LabelHeight;
            }
            const auto visible = [&](int x, int y) {
                return clip.isNull() || clip.intersects(QRect(x, y, textWidth, result.LabelHeight));
            };
            if (scale.FirstSide && visible(x1, y1))
                painter.drawText(QPoint(x1, y1 + fm.ascent()), text);
            if (scale.SecondSide && visible(x2, y2))
                painter.drawText(QPoint(x2, y2 + fm.ascent()), text);
        }
    }

    if (!scale.Lines)
        return result;
    // Lines stop at the bar; with labels they start beside the widest one, major lines (those
    // that carry a label) 4 pixels nearer to it.
    const int indent = scale.Labels ? (vertical ? widestLabel : result.LabelHeight) + 8 : 0;
    const int thickness = g.BarThickness;
    const int boxLeft = (w - thickness) / 2, boxRight = boxLeft + thickness;
    const int boxTop = (h - thickness) / 2, boxBottom = boxTop + thickness;
    const QColor ink = scale.Ink;
    int c = k;
    double t = first;
    for (int step = 0; 1.000000001 * scale.ValueMax >= t && step < maxSteps; ++step, t += gap) {
        const int p = QVRoundPx(span * t / d);
        const int major = c == k ? 4 : 0;
        // Along the scale and across it; the first side is left of a vertical scale, above a
        // horizontal one.
        const int along = vertical ? aBottom - p + offset : p + aLeft - offset;
        const auto at = [&](int across) { return vertical ? QPoint(across, along) : QPoint(along, across); };
        const int firstEdge = vertical ? aLeft : aTop, secondEdge = vertical ? aRight : aBottom;
        const int nearFirst = (secondEdge - thickness) / 2, nearSecond = (secondEdge + thickness) / 2;
        if (scale.FirstSide) {
            const int from = firstEdge + indent - major;
            if (from <= (vertical ? boxLeft : boxTop))
                LineTo(painter, at(from), at(nearFirst), ink);
            if (!scale.Symmetric)
                LineTo(painter, at(secondEdge), at(nearSecond), ink);
        }
        if (scale.SecondSide) {
            const int from = secondEdge - indent + major;
            if (from >= (vertical ? boxRight : boxBottom))
                LineTo(painter, at(from), at(nearSecond), ink);
            if (!scale.Symmetric)
                LineTo(painter, at(firstEdge), at(nearFirst), ink);
        }
        if (++c > k)
            c = 1;
    }
    return result;
}

double TQVLinearScaleLayout::PositionOf(double value, double valueMin, double valueMax) const
{
    return Lower + (value - valueMin) / (valueMax - valueMin) * (Upper - Lower);
}

TQVLinearScaleLayout TQVLinearScaleDraw::LayoutAdaptive(const TQVLinearScaleSpec &scale, const QRect &bounds,
                                                       int thickness, int inset, int marginLower, int marginUpper)
{
    TQVLinearScaleLayout layout;
    if (!bounds.isValid() || !UsableRange(scale.ValueMin, scale.ValueMax))
        return layout;
    const bool vertical = scale.Vertical;
    const int along = vertical ? bounds.height() : bounds.width();
    int across = vertical ? bounds.width() : bounds.height();
    inset = std::clamp(inset, 0, along / 2);
    marginLower = std::clamp(marginLower, 0, along / 3);
    marginUpper = std::clamp(marginUpper, 0, along / 3);
    thickness = std::clamp(thickness, 1, std::max(1, across));

    // The font follows the size: a seventeenth of the length, between 7 points (or the user's
    // size when smaller) and one and a half times the user's size.
    QFont font = scale.Font;
    const double userPt = font.pointSizeF() > 0 ? font.pointSizeF() : std::max(1, font.pixelSize()) * 0.75;
    const double smallest = std::min(userPt, 7.0);
    font.setPointSizeF(std::clamp(along / 17.0, smallest, std::max(smallest, userPt * 1.5)));
    bool labels = scale.Labels && (scale.FirstSide || scale.SecondSide);
    bool firstSide = scale.FirstSide, secondSide = scale.SecondSide;

    TQVScaleDivision div;
    double lower = 0, upper = 0; // pixel positions of the scale ends along the length
    double labelHeight = 0, labelBand = 0;
    int majorLength = 0, minorLength = 0, padding = 0;
    // Fits the scale along the length; end labels must not stick out of `bounds`.
    const auto divide = [&]() {
        const QFontMetricsF fm(font);
        labelHeight = fm.height();
        majorLength = std::max(4, QVRoundPx(labelHeight * 0.45));
        minorLength = std::max(2, QVRoundPx(majorLength * 0.55));
        padding = std::max(2, QVRoundPx(labelHeight * 0.25));
        double endLower = 0, endUpper = 0; // half extents of the end labels along the length
        for (int pass = 0; pass < 3; ++pass) {
            const double start = vertical ? bounds.top() : bounds.left();
            const double end = start + along;
            const double marginLo = std::max<double>(marginLower + inset, labels ? std::ceil(endLower) + 1 : 0);
            const double marginHi = std::max<double>(marginUpper + inset, labels ? std::ceil(endUpper) + 1 : 0);
            const double length = along - marginLo - marginHi;
            if (length < 2)
                return false;
            // Vertical scales grow upwards.
            lower = vertical ? end - marginLo : start + marginLo;
            upper = vertical ? start + marginHi : end - marginHi;
            TQVAdaptiveScaleRequest request;
            request.ValueMin = scale.ValueMin;
            request.ValueMax = scale.ValueMax;
            request.Length = length;
            request.MinTickGap = scale.Gap;
            request.LabelPadding = vertical ? padding : 2.0 * padding;
            request.Decimals = scale.Decimals == scale.DefaultDecimals ? -1 : scale.Decimals;
            request.PrefixId = scale.PrefixId;
            request.Suffix = scale.Suffix;
            request.Locale = scale.Locale;
            request.Extent = [&](const QString &text) { return vertical ? labelHeight : fm.horizontalAdvance(text); };
            div = QVAdaptiveDivision(request);
            if (div.IsEmpty() || !labels)
                return !div.IsEmpty();
            const double newLower = vertical ? labelHeight / 2 : fm.horizontalAdvance(div.Texts.front()) / 2;
            const double newUpper = vertical ? labelHeight / 2 : fm.horizontalAdvance(div.Texts.back()) / 2;
            const bool fits = newLower <= endLower && newUpper <= endUpper;
            endLower = std::max(endLower, newLower);
            endUpper = std::max(endUpper, newUpper);
            if (fits)
                break;
        }
        labelBand = 0;
        for (const QString &text : div.Texts)
            labelBand = std::max(labelBand, vertical ? fm.horizontalAdvance(text) : labelHeight);
        labelBand = std::ceil(labelBand);
        return true;
    };
    if (!divide())
        return layout;

    // Across: [labels][padding][ticks] track [ticks][padding][labels], centred. What does not fit
    // goes: the second label side, then a smaller font, then the labels.
    const auto needed = [&] {
        const int sides = int(firstSide) + int(secondSide);
        const int tickBand = scale.Lines ? majorLength + 1 : 0;
        return thickness + sides * tickBand + (labels ? sides * (int(labelBand) + padding) : 0);
    };
    while (needed() > across) {
        if (labels && firstSide && secondSide) {
            secondSide = false;
        } else if (labels && font.pointSizeF() > 6.0) {
            font.setPointSizeF(std::max(6.0, font.pointSizeF() - 1.0));
            if (!divide())
                return layout;
        } else if (labels) {
            labels = false;
            firstSide = scale.FirstSide || !scale.SecondSide;
            secondSide = scale.SecondSide && !scale.FirstSide;
        } else if (scale.Lines && majorLength > 2) {
            majorLength = std::max(2, majorLength / 2);
            minorLength = std::max(1, majorLength / 2);
        } else {
            thickness = std::max(1, across - (needed() - thickness));
            break;
        }
    }
    const int tickBand = scale.Lines ? majorLength + 1 : 0;
    const int firstBand = firstSide ? tickBand + (labels ? int(labelBand) + padding : 0) : 0;
    const int total = needed();
    const int acrossStart = (vertical ? bounds.left() : bounds.top()) + std::max(0, (across - total) / 2);
    const int trackStart = acrossStart + firstBand;
    const int trackLo = int(std::floor(std::min(lower, upper))) - inset;
    const int trackHi = int(std::ceil(std::max(lower, upper))) + inset;
    layout.Track = vertical ? QRect(trackStart, trackLo, thickness, trackHi - trackLo)
                            : QRect(trackLo, trackStart, trackHi - trackLo, thickness);
    layout.Lower = lower;
    layout.Upper = upper;
    layout.Font = font;
    layout.Pen = labelHeight >= 24 ? 2.0 : labelHeight >= 17 ? 1.5 : 1.0;

    const QFontMetricsF fm(font);
    const double near1 = trackStart, near2 = trackStart + thickness; // track edges across
    std::size_t label = 0;
    for (const TQVScaleTick &tick : div.Ticks) {
        // Crisp lines: on pixel centres for odd pen widths.
        double pos = layout.PositionOf(tick.Value, scale.ValueMin, scale.ValueMax);
        pos = std::floor(pos) + 0.5;
        const int length = tick.Major ? majorLength : minorLength;
        const auto line = [&](double from, double to) {
            layout.Ticks.emplace_back(vertical ? QLineF(from, pos, to, pos) : QLineF(pos, from, pos, to), tick.Major);
        };
        if (scale.Lines && firstSide)
            line(near1 - 1 - length, near1 - 1);
        if (scale.Lines && secondSide)
            line(near2 + 1, near2 + 1 + length);
        if (!tick.Major)
            continue;
        const QString &text = div.Texts[label++];
        if (!labels)
            continue;
        const double w = std::ceil(fm.horizontalAdvance(text));
        const double exact = layout.PositionOf(tick.Value, scale.ValueMin, scale.ValueMax);
        if (firstSide) {
            const double edge = near1 - tickBand - padding;
            layout.Labels.push_back({vertical ? QRectF(edge - w, exact - labelHeight / 2, w, labelHeight)
                                              : QRectF(exact - w / 2, edge - labelHeight, w, labelHeight),
                                     text});
        }
        if (secondSide) {
            const double edge = near2 + tickBand + padding;
            layout.Labels.push_back({vertical ? QRectF(edge, exact - labelHeight / 2, w, labelHeight)
                                              : QRectF(exact - w / 2, edge, w, labelHeight),
                                     text});
        }
    }
    return layout;
}

QSize TQVLinearScaleDraw::AdaptiveSizeHint(const TQVLinearScaleSpec &scale, int thickness, int inset, bool minimum)
{
    const QFontMetricsF fm(scale.Font);
    const int sides = scale.Labels || scale.Lines ? int(scale.FirstSide) + int(scale.SecondSide) : 0;
    double label = 0.0;
    if (scale.Labels && UsableRange(scale.ValueMin, scale.ValueMax)) {
        // The widest end, with the decimals of a step of about a fifth of the range.
        const int decimals = scale.Decimals == scale.DefaultDecimals
            ? QVStepDecimals(QVNiceStep((scale.ValueMax - scale.ValueMin) / 5.0))
            : std::clamp(scale.Decimals, 0, 15);
        const QString format = QVLabelFormat(TQVLabelFormatRule::Linear, scale.ValueMin, scale.ValueMax, decimals,
                                             scale.PrefixId);
        for (double end : {scale.ValueMin, scale.ValueMax}) {
            const QString text = QVScaleLabelText(format, end, scale.PrefixId, scale.Suffix, scale.Locale);
            label = std::max(label, scale.Vertical ? fm.horizontalAdvance(text) : fm.height());
        }
    }
    const double tick = scale.Lines ? std::max(4.0, fm.height() * 0.45) + 1.0 : 0.0;
    const double padding = std::max(2.0, fm.height() * 0.25);
    const int across = int(std::ceil(std::clamp(thickness, 1, 1 << 16) + sides * (tick + (label > 0 ? label + padding : 0)) + 4));
    const int along = int(std::ceil(fm.height() * (minimum ? 3.0 : 8.0))) + 2 * std::clamp(inset, 0, 1 << 16);
    return scale.Vertical ? QSize(across, along) : QSize(along, across);
}

void TQVLinearScaleDraw::PaintAdaptive(QPainter &painter, const TQVLinearScaleLayout &layout, const QColor &ink)
{
    painter.save();
    PaintTicksAndLabels(painter, layout.Ticks, layout.Labels, layout.Font, layout.Pen, ink);
    painter.restore();
}

namespace {

constexpr double Pi = 3.141592653589793;

double Radians(double degrees)
{
    return degrees * Pi / 180.0;
}

// The direction of `degrees` (0 up, clockwise) in widget coordinates.
QPointF Direction(double degrees)
{
    const double a = Radians(degrees);
    return QPointF(std::sin(a), -std::cos(a));
}

// Whether the arc from `a1` to `a2` passes the direction `c` (in degrees, any turn).
bool Passes(double a1, double a2, double c)
{
    const double k = std::ceil((a1 - c) / 360.0);
    return c + 360.0 * k <= a2;
}

} // namespace

double TQVRoundScaleLayout::AngleOf(double value) const
{
    const double v = std::clamp(value, ValueMin, ValueMax);
    return Angle1 + (Angle2 - Angle1) * (v - ValueMin) / (ValueMax - ValueMin);
}

TQVRoundScaleLayout TQVRoundScaleDraw::LayoutAdaptive(const TQVRoundScaleSpec &scale, const QRect &bounds)
{
    TQVRoundScaleLayout layout = Layout(scale, bounds);
    // Too small for labels: the arc and its ticks alone, then the arc alone.
    if (!layout.Valid && scale.Labels) {
        TQVRoundScaleSpec bare = scale;
        bare.Labels = false;
        layout = Layout(bare, bounds);
        if (!layout.Valid && bare.Ticks) {
            bare.Ticks = false;
            layout = Layout(bare, bounds);
        }
    }
    return layout;
}

TQVRoundScaleLayout TQVRoundScaleDraw::Layout(const TQVRoundScaleSpec &scale, const QRect &bounds)
{
    TQVRoundScaleLayout layout;
    const double a1 = scale.Angle1, a2 = scale.Angle2;
    if (!bounds.isValid() || !UsableRange(scale.ValueMin, scale.ValueMax) || !std::isfinite(a1) || !std::isfinite(a2)
        || !(a2 > a1) || a2 - a1 > 720.0)
        return layout;
    const double sweep = std::min(a2 - a1, 360.0);
    const bool fullCircle = sweep >= 360.0 - 1e-9;
    // The unit bounding box of the arc's points, and of the centre with its hub.
    double left = std::min(Direction(a1).x(), Direction(a2).x()), right = std::max(Direction(a1).x(), Direction(a2).x());
    double top = std::min(Direction(a1).y(), Direction(a2).y()), bottom = std::max(Direction(a1).y(), Direction(a2).y());
    if (fullCircle || Passes(a1, a2, 0.0))
        top = -1.0;
    if (fullCircle || Passes(a1, a2, 90.0))
        right = 1.0;
    if (fullCircle || Passes(a1, a2, 180.0))
        bottom = 1.0;
    if (fullCircle || Passes(a1, a2, 270.0))
        left = -1.0;
    const double hub = std::clamp(scale.HubFraction, 0.0, 1.0);
    // Sides that only the hub reaches need no room for labels.
    const bool arcLeft = left < -hub, arcRight = right > hub, arcTop = top < -hub, arcBottom = bottom > hub;
    left = std::min(left, -hub);
    right = std::max(right, hub);
    top = std::min(top, -hub);
    bottom = std::max(bottom, hub);

    const int w = bounds.width(), h = bounds.height();
    QFont font = scale.Font;
    const double userPt = font.pointSizeF() > 0 ? font.pointSizeF() : std::max(1, font.pixelSize()) * 0.75;
    const double smallest = std::min(userPt, 7.0);
    font.setPointSizeF(std::clamp(std::min(w, h) / 20.0, smallest, std::max(smallest, userPt * 1.5)));
    const QFontMetricsF fm(font);
    const double labelHeight = fm.height();
    const double tick = scale.Ticks ? std::max(4.0, std::round(labelHeight * 0.5)) : 0.0;
    const double gap = std::max(2.0, std::round(labelHeight * 0.25));
    const double band = std::clamp(scale.BandPercent, 0.0, 100.0) / 100.0;
    const bool outside = scale.Labels && !scale.LabelsInside;

    TQVScaleDivision div;
    double widest = scale.Labels ? fm.horizontalAdvance(QStringLiteral("-000")) : 0.0;
    double radius = 0.0;
    const auto extent = [&](const QString &text) {
        const double tw = fm.horizontalAdvance(text);
        return std::max(std::max(tw, labelHeight), (tw + labelHeight) * 0.7072);
    };
    // The labels' division for an arc of `radius`.
    const auto divide = [&](double radius) {
        const double labelRadius = outside ? radius + tick + gap : radius * (1.0 - band) - tick - gap;
        TQVAdaptiveScaleRequest request;
        request.ValueMin = scale.ValueMin;
        request.ValueMax = scale.ValueMax;
        request.Length = std::max(1.0, labelRadius * Radians(sweep));
        request.MinTickGap = scale.Gap;
        request.MinTickPixels = 4.0 * std::max(1.0, labelRadius) / std::max(1.0, radius);
        request.LabelPadding = gap;
        request.Decimals = scale.Decimals == scale.DefaultDecimals ? -1 : scale.Decimals;
        request.PrefixId = scale.PrefixId;
        request.CompactPrefix = true;
        request.Locale = scale.Locale;
        request.Extent = extent;
        return QVAdaptiveDivision(request);
    };
    bool coarsest = false; // the division of the smallest arc, for a scale tight on room
    for (int pass = 0; pass < 4; ++pass) {
        // Room outside the arc: the ticks, and labels standing beside them.
        const double mx = tick + 2.0 + (outside ? gap + widest + labelHeight / 2.0 : 0.0);
        const double my = tick + 2.0 + (outside ? gap + widest / 2.0 + labelHeight : 0.0);
        const double roomW = w - (arcLeft ? mx : 2.0) - (arcRight ? mx : 2.0);
        const double roomH = h - (arcTop ? my : 2.0) - (arcBottom ? my : 2.0);
        radius = std::min(roomW / (right - left), roomH / (bottom - top));
        if (!(radius >= 4.0)) {
            // Room for "-000" leaves no arc: try again with the fewest labels, those of a small arc.
            double small = 0.0;
            if (pass == 0 && scale.Labels) {
                for (const QString &text : divide(4.0).Texts)
                    small = std::max(small, fm.horizontalAdvance(text));
            }
            if (small > 0.0 && small < widest) {
                widest = small;
                coarsest = true;
                continue;
            }
            return layout;
        }
        const double usedW = radius * (right - left) + (arcLeft ? mx : 2.0) + (arcRight ? mx : 2.0);
        const double usedH = radius * (bottom - top) + (arcTop ? my : 2.0) + (arcBottom ? my : 2.0);
        layout.Centre = QPointF(bounds.left() + (w - usedW) / 2.0 + (arcLeft ? mx : 2.0) - radius * left,
                                bounds.top() + (h - usedH) / 2.0 + (arcTop ? my : 2.0) - radius * top);
        div = divide(coarsest ? 4.0 : radius);
        double measured = 0.0;
        for (const QString &text : div.Texts)
            measured = std::max(measured, fm.horizontalAdvance(text));
        if (!scale.Labels || measured <= widest)
            break;
        widest = measured;
    }
    const double shiftX = std::clamp(scale.ShiftX, -60.0, 60.0) * w / 100.0;
    const double shiftY = std::clamp(scale.ShiftY, -60.0, 60.0) * h / 100.0;
    layout.Angle1 = a1;
    layout.Angle2 = a1 + sweep;
    layout.ValueMin = scale.ValueMin;
    layout.ValueMax = scale.ValueMax;
    layout.Font = font;
    layout.Pen = labelHeight >= 24 ? 2.0 : labelHeight >= 17 ? 1.5 : 1.0;

    // Ticks and labels around a centre; returns the box of everything drawn.
    const auto build = [&](double outer, QPointF centre) {
        layout.Ticks.clear();
        layout.Labels.clear();
        layout.Outer = outer;
        layout.Inner = outer * (1.0 - band);
        layout.Centre = centre;
        const double inner = layout.Inner;
        const double hubRadius = outer * hub;
        QRectF box(centre - QPointF(hubRadius, hubRadius), centre + QPointF(hubRadius, hubRadius));
        std::size_t label = 0;
        double firstAngle = 0.0;
        for (std::size_t i = 0; i < div.Ticks.size(); ++i) {
            const TQVScaleTick &t = div.Ticks[i];
            const double angle = layout.AngleOf(t.Value);
            // On a full circle the last tick falls onto the first.
            if (fullCircle && i > 0 && i + 1 == div.Ticks.size() && std::fabs(angle - 360.0 - firstAngle) < 1e-6)
                break;
            if (i == 0)
                firstAngle = angle;
            const QPointF d = Direction(angle);
            const bool out = outside || !scale.Labels;
            const double from = out ? (t.Major ? inner : (inner + outer) / 2.0) : inner - (t.Major ? tick : tick / 2.0);
            const double to = out ? outer + (t.Major ? tick : tick / 2.0) : (t.Major ? outer : (inner + outer) / 2.0);
            box |= QRectF(centre + d * outer, QSizeF(0.01, 0.01));
            if (scale.Ticks) {
                layout.Ticks.emplace_back(QLineF(centre + d * from, centre + d * to), t.Major);
                box |= QRectF(centre + d * to, QSizeF(0.01, 0.01));
            }
            if (!t.Major)
                continue;
            const QString &text = div.Texts[label++];
            if (!scale.Labels)
                continue;
            const double tw = std::ceil(fm.horizontalAdvance(text));
            // Distance from the label's centre to its edge towards the centre of the scale.
            const double reach = std::fabs(tw / 2.0 * d.x()) + std::fabs(labelHeight / 2.0 * d.y());
            const double r = outside ? outer + tick + gap + reach : inner - tick - gap - reach;
            if (r <= reach)
                continue;
            const QPointF p = centre + d * r;
            layout.Labels.push_back({QRectF(p.x() - tw / 2.0, p.y() - labelHeight / 2.0, tw, labelHeight), text});
            box |= layout.Labels.back().Box;
        }
        // The band's extreme points where the arc passes a side.
        const auto extreme = [&](double x, double y) { box |= QRectF(centre + QPointF(x, y) * outer, QSizeF(0.01, 0.01)); };
        extreme(left < -hub ? left : 0.0, 0.0);
        extreme(right > hub ? right : 0.0, 0.0);
        extreme(0.0, top < -hub ? top : 0.0);
        extreme(0.0, bottom > hub ? bottom : 0.0);
        return box;
    };
    // Size the radius until everything just fits, then centre the whole in the bounds.
    const QRectF room = QRectF(bounds).adjusted(1, 1, -1, -1);
    const auto fitRadius = [&](double &radius, QPointF &centre) {
        for (int pass = 0; pass < 6; ++pass) {
            const QRectF box = build(radius, centre);
            const double scaleW = (room.width() - (box.width() - radius * (right - left))) / (radius * (right - left));
            const double scaleH = (room.height() - (box.height() - radius * (bottom - top))) / (radius * (bottom - top));
            const double fit = std::min(scaleW, scaleH);
            centre += room.center() - box.center();
            if (fit >= 0.999 && fit <= 1.01 && room.contains(box.translated(room.center() - box.center())))
                break;
            // The labels and ticks keep their size: scaling the radius by `fit` fills the room.
            const double reduced = radius * (fit > 1.0 ? std::min(fit, 1.5) : std::min(0.995, fit));
            if (!(reduced >= 4.0))
                return false;
            centre = room.center() + (centre - room.center()) * (reduced / radius);
            radius = reduced;
        }
        return true;
    };
    QPointF centre = layout.Centre;
    const double divided = radius;
    if (!fitRadius(radius, centre))
        return layout;
    // The division was made for the first estimate of the room; an arc that grew beyond it
    // has room for finer labels, kept where they still fit at that size.
    if (scale.Labels && radius > divided * 1.05) {
        const TQVScaleDivision coarse = div;
        const double grown = radius;
        const QPointF grownCentre = centre;
        div = divide(radius);
        if (!fitRadius(radius, centre) || radius < grown * 0.995) {
            div = coarse;
            radius = grown;
            centre = grownCentre;
        }
    }
    if (scale.ScalePercent != 100.0)
        radius *= std::clamp(scale.ScalePercent, 10.0, 400.0) / 100.0;
    // The centre on a whole pixel: the hub and a vertical needle stay crisp.
    const QRectF finalBox = build(radius, centre);
    centre += room.center() - finalBox.center();
    build(radius, QPointF(std::round(centre.x() + shiftX), std::round(centre.y() + shiftY)));
    layout.Valid = std::isfinite(layout.Centre.x()) && std::isfinite(layout.Centre.y()) && std::isfinite(radius)
        && QRectF(bounds).adjusted(-1e6, -1e6, 1e6, 1e6).contains(layout.Centre);
    return layout;
}

void TQVRoundScaleDraw::PaintAdaptive(QPainter &painter, const TQVRoundScaleLayout &layout,
                                      const std::vector<TBand> &bands, const QColor &ink)
{
    if (!layout.Valid)
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF c = layout.Centre;
    const QRectF outerBox(c.x() - layout.Outer, c.y() - layout.Outer, 2 * layout.Outer, 2 * layout.Outer);
    const QRectF innerBox(c.x() - layout.Inner, c.y() - layout.Inner, 2 * layout.Inner, 2 * layout.Inner);
    // Qt counts angles from 3 o'clock, counter-clockwise.
    const auto qtAngle = [](double degrees) { return 90.0 - degrees; };
    painter.setPen(Qt::NoPen);
    for (const TBand &band : bands) {
        const double from = layout.AngleOf(std::min(band.From, band.To));
        const double to = layout.AngleOf(std::max(band.From, band.To));
        if (!(to > from) || layout.Outer - layout.Inner < 0.5)
            continue;
        QPainterPath path;
        path.arcMoveTo(outerBox, qtAngle(from));
        path.arcTo(outerBox, qtAngle(from), -(to - from));
        path.arcTo(innerBox, qtAngle(to), to - from);
        path.closeSubpath();
        painter.setBrush(band.Color);
        painter.drawPath(path);
    }
    QPen pen(ink, layout.Pen, Qt::SolidLine, Qt::FlatCap);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawArc(outerBox, int(std::lround(qtAngle(layout.Angle1) * 16.0)),
                    -int(std::lround((layout.Angle2 - layout.Angle1) * 16.0)));
    PaintTicksAndLabels(painter, layout.Ticks, layout.Labels, layout.Font, layout.Pen, ink);
    painter.restore();
}

// ---------------------------------------------------------------------------------------
// Plot axes

double TQVPlotAxisInfo::Position(double value, double from, double to) const
{
    if (Log) {
        if (!(value > 0.0) || !(ValueMin > 0.0) || !(ValueMax > ValueMin))
            return std::numeric_limits<double>::quiet_NaN();
        return from + std::log10(value / ValueMin) / std::log10(ValueMax / ValueMin) * (to - from);
    }
    const double position = from + (value - ValueMin) / (ValueMax - ValueMin) * (to - from);
    // An axis of ±1e308 overflows the differences.
    return std::isfinite(position) ? position : from + QVSpanFraction(value, ValueMin, ValueMax) * (to - from);
}

namespace {

// The label metrics of plot axes in one font.
struct TPlotMetrics
{
    explicit TPlotMetrics(const QFont &font)
        : Metrics(font)
        , Height(std::ceil(Metrics.height()))
        , Pen(Height >= 24 ? 2.0 : Height >= 17 ? 1.5 : 1.0)
        , Frame(int(std::ceil(Pen)))
        , Major(std::max(3, QVRoundPx(Height * 0.4)))
        , Minor(std::max(2, QVRoundPx(Major * 0.55)))
        , Padding(std::max(2, QVRoundPx(Height * 0.25)))
        // x labels start below the lowest y label, which reaches half a line below the plot area
        , XLabelOffset(Frame + std::max(Major + Padding, int(std::ceil(Height / 2)) + 1))
    {
    }
    double Width(const QString &text) const { return std::ceil(Metrics.horizontalAdvance(text)); }

    QFontMetricsF Metrics;
    double Height;
    double Pen;
    int Frame, Major, Minor, Padding, XLabelOffset;
};

TQVScaleDivision DivideAxis(const TQVPlotAxisInfo &axis, double length, bool vertical, const TPlotMetrics &m)
{
    TQVAdaptiveScaleRequest request;
    request.ValueMin = axis.ValueMin;
    request.ValueMax = axis.ValueMax;
    request.Length = length;
    request.MinTickPixels = std::max(4.0, m.Height * 0.3);
    // A grid reads best with some air between its labels: most of a line on either axis.
    request.LabelPadding = vertical ? m.Height * 0.8 : m.Height;
    request.Suffix = axis.Unit;
    request.Locale = axis.Locale;
    if (vertical)
        request.Extent = [&m](const QString &) { return m.Height; };
    else
        request.Extent = [&m](const QString &text) { return m.Width(text); };
    return QVAxisDivision(request, axis.Log, axis.Prefix);
}

double WidestLabel(const TQVScaleDivision &div, const TPlotMetrics &m)
{
    double widest = 0.0;
    for (const QString &text : div.Texts)
        widest = std::max(widest, m.Width(text));
    return widest;
}

TQVPlotAxesLayout LayoutPlotAxesOnce(const TQVPlotAxisInfo &x, const TQVPlotAxisInfo &y, const QFont &font,
                                     const QRect &bounds)
{
    const TPlotMetrics m(font);
    TQVPlotAxesLayout layout;
    layout.Font = font;
    layout.Pen = m.Pen;
    layout.Frame = m.Frame;
    const int halfLine = int(std::ceil(m.Height / 2));
    const int top = bounds.top() + halfLine + m.Frame; // the upper y label reaches half a line above
    const int height = bounds.bottom() + 1 - m.XLabelOffset - int(m.Height) - top;
    const int innerLeft = bounds.left() + m.Frame, innerRight = bounds.right() + 1 - m.Frame;
    if (height < 2 || innerRight - innerLeft < 2) {
        // No room for labels: a framed plot area alone.
        layout.Plot = QRect(innerLeft, bounds.top() + m.Frame, std::max(1, innerRight - innerLeft),
                            std::max(1, bounds.height() - 2 * m.Frame));
        return layout;
    }
    layout.Y = DivideAxis(y, height, true, m);
    const int minLeft = bounds.left() + int(WidestLabel(layout.Y, m)) + m.Padding + m.Major + m.Frame;

    // The end x labels reach beyond the plot area by up to half their width: the plot area
    // gives them room inside the bounds.
    double overLow = 0.0, overHigh = 0.0;
    int left = minLeft, width = 0;
    for (int pass = 0; pass < 4; ++pass) {
        left = std::max({minLeft, innerLeft, bounds.left() + int(std::ceil(overLow))});
        width = std::min(innerRight, bounds.right() + 1 - int(std::ceil(overHigh))) - left;
        if (width < 2)
            break;
        layout.X = DivideAxis(x, width, false, m);
        double low = 0.0, high = 0.0;
        std::size_t label = 0;
        for (const TQVScaleTick &tick : layout.X.Ticks) {
            if (!tick.Major)
                continue;
            const double pos = x.Position(tick.Value, 0.0, width), half = m.Width(layout.X.Texts[label++]) / 2.0;
            if (std::isfinite(pos)) {
                low = std::max(low, half - pos);
                high = std::max(high, pos + half - width);
            }
        }
        if (low <= left - bounds.left() && high <= bounds.right() + 1 - (left + width))
            break;
        overLow = std::max(overLow, low);
        overHigh = std::max(overHigh, high);
    }
    if (width < 2) {
        layout.Plot = QRect(minLeft, top, std::max(1, innerRight - minLeft), height);
        layout.X = {};
        layout.Y = {};
        return layout;
    }
    layout.Plot = QRect(left, top, width, height);

    const QRect &p = layout.Plot;
    const QRectF inside(bounds);
    const double xBase = p.bottom() + 1.0 + m.Frame, yBase = p.left() - m.Frame;
    std::size_t label = 0;
    for (const TQVScaleTick &tick : layout.X.Ticks) {
        const double pos = x.Position(tick.Value, p.left(), p.left() + p.width());
        const QString text = tick.Major ? layout.X.Texts[label++] : QString();
        if (!std::isfinite(pos))
            continue;
        layout.Ticks.emplace_back(QLineF(pos, xBase, pos, xBase + (tick.Major ? m.Major : m.Minor)), tick.Major);
        const double w = m.Width(text);
        const QRectF box(pos - w / 2.0, p.bottom() + 1.0 + m.XLabelOffset, w, m.Height);
        if (tick.Major && inside.contains(box)) // what the passes could not make room for stays out
            layout.Labels.push_back({box, text});
    }
    label = 0;
    for (const TQVScaleTick &tick : layout.Y.Ticks) {
        const double pos = y.Position(tick.Value, p.top() + p.height(), p.top());
        const QString text = tick.Major ? layout.Y.Texts[label++] : QString();
        if (!std::isfinite(pos))
            continue;
        layout.Ticks.emplace_back(QLineF(yBase - (tick.Major ? m.Major : m.Minor), pos, yBase, pos), tick.Major);
        const double w = m.Width(text);
        const QRectF box(yBase - m.Major - m.Padding - w, pos - m.Height / 2.0, w, m.Height);
        if (tick.Major && inside.contains(box))
            layout.Labels.push_back({box, text});
    }
    return layout;
}

} // namespace

QFont QVAdaptivePlotFont(const QFont &font, const QSize &size)
{
    QFont scaled = font;
    const double userPt = font.pointSizeF() > 0 ? font.pointSizeF() : std::max(1, font.pixelSize()) * 0.75;
    const double smallest = std::min(userPt, 7.0);
    const double factor = std::min(size.width() / 400.0, size.height() / 250.0);
    scaled.setPointSizeF(std::clamp(userPt * factor, smallest, std::max(smallest, userPt * 1.5)));
    return scaled;
}

TQVPlotAxesLayout QVLayoutPlotAxes(const TQVPlotAxisInfo &x, const TQVPlotAxisInfo &y, const QFont &font,
                                   const QRect &bounds)
{
    if (!bounds.isValid())
        return {};
    QFont f = font;
    TQVPlotAxesLayout layout;
    for (int attempt = 0; attempt < 3; ++attempt) {
        layout = LayoutPlotAxesOnce(x, y, f, bounds);
        const double line = QFontMetricsF(f).height();
        if ((layout.Plot.height() >= 3.0 * line && layout.Plot.width() >= 6.0 * line) || f.pointSizeF() <= 6.0)
            break;
        f.setPointSizeF(std::max(6.0, f.pointSizeF() - 1.0));
    }
    return layout;
}

QSize QVPlotAxesSizeHint(const TQVPlotAxisInfo &x, const TQVPlotAxisInfo &y, const QFont &font, bool minimum)
{
    const TPlotMetrics m(font);
    const double yWidth = WidestLabel(DivideAxis(y, m.Height * 8.0, true, m), m);
    const double xWidth = WidestLabel(DivideAxis(x, m.Height * 24.0, false, m), m);
    const double plotWidth = minimum ? std::max(4.0 * m.Height, 2.0 * xWidth + 2.0 * m.Padding) : 24.0 * m.Height;
    const double plotHeight = m.Height * (minimum ? 2.5 : 12.0);
    const double w = yWidth + m.Padding + m.Major + 2.0 * m.Frame + plotWidth + xWidth / 2.0;
    const double h = std::ceil(m.Height / 2) + 2.0 * m.Frame + plotHeight + m.XLabelOffset + m.Height;
    return QSize(int(std::ceil(w)), int(std::ceil(h)));
}

QRectF QVSnapToDevice(const QRectF &rect, double dpr)
{
    if (!(dpr > 0.0) || !std::isfinite(dpr))
        dpr = 1.0;
    const double x0 = std::round(rect.left() * dpr), y0 = std::round(rect.top() * dpr);
    const double x1 = std::max(x0 + 1.0, std::round(rect.right() * dpr));
    const double y1 = std::max(y0 + 1.0, std::round(rect.bottom() * dpr));
    return QRectF(x0 / dpr, y0 / dpr, (x1 - x0) / dpr, (y1 - y0) / dpr);
}

void QVPaintPlotAxes(QPainter &painter, const TQVPlotAxesLayout &layout, const QColor &ink)
{
    // The engine's device: under QWidget::render the painter's own device is the widget.
    const QPaintDevice *target = painter.paintEngine() ? painter.paintEngine()->paintDevice() : painter.device();
    const double dpr = target ? target->devicePixelRatioF() : 1.0;
    const QRectF p(layout.Plot);
    const double f = layout.Pen;
    const auto fill = [&](const QRectF &r) { painter.fillRect(QVSnapToDevice(r, dpr), ink); };
    fill(QRectF(p.left() - f, p.top() - f, p.width() + 2.0 * f, f));
    fill(QRectF(p.left() - f, p.bottom(), p.width() + 2.0 * f, f));
    fill(QRectF(p.left() - f, p.top(), f, p.height()));
    fill(QRectF(p.right(), p.top(), f, p.height()));
    for (const auto &[line, major] : layout.Ticks) {
        const double w = major ? layout.Pen : std::max(1.0, layout.Pen * 0.75);
        if (line.x1() == line.x2())
            fill(QRectF(line.x1() - w / 2.0, std::min(line.y1(), line.y2()), w, std::fabs(line.dy())));
        else
            fill(QRectF(std::min(line.x1(), line.x2()), line.y1() - w / 2.0, std::fabs(line.dx()), w));
    }
    painter.save();
    painter.setFont(layout.Font);
    painter.setPen(ink);
    for (const TQVScaleLabelBox &label : layout.Labels)
        painter.drawText(label.Box, Qt::AlignCenter | Qt::TextDontClip, label.Text);
    painter.restore();
}
