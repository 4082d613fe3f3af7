#pragma once

#include <array>
#include <optional>

#include <QtCore/QList>
#include <QtCore/QString>

#include "controls/qvColor.h"
#include "framework/qvGlobal.h"

class QComboBox;
class QLocale;

/// SI prefixes; the identifiers keep their historical spellings, the displayed names are
/// the English ones.
enum TSiPrefixesId : quint8 {
    sipNone, sipYocto, sipZepto, sipAtto, sipFemto, sipPiko, sipNano, sipMikro, sipMilli, sipZenti, sipDezi,
    sipDeka, sipHekto, sipKilo, sipMega, sipGiga, sipTera, sipPeta, sipExa, sipZetta, sipYotta,
};

/// One row of the prefix table.
struct TSiPrefixesStruct
{
    QString Name;   ///< at most 8 characters
    QString Symbol; ///< at most 2 characters
    double Factor = 1.0;
    QString NumberWord;
};

/// The row of `id` into `info`; false (and `info` untouched) for an identifier out of range.
QV_WIDGETS_EXPORT bool GetSIInfos(int id, TSiPrefixesStruct &info);
/// Fills `comboBox` with "Name [Symbol]" for all 21 prefixes and selects `id`; the item
/// index after that, or -1 for a null combo box.
QV_WIDGETS_EXPORT int InitSIComboBox(QComboBox *comboBox, int id);
QV_WIDGETS_EXPORT bool GetSIFromComboBox(const QComboBox *comboBox, TSiPrefixesId &id);
QV_WIDGETS_EXPORT bool SetSIOnComboBox(QComboBox *comboBox, int id);
/// Reloads the table's texts through the translation system (after a translator was
/// installed); done once automatically on first use.
QV_WIDGETS_EXPORT void QVReloadSIPrefixTexts();

/// \brief Label text of the linear scales: `value` in `format` (see QVFormatFloat), divided
/// by the factor of SI prefix `prefixId` followed by its symbol when there is one, then
/// `suffix`.
QV_WIDGETS_EXPORT QString QVFormatScaleLabel(const QString &format, double value, int prefixId, const QString &suffix,
                                             const QLocale &locale);
/// \brief Label format of the linear scales: "0.00E-00" without a prefix when the range
/// reaches 1e5 in magnitude or spans less than 0.001, else "0" with `decimals` decimals.
QV_WIDGETS_EXPORT QString QVScaleLabelFormat(int prefixId, double valueMin, double valueMax, int decimals);

/// \brief One row of the colour range table of the bar graph and the slider: values from
/// the previous row's limit (from `ValueMin` for the first row) up to `Limit` are drawn in
/// `Color`.
struct TQVRangeEntry
{
    TQVColor Color = QVColors::clBlack;
    double Limit = 0.0;
    bool operator==(const TQVRangeEntry &) const = default;
};

/// \brief The colour range table of the bar graph and the slider: 16 rows, of which
/// `Number` are in use, and the row `Current` (1-based) that the controls' `RangeLimit`
/// and `RangeColor` properties address. The setters ignore invalid and equal values and
/// say whether anything changed.
class QV_WIDGETS_EXPORT TQVRangeTable
{
public:
    static constexpr int MaxRanges = 16;

    int Number() const { return m_number; }
    /// Accepts 1 to 16.
    bool SetNumber(int number);
    int Current() const { return m_current; }
    /// Accepts 1 to 16, also above `Number`.
    bool SetCurrent(int index);
    /// The limit of row `Current`; 0 when that row is not in use.
    double Limit() const;
    /// Ignored when row `Current` is not in use, and for NaN.
    bool SetLimit(double limit);
    /// The colour of row `Current`; 0 when that row is not in use.
    TQVColor Color() const;
    /// Ignored when row `Current` is not in use.
    bool SetColor(TQVColor color);

    /// Row `index`, 0-based, 0 to 15.
    const TQVRangeEntry &operator[](int index) const { return m_rows[std::size_t(index)]; }
    TQVRangeEntry &operator[](int index) { return m_rows[std::size_t(index)]; }
    /// The rows in use.
    QList<TQVRangeEntry> Rows() const;
    /// Takes up to 16 rows; `Number` becomes their count, also 0.
    void Assign(const QList<TQVRangeEntry> &rows);
    /// Moves every limit in use into `valueMin`..`valueMax` and sets the last one to
    /// `valueMax`.
    void Clamp(double valueMin, double valueMax);

private:
    bool CurrentInUse() const { return m_current >= 1 && m_current <= m_number; }

    std::array<TQVRangeEntry, MaxRanges> m_rows{};
    int m_number = 1;
    int m_current = 1;
};

/// \brief The value an input control (slider, dial) takes for `value`: snapped to
/// `stepWidth` first (round half to even; no snapping for a step of 0 or less or infinite), then clamped
/// to `valueMin`..`valueMax`; nothing when it is NaN or comes out equal to `current`.
QV_WIDGETS_EXPORT std::optional<double> QVSnapAndClamp(double value, double current, double stepWidth,
                                                       double valueMin, double valueMax);
