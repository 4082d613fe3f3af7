#include "indicators/qvWaterfall.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <QtCore/QDateTime>
#include <QtCore/QEvent>
#include <QtGui/QFontMetrics>
#include <QtGui/QPainter>

#include "controls/qvCommon.h"
#include "indicators/QVPlot.h"
#include "indicators/qvColorMap.h"
#include "indicators/qvGraphSink_p.h"
#include "indicators/qvWaterfall_p.h"

namespace {

constexpr int TickLength = 4;
constexpr int LabelGap = 3;
constexpr int BarWidth = 12;

bool Finite(double v) { return std::isfinite(v); }

qint64 SystemClock()
{
    return QDateTime::currentMSecsSinceEpoch();
}

TQVWaterfallClock g_clock = SystemClock;

// Steps of the time marks in ms: round numbers of a clock.
constexpr qint64 MarkSteps[] = {100,   200,    500,    1000,   2000,   5000,    10000,   15000,
                                30000, 60000, 120000, 300000, 600000, 900000, 1800000, 3600000};

QString MarkText(qint64 ms, qint64 step)
{
    const QTime time = QDateTime::fromMSecsSinceEpoch(ms).time();
    if (step < 1000)
        return time.toString(QStringLiteral("HH:mm:ss.z"));
    return time.toString(step % 60000 == 0 ? QStringLiteral("HH:mm") : QStringLiteral("HH:mm:ss"));
}

} // namespace

void QVSetWaterfallClock(TQVWaterfallClock clock)
{
    g_clock = clock ? clock : SystemClock;
}

// The magnitudes of the shown rows in a ring (the newest at `head`), and their colours in an
// image of the same rows.
class TQVWaterfall::PrivateData
{
public:
    std::unique_ptr<TQVMeasureLink> inputLink;
    int channel = 0;
    double levelMin = -120.0, levelMax = 0.0;
    double decibelReference = 1.0;
    bool powerValues = false;
    QString xUnit = QStringLiteral("Hz");
    QString levelUnit = QStringLiteral("dB");
    QString title;
    bool colorBar = true;
    bool timeAxis = false;

    double xLo = 0.0, xHi = 1.0;
    // The history: `width` x `height` magnitudes, row r of the display at ring row (head + r) % height.
    int width = 0, height = 0, head = 0, rows = 0;
    std::vector<float> levels;
    QImage image;
    // Colour k of the table is for the magnitudes above k thresholds: a search instead of a
    // logarithm per pixel.
    std::array<float, 255> thresholds{};

    QRgb Colour(float magnitude) const
    {
        const auto k = std::lower_bound(thresholds.begin(), thresholds.end(), magnitude) - thresholds.begin();
        return QVLevelColorTable()[std::size_t(k)];
    }
    double Factor() const { return powerValues ? 10.0 : 20.0; }
    // A repaint is requested and not yet done: the next block repaints the rows instead of
    // moving pixels that are not painted yet.
    bool paintPending = false;

    // The time marks of the rows, a ring like the levels; the arrival of the last block, the
    // smoothed time between blocks (ms) and the rows since the last mark.
    std::vector<QString> marks;
    qint64 lastArrival = -1;
    double interval = 0.0;
    int sinceMark = std::numeric_limits<int>::max() / 2;
    int markSpacing = 1; // rows between marks: two text lines

    QRect plot, bar, titleRect, strip; // strip: the time marks' column, null without them
    QList<double> xTicks, levelTicks;
    QStringList xLabels, levelLabels;

    float *Row(int displayRow) { return levels.data() + std::size_t((head + displayRow) % height) * std::size_t(width); }
    int Ring(int displayRow) const { return (head + displayRow) % height; }
    // What a new row moves down: the rows and, with time marks, their column.
    QRect Moving() const { return strip.isNull() ? plot : QRect(QPoint(strip.left(), plot.top()), plot.bottomRight()); }
};

TQVWaterfall::TQVWaterfall(QWidget *parent)
    : TQVCustomPanel(parent)
    , m_data(std::make_unique<PrivateData>())
{
    m_data->inputLink = std::make_unique<TQVMeasureLink>(this);
    m_data->inputLink->OnUpdateSettings = [this](TQVMeasureLink *link) { MLOnUpdateSettings(link); };
    m_data->inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) { MLOnNewData(link, data); };
    setAccessibleName(tr("Waterfall"));
    // Opaque: Qt may then move the shown rows on the screen instead of repainting them.
    setAttribute(Qt::WA_OpaquePaintEvent);
    Relayout();
}

TQVWaterfall::~TQVWaterfall()
{
    m_data->inputLink->OnNewData = nullptr;
    m_data->inputLink->OnUpdateSettings = nullptr;
    m_data->inputLink.reset();
}

TQVMeasureSource *TQVWaterfall::MeasureSource() const
{
    return m_data->inputLink->Source();
}

void TQVWaterfall::SetMeasureSource(TQVMeasureSource *source)
{
    QVConnectGraphSink(*m_data->inputLink, source, [this] { emit SettingsChanged(); });
}

void TQVWaterfall::WriteMeasureSource(TQVMeasureSource *source)
{
    GuardedWrite([&] { SetMeasureSource(source); });
}

void TQVWaterfall::MLOnUpdateSettings(TQVMeasureLink *link)
{
    TQVMeasureSourceSettings settings{};
    if (!QVReadGraphSinkSettings(*link, settings))
        return;
    const double lo = double(settings.XStart), hi = double(settings.XStart + settings.XSpan);
    if (QVSettingsValid(settings) && Finite(lo) && Finite(hi) && hi != lo) {
        m_data->xLo = std::min(lo, hi);
        m_data->xHi = std::max(lo, hi);
    }
    Relayout();
    emit DataChanged();
}

void TQVWaterfall::MLOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    const QVDescArraySingle &slot = data.Channels[m_data->channel];
    PrivateData &d = *m_data;
    if (!QVHasData(slot) || d.width < 1 || d.height < 1)
        return;
    d.head = (d.head + d.height - 1) % d.height;
    d.rows = std::min(d.rows + 1, d.height);
    // The loudest magnitude per column; a block narrower than the area stretches its samples.
    const std::size_t n = std::size_t(slot.Count), w = std::size_t(d.width);
    float *row = d.Row(0);
    auto *line = reinterpret_cast<QRgb *>(d.image.scanLine(d.head));
    for (std::size_t c = 0; c < w; ++c) {
        const std::size_t first = c * n / w, last = std::max(first + 1, (c + 1) * n / w);
        float loudest = -1.0f; // NaN samples are passed over
        for (std::size_t i = first; i < std::min(last, n); ++i) {
            const float a = std::fabs(slot.Data[i]);
            loudest = a > loudest ? a : loudest;
        }
        row[c] = loudest >= 0.0f ? loudest : std::numeric_limits<float>::quiet_NaN();
        line[c] = d.Colour(row[c]);
    }
    MarkTime(d.head);
    // One new row: move the shown ones down on the screen and paint the top row only (and a
    // new mark, which hangs below its tick). The move needs the image at the area's size and
    // no repaint waiting.
    const QRect p = d.plot, moving = d.Moving();
    if (isVisible() && !d.paintPending && d.width == p.width() && d.height == p.height()) {
        scroll(0, 1, p);
        if (!d.strip.isNull()) { // the marks' column, without the frame between it and the rows
            const QRect strip(d.strip.left(), p.top(), p.left() - 1 - d.strip.left(), p.height());
            scroll(0, 1, strip);
            if (!d.marks[std::size_t(d.head)].isEmpty())
                update(strip.adjusted(0, 0, 0, QFontMetrics(font()).height() - strip.height()));
        }
    } else {
        update(moving);
    }
    d.paintPending = true;
    emit DataChanged();
}

// Marks the new row (ring row `ringRow`) when a multiple of the step has passed since the
// block before and the last mark is two text lines away.
void TQVWaterfall::MarkTime(int ringRow)
{
    PrivateData &d = *m_data;
    QString &mark = d.marks[std::size_t(ringRow)];
    mark.clear();
    const qint64 now = g_clock(), previous = d.lastArrival;
    d.lastArrival = now;
    d.sinceMark = std::min(d.sinceMark + 1, std::numeric_limits<int>::max() / 2);
    if (previous < 0 || now <= previous)
        return;
    const double gap = double(now - previous);
    d.interval = d.interval > 0.0 ? 0.8 * d.interval + 0.2 * gap : gap;
    qint64 step = std::end(MarkSteps)[-1];
    for (qint64 s : MarkSteps) {
        if (double(s) >= d.markSpacing * d.interval) {
            step = s;
            break;
        }
    }
    const qint64 multiple = now - (now % step + step) % step;
    if (multiple <= previous || d.sinceMark < d.markSpacing)
        return;
    mark = MarkText(multiple, step);
    d.sinceMark = 0;
}

// ---------------------------------------------------------------------------------------
// Properties

int TQVWaterfall::Channel() const
{
    return m_data->channel;
}

double TQVWaterfall::LevelMin() const
{
    return m_data->levelMin;
}

double TQVWaterfall::LevelMax() const
{
    return m_data->levelMax;
}

double TQVWaterfall::DecibelReference() const
{
    return m_data->decibelReference;
}

bool TQVWaterfall::PowerValues() const
{
    return m_data->powerValues;
}

QString TQVWaterfall::XUnit() const
{
    return m_data->xUnit;
}

QString TQVWaterfall::LevelUnit() const
{
    return m_data->levelUnit;
}

QString TQVWaterfall::Title() const
{
    return m_data->title;
}

bool TQVWaterfall::ColorBar() const
{
    return m_data->colorBar;
}

bool TQVWaterfall::TimeAxis() const
{
    return m_data->timeAxis;
}

void TQVWaterfall::SetTimeAxis(bool on)
{
    if (!QVChange(m_data->timeAxis, on))
        return;
    Relayout();
    Notify(TQVChangeGroup::Appearance);
}

void TQVWaterfall::SetChannel(int channel)
{
    if (channel < 0 || channel > 7 || !QVChange(m_data->channel, channel))
        return;
    Clear();
    Notify(TQVChangeGroup::Settings);
}

void TQVWaterfall::SetLevelMin(double level)
{
    if (level == m_data->levelMin || !Finite(level) || !(level < m_data->levelMax) || !Finite(m_data->levelMax - level))
        return;
    m_data->levelMin = level;
    Relayout();
    Recolour();
    Notify(TQVChangeGroup::Settings);
}

void TQVWaterfall::SetLevelMax(double level)
{
    if (level == m_data->levelMax || !Finite(level) || !(level > m_data->levelMin) || !Finite(level - m_data->levelMin))
        return;
    m_data->levelMax = level;
    Relayout();
    Recolour();
    Notify(TQVChangeGroup::Settings);
}

void TQVWaterfall::SetDecibelReference(double reference)
{
    if (reference == m_data->decibelReference || !Finite(reference) || !(reference > 0.0))
        return;
    m_data->decibelReference = reference;
    Recolour();
    Notify(TQVChangeGroup::Settings);
}

void TQVWaterfall::SetPowerValues(bool power)
{
    if (!QVChange(m_data->powerValues, power))
        return;
    Recolour();
    Notify(TQVChangeGroup::Settings);
}

void TQVWaterfall::SetXUnit(const QString &unit)
{
    if (!QVChange(m_data->xUnit, unit))
        return;
    Relayout();
    Notify(TQVChangeGroup::Appearance);
}

void TQVWaterfall::SetLevelUnit(const QString &unit)
{
    if (!QVChange(m_data->levelUnit, unit))
        return;
    Relayout();
    Notify(TQVChangeGroup::Appearance);
}

void TQVWaterfall::SetTitle(const QString &title)
{
    if (!QVChange(m_data->title, title))
        return;
    Relayout();
    Notify(TQVChangeGroup::Appearance);
}

void TQVWaterfall::SetColorBar(bool bar)
{
    if (!QVChange(m_data->colorBar, bar))
        return;
    Relayout();
    Notify(TQVChangeGroup::Appearance);
}

void TQVWaterfall::Clear()
{
    std::fill(m_data->levels.begin(), m_data->levels.end(), std::numeric_limits<float>::quiet_NaN());
    std::fill(m_data->marks.begin(), m_data->marks.end(), QString());
    m_data->sinceMark = std::numeric_limits<int>::max() / 2;
    m_data->rows = 0;
    m_data->head = 0;
    Recolour();
}

// ---------------------------------------------------------------------------------------
// What is shown

QRect TQVWaterfall::PlotRect() const
{
    return m_data->plot;
}

int TQVWaterfall::RowCount() const
{
    return m_data->rows;
}

double TQVWaterfall::Level(int row, int column) const
{
    if (row < 0 || row >= m_data->rows || column < 0 || column >= m_data->width)
        return std::numeric_limits<double>::quiet_NaN();
    return m_data->Factor() * std::log10(double(m_data->Row(row)[column]) / m_data->decibelReference);
}

QImage TQVWaterfall::Image() const
{
    const PrivateData &d = *m_data;
    QImage shown(std::max(d.width, 1), std::max(d.height, 1), QImage::Format_RGB32);
    for (int r = 0; r < d.height; ++r)
        std::copy_n(d.image.constScanLine((d.head + r) % d.height), d.width * 4, shown.scanLine(r));
    return shown;
}

QString TQVWaterfall::TimeMark(int row) const
{
    if (row < 0 || row >= m_data->rows)
        return QString();
    return m_data->marks[std::size_t(m_data->Ring(row))];
}

QSize TQVWaterfall::sizeHint() const
{
    return QSize(400, 250);
}

QSize TQVWaterfall::minimumSizeHint() const
{
    return QSize(160, 100);
}

// ---------------------------------------------------------------------------------------
// Layout and painting

void TQVWaterfall::resizeEvent(QResizeEvent *event)
{
    TQVCustomPanel::resizeEvent(event);
    Relayout();
}

void TQVWaterfall::changeEvent(QEvent *event)
{
    TQVCustomPanel::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::LocaleChange)
        Relayout();
}

void TQVWaterfall::Relayout()
{
    PrivateData &d = *m_data;
    const QFontMetrics fm(font());
    const QRect c = ClientRect().adjusted(6, 4, -6, -4);
    int top = c.top() + fm.height() / 2;
    d.titleRect = QRect();
    if (!d.title.isEmpty()) {
        d.titleRect = QRect(c.left(), c.top(), c.width(), fm.height());
        top = c.top() + fm.height() + 6;
    }
    const int bottom = c.bottom() + 1 - (fm.height() + TickLength + LabelGap);
    const int height = std::max(bottom - top, 1);
    // Colour bar: its 1-2-5 level labels on its right.
    d.levelTicks.clear();
    d.levelLabels.clear();
    int right = c.right() + 1;
    if (d.colorBar) {
        double step = 0.0;
        d.levelTicks = TQVPlot::LinearTicks(d.levelMin, d.levelMax, std::max(2, height / (fm.height() * 2)), &step);
        int widest = 0;
        for (double v : d.levelTicks) {
            d.levelLabels.append(TQVPlot::TickLabel(v, step, 0.0, d.levelUnit, false, locale()));
            widest = std::max(widest, fm.horizontalAdvance(d.levelLabels.last()));
        }
        right -= widest + TickLength + LabelGap + BarWidth + 8;
        d.bar = QRect(right + 8, top, BarWidth, height);
    } else {
        d.bar = QRect();
    }
    // The time marks' column: the widest mark right-aligned to its tick.
    int left = c.left() + 2;
    d.strip = QRect();
    if (d.timeAxis) {
        const int widest = fm.horizontalAdvance(QStringLiteral("00:00:00.0"));
        d.strip = QRect(left, top, widest + LabelGap + TickLength, height);
        left += d.strip.width() + 1;
    }
    // Abscissa labels as dense as the widest allows, the last one reaching half its width out.

    int width = std::max(right - left - (d.colorBar ? 0 : 20), 1);
    int maxTicks = std::max(2, width / 80);
    for (int attempt = 0; attempt < 4; ++attempt) {
        double step = 0.0;
        d.xTicks = TQVPlot::LinearTicks(d.xLo, d.xHi, maxTicks, &step);
        d.xLabels.clear();
        int widest = 0;
        for (double v : d.xTicks) {
            d.xLabels.append(TQVPlot::TickLabel(v, step, std::max(std::fabs(d.xLo), std::fabs(d.xHi)), d.xUnit, true, locale()));
            widest = std::max(widest, fm.horizontalAdvance(d.xLabels.last()));
        }
        const double spacing = step > 0.0 ? width * step / (d.xHi - d.xLo) : width;
        if (spacing >= widest + 16 || maxTicks <= 2)
            break;
        maxTicks = std::max(2, int(maxTicks * spacing / (widest + 16)));
    }
    const QRect plot(left, top, width, height);

    // The history keeps its rows over a new size, each resampled to the new width.
    const int w = std::min(plot.width(), MaxImageSide), h = std::min(plot.height(), MaxImageSide);
    if (w != d.width || h != d.height) {
        std::vector<float> levels(std::size_t(w) * std::size_t(h), std::numeric_limits<float>::quiet_NaN());
        std::vector<QString> marks(static_cast<std::size_t>(h));
        const int rows = std::min(d.rows, h);
        for (int r = 0; r < rows; ++r) {
            const float *from = d.Row(r);
            for (int x = 0; x < w; ++x)
                levels[std::size_t(r) * std::size_t(w) + std::size_t(x)] = from[std::size_t(x) * std::size_t(d.width) / std::size_t(w)];
            marks[std::size_t(r)] = d.marks[std::size_t(d.Ring(r))];
        }
        d.levels = std::move(levels);
        d.marks = std::move(marks);
        d.width = w;
        d.height = h;
        d.head = 0;
        d.rows = rows;
        d.image = QImage(w, h, QImage::Format_RGB32);
        d.plot = plot;
        Recolour();
    }
    d.plot = plot;
    d.markSpacing = std::max(1, int(std::ceil(2.0 * fm.height() * d.height / plot.height())));
    d.paintPending = true;
    update();
}

void TQVWaterfall::Recolour()
{
    PrivateData &d = *m_data;
    // Colour k from the level LevelMin + (k - 0.5) / 255 of the range, as a magnitude.
    for (std::size_t k = 0; k < d.thresholds.size(); ++k) {
        const double level = d.levelMin + (double(k) + 0.5) / 255.0 * (d.levelMax - d.levelMin);
        d.thresholds[k] = float(d.decibelReference * std::pow(10.0, level / d.Factor()));
    }
    for (int y = 0; y < d.height; ++y) {
        const float *magnitude = d.levels.data() + std::size_t(y) * std::size_t(d.width);
        auto *line = reinterpret_cast<QRgb *>(d.image.scanLine(y));
        for (int x = 0; x < d.width; ++x)
            line[x] = d.Colour(magnitude[x]);
    }
    d.paintPending = true;
    update(d.plot);
}

void TQVWaterfall::Paint(QPainter &painter)
{
    const PrivateData &d = *m_data;
    m_data->paintPending = false;
    const QRect dirty = painter.clipBoundingRect().toAlignedRect();
    const QRect area = dirty.isEmpty() ? rect() : dirty;
    if (!d.plot.contains(dirty)) {
        PaintPanel(painter);
        // A new row with time marks exposes their column too: no axes there.
        if (d.Moving().contains(dirty)) {
            painter.setPen(palette().color(QPalette::WindowText));
            painter.drawRect(d.plot.adjusted(-1, -1, 0, 0));
        } else {
            PaintAxes(painter);
        }
        PaintTimeMarks(painter, area);
    }
    PaintRows(painter, area);
}

// Each mark hangs below its tick, clipped to the rows' height, so that the pixels moved down
// with the rows are those a full paint draws.
void TQVWaterfall::PaintTimeMarks(QPainter &painter, const QRect &dirty)
{
    const PrivateData &d = *m_data;
    const QRect p = d.plot;
    if (d.strip.isNull() || d.height < 1)
        return;
    const QFontMetrics fm(font());
    const QColor ink = palette().color(QPalette::WindowText);
    painter.save();
    painter.setClipRect(QRect(d.strip.left(), p.top(), p.left() - d.strip.left(), p.height()), Qt::IntersectClip);
    painter.setPen(ink);
    painter.setFont(font());
    const double sy = double(p.height()) / d.height;
    const QRect text(d.strip.left(), 0, d.strip.width() - TickLength - LabelGap, fm.height());
    for (int r = 0; r < d.rows; ++r) {
        const QString &mark = d.marks[std::size_t(d.Ring(r))];
        if (mark.isEmpty())
            continue;
        const int y = p.top() + int(r * sy);
        if (y > dirty.bottom() || y + fm.height() <= dirty.top())
            continue;
        painter.fillRect(QRect(p.left() - 1 - TickLength, y, TickLength, 1), ink);
        painter.drawText(text.translated(0, y), Qt::AlignRight | Qt::AlignTop, mark);
    }
    painter.restore();
}

void TQVWaterfall::PaintRows(QPainter &painter, const QRect &dirty)
{
    const PrivateData &d = *m_data;
    const QRect p = d.plot;
    if (d.height < 1 || d.width < 1)
        return;
    // Display rows [0, height - head) are ring rows [head, height), the rest ring rows [0, head).
    // At one pixel per row only the rows in the dirty rectangle are drawn.
    const bool exact = d.width == p.width() && d.height == p.height();
    const int from = exact ? std::clamp(dirty.top() - p.top(), 0, d.height) : 0;
    const int to = exact ? std::clamp(dirty.bottom() + 1 - p.top(), 0, d.height) : d.height;
    const double sy = double(p.height()) / d.height;
    const auto part = [&](int displayFirst, int ringFirst, int count) {
        const int a = std::max(displayFirst, from), b = std::min(displayFirst + count, to);
        if (b <= a)
            return;
        const QRectF target(p.left(), p.top() + a * sy, p.width(), (b - a) * sy);
        painter.drawImage(target, d.image, QRectF(0, ringFirst + (a - displayFirst), d.width, b - a));
    };
    part(0, d.head, d.height - d.head);
    part(d.height - d.head, 0, d.head);
}

void TQVWaterfall::PaintAxes(QPainter &painter)
{
    const PrivateData &d = *m_data;
    const QRect p = d.plot;
    const QColor ink = palette().color(QPalette::WindowText);
    const QFontMetrics fm(font());
    painter.setPen(ink);
    if (!d.titleRect.isNull()) {
        QFont bold = font();
        bold.setBold(true);
        painter.setFont(bold);
        painter.drawText(d.titleRect, Qt::AlignHCenter | Qt::AlignVCenter,
                         QFontMetrics(bold).elidedText(d.title, Qt::ElideRight, d.titleRect.width()));
    }
    painter.setFont(font());
    painter.drawRect(p.adjusted(-1, -1, 0, 0));
    for (qsizetype i = 0; i < d.xTicks.size(); ++i) {
        const double f = (d.xTicks[i] - d.xLo) / (d.xHi - d.xLo);
        const int x = std::clamp(p.left() + int(std::floor(f * p.width())), p.left(), p.right());
        painter.fillRect(QRect(x, p.bottom() + 2, 1, TickLength), ink);
        const int w = fm.horizontalAdvance(d.xLabels[i]);
        painter.drawText(QRect(x - w / 2 - 1, p.bottom() + 2 + TickLength + LabelGap - 1, w + 2, fm.height()), Qt::AlignCenter,
                         d.xLabels[i]);
    }
    if (d.bar.isNull())
        return;
    // The bar: the map from LevelMin at the foot to LevelMax at the head.
    const QRect b = d.bar;
    const std::array<QRgb, 256> &table = QVLevelColorTable();
    for (int y = 0; y < b.height(); ++y) {
        const double t = b.height() > 1 ? 1.0 - double(y) / (b.height() - 1) : 1.0;
        painter.fillRect(QRect(b.left(), b.top() + y, b.width(), 1), QColor(table[std::size_t(std::lround(t * 255.0))]));
    }
    painter.drawRect(b.adjusted(-1, -1, 0, 0));
    for (qsizetype i = 0; i < d.levelTicks.size(); ++i) {
        const double f = (d.levelMax - d.levelTicks[i]) / (d.levelMax - d.levelMin);
        const int y = std::clamp(b.top() + int(std::floor(f * b.height())), b.top(), b.bottom());
        painter.fillRect(QRect(b.right() + 1, y, TickLength, 1), ink);
        painter.drawText(QRect(b.right() + 1 + TickLength + LabelGap, y - fm.height() / 2, 200, fm.height()),
                         Qt::AlignLeft | Qt::AlignVCenter, d.levelLabels[i]);
    }
}
