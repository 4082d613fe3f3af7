#pragma once

#include <array>

#include <QtCore/QList>
#include <QtCore/QString>

#include "controls/qvColor.h"
#include "framework/qvGlobal.h"

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

/// \brief One row of the text form of a colour range table (the `RangeTable` property of the
/// bar graph, the slider and the meter).
struct TQVRangeTableRow
{
    TQVColor Color = 0;
    double Limit = 0.0;
    bool Check = false; // the meter's rows only
    bool operator==(const TQVRangeTableRow &) const = default;
};

/// \brief The text of a range table: rows joined by ';', each `0xCOLOR:limit`, or
/// `0xCOLOR:limit:check` with `withCheck`. The colour has eight hex digits (system colours
/// keep their high bit, `0x8000000F`); the limit is the shortest C-locale text that reads
/// back to the same double; the check is 0 or 1.
QV_WIDGETS_EXPORT QString QVRangeTableText(const QList<TQVRangeTableRow> &rows, bool withCheck);

/// \brief Parses `QVRangeTableText` text into `rows`. Blanks around fields are allowed,
/// colours take 1 to 8 hex digits after `0x`, limits are C-locale doubles (`inf` allowed,
/// NaN refused), checks are 0 or 1; empty text gives no rows. Returns false, leaving `rows`
/// untouched, when any row is malformed. All rows are returned, also beyond 16.
QV_WIDGETS_EXPORT bool QVParseRangeTable(const QString &text, bool withCheck, QList<TQVRangeTableRow> &rows);
