#include "controls/qvLinearScaleControl.h"

#include <algorithm>
#include <cmath>

#include <QtGui/QAccessible>

#include "controls/qvLinearScaleControl_p.h"
#include "controls/scale/qvPaintKit.h"

TQVLinearScaleControl::TQVLinearScaleControl(const TQVLinearScaleRules &rules, QWidget *parent)
    : TQVCustomPanel(parent)
    , m_scale(std::make_unique<TQVLinearScaleControlPrivate>(rules))
{
    m_scale->Ranges[0] = RangeEntry{rules.FirstRangeColor, 100.0};
    m_scale->LabelingFont = QFont(QStringLiteral("Arial"), 8);
}

TQVLinearScaleControl::~TQVLinearScaleControl() = default;

int TQVLinearScaleControl::RangeNumber() const { return m_scale->Ranges.Number(); }
int TQVLinearScaleControl::RangeCurrent() const { return m_scale->Ranges.Current(); }
double TQVLinearScaleControl::RangeLimit() const { return m_scale->Ranges.Limit(); }
TQVColor TQVLinearScaleControl::RangeColor() const { return m_scale->Ranges.Color(); }
QList<TQVRangeEntry> TQVLinearScaleControl::Ranges() const { return m_scale->Ranges.Rows(); }
int TQVLinearScaleControl::LabelingDecimals() const { return m_scale->LabelingDecimals; }
int TQVLinearScaleControl::OffsetLower() const { return m_scale->OffsetLower; }
int TQVLinearScaleControl::OffsetUpper() const { return m_scale->OffsetUpper; }
double TQVLinearScaleControl::Value() const { return m_scale->Value; }
double TQVLinearScaleControl::ValueMin() const { return m_scale->ValueMin; }
double TQVLinearScaleControl::ValueMax() const { return m_scale->ValueMax; }
double TQVLinearScaleControl::LabelingGap() const { return m_scale->LabelingGap; }
TSiPrefixesId TQVLinearScaleControl::LabelScientificUnitPosfix() const { return m_scale->Prefix; }
QString TQVLinearScaleControl::LabelTextPosfix() const { return m_scale->Suffix; }
TQVColor TQVLinearScaleControl::BevelColor1() const { return m_scale->BevelColor1; }
TQVColor TQVLinearScaleControl::BevelColor2() const { return m_scale->BevelColor2; }
QFont TQVLinearScaleControl::LabelingFont() const { return m_scale->LabelingFont; }
TQVColor TQVLinearScaleControl::LabelingFontColor() const { return m_scale->LabelingFontColor; }
QVScale::TQVScaleLayout TQVLinearScaleControl::ScaleLayout() const { return m_scale->Layout; }
const TQVLinearScaleLayout &TQVLinearScaleControl::AdaptiveLayout() const { return m_scale->AdaptiveLayout; }
int TQVLinearScaleControl::LabelWidth() const { return m_scale->LabelWidth; }
int TQVLinearScaleControl::LabelHeight() const { return m_scale->LabelHeight; }
bool TQVLinearScaleControl::Adaptive() const { return m_scale->Layout == QVScale::slAdaptive; }

void TQVLinearScaleControl::SetRangeNumber(int number)
{
    if (!m_scale->Ranges.SetNumber(number))
        return;
    CheckLimits();
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetRangeCurrent(int index)
{
    if (!m_scale->Ranges.SetCurrent(index))
        return;
    // RangeColor now reads another range.
    Changed(TQVChangeGroup::Settings);
    Notify(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetRangeLimit(double limit)
{
    if (!m_scale->Ranges.SetLimit(limit))
        return;
    CheckLimits();
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetRangeColor(TQVColor color)
{
    if (m_scale->Ranges.SetColor(color))
        Changed(TQVChangeGroup::Appearance);
}

QString TQVLinearScaleControl::RangeTable() const
{
    QList<TQVRangeTableRow> rows;
    for (const RangeEntry &entry : Ranges())
        rows.append(TQVRangeTableRow{entry.Color, entry.Limit, false});
    return QVRangeTableText(rows, false);
}

void TQVLinearScaleControl::SetRangeTable(const QString &text)
{
    QList<TQVRangeTableRow> rows;
    if (!QVParseRangeTable(text, false, rows))
        return;
    if (rows.isEmpty() && !m_scale->Rules.EmptyTableClears)
        return;
    QList<RangeEntry> ranges;
    for (const TQVRangeTableRow &row : rows.first(std::min<qsizetype>(rows.size(), MaxRanges)))
        ranges.append(RangeEntry{row.Color, row.Limit});
    AssignRanges(ranges);
}

void TQVLinearScaleControl::AssignRanges(const QList<RangeEntry> &ranges)
{
    if (ranges.first(std::min<qsizetype>(ranges.size(), MaxRanges)) == Ranges())
        return;
    m_scale->Ranges.Assign(ranges);
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::CheckLimits()
{
    m_scale->Ranges.Clamp(m_scale->ValueMin, m_scale->ValueMax);
}

void TQVLinearScaleControl::SetLabelingDecimals(int decimals)
{
    if (!QVChange(m_scale->LabelingDecimals, decimals))
        return;
    updateGeometry();
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetOffsetLower(int offset)
{
    if (offset == m_scale->OffsetLower || (offset < 0 && m_scale->Rules.NonNegativeOffsets))
        return;
    m_scale->OffsetLower = offset;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetOffsetUpper(int offset)
{
    if (offset == m_scale->OffsetUpper || (offset < 0 && m_scale->Rules.NonNegativeOffsets))
        return;
    m_scale->OffsetUpper = offset;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetValueMin(double value)
{
    if (value == m_scale->ValueMin || !(value < m_scale->ValueMax))
        return;
    m_scale->ValueMin = value;
    CheckLimits();
    updateGeometry();
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetValueMax(double value)
{
    if (value == m_scale->ValueMax || !(value > m_scale->ValueMin))
        return;
    m_scale->ValueMax = value;
    CheckLimits();
    updateGeometry();
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetLabelingGap(double gap)
{
    if (gap == m_scale->LabelingGap || !(gap > 0.0) || (m_scale->Rules.FiniteGapOnly && !std::isfinite(gap)))
        return;
    m_scale->LabelingGap = gap;
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetLabelScientificUnitPosfix(int id)
{
    if (id < sipNone || id > sipYotta || id == m_scale->Prefix)
        return;
    m_scale->Prefix = TSiPrefixesId(id);
    updateGeometry();
    Changed(TQVChangeGroup::Settings);
}

void TQVLinearScaleControl::SetLabelTextPosfix(const QString &text)
{
    if (!QVChange(m_scale->Suffix, text))
        return;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetBevelColor1(TQVColor color)
{
    if (QVChange(m_scale->BevelColor1, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetBevelColor2(TQVColor color)
{
    if (QVChange(m_scale->BevelColor2, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetLabelingFont(const QFont &font)
{
    if (!QVChange(m_scale->LabelingFont, font))
        return;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetLabelingFontColor(TQVColor color)
{
    if (QVChange(m_scale->LabelingFontColor, color))
        Changed(TQVChangeGroup::Appearance);
}

void TQVLinearScaleControl::SetScaleLayout(TQVScaleLayout layout)
{
    if (layout == m_scale->Layout || layout > QVScale::slAdaptive)
        return;
    m_scale->Layout = layout;
    m_scale->AdaptiveLayout = {};
    ScaleLayoutChanged();
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
}

TQVLinearScaleSpec TQVLinearScaleControl::ScaleSpec() const
{
    const TQVLinearScaleControlPrivate &s = *m_scale;
    TQVLinearScaleSpec scale;
    scale.Vertical = Vertical();
    scale.ValueMin = s.ValueMin;
    scale.ValueMax = s.ValueMax;
    scale.Gap = s.LabelingGap;
    scale.Decimals = s.LabelingDecimals;
    scale.DefaultDecimals = 1;
    scale.PrefixId = s.Prefix;
    scale.Suffix = s.Suffix;
    scale.Locale = locale();
    scale.Font = s.LabelingFont;
    scale.SetInk(s.LabelingFontColor, palette(), Adaptive());
    scale.SetStyle(s.Style, s.Orientation);
    return scale;
}

int TQVLinearScaleControl::KindValue() const { return m_scale->Kind; }
int TQVLinearScaleControl::OrientationValue() const { return m_scale->Orientation; }
int TQVLinearScaleControl::StyleValue() const { return m_scale->Style; }

bool TQVLinearScaleControl::StoreKind(int kind)
{
    if (kind < 0 || kind > 1 || !QVChange(m_scale->Kind, kind))
        return false;
    if (IsDesigning() && !IsLoading())
        resize(height(), width());
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
    return true;
}

bool TQVLinearScaleControl::StoreOrientation(int orientation)
{
    if (orientation < 0 || orientation > 3 || !QVChange(m_scale->Orientation, orientation))
        return false;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
    return true;
}

bool TQVLinearScaleControl::StoreStyle(int style, int maxStyle)
{
    if (style < 0 || style > maxStyle || !QVChange(m_scale->Style, style))
        return false;
    updateGeometry();
    Changed(TQVChangeGroup::Appearance);
    return true;
}

void TQVLinearScaleControl::StoreClassicResult(const TQVLinearScaleDraw::TClassicResult &result)
{
    // Painting enlarges a gap whose lines would lie closer than 2 pixels, for good.
    m_scale->LabelingGap = result.Gap;
    if (result.LabelHeight > 0) {
        m_scale->LabelWidth = result.LabelWidth;
        m_scale->LabelHeight = result.LabelHeight;
    }
}

void TQVLinearScaleControl::NotifyAccessibleValue()
{
    if (!QAccessible::isActive())
        return;
    QAccessibleValueChangeEvent event(this, m_scale->Value);
    QAccessible::updateAccessibility(&event);
}
