#include "controls/scale/qvRangeTable.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <QtCore/QStringList>

namespace {

int HexDigit(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// "0x" and 1 to 8 hex digits: any 32-bit colour, system colours included.
bool ParseColorField(QStringView field, TQVColor &color)
{
    field = field.trimmed();
    if (field.size() < 3 || field.size() > 10 || field[0] != u'0' || (field[1] != u'x' && field[1] != u'X'))
        return false;
    quint32 value = 0;
    for (QChar c : field.mid(2)) {
        const int digit = HexDigit(c.unicode());
        if (digit < 0)
            return false;
        value = value << 4 | quint32(digit);
    }
    color = value;
    return true;
}

// A C-locale double, whatever the process locale; the whole field must be the number.
bool ParseLimitField(QStringView field, double &limit)
{
    field = field.trimmed();
    if (field.startsWith(u'+')) {
        field = field.mid(1);
        if (field.startsWith(u'+') || field.startsWith(u'-'))
            return false;
    }
    if (field.isEmpty() || field.size() > 64)
        return false;
    char buffer[64];
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i].unicode() > 0x7F)
            return false;
        buffer[i] = char(field[i].unicode());
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(buffer, buffer + field.size(), value);
    if (error != std::errc() || end != buffer + field.size() || std::isnan(value))
        return false;
    limit = value;
    return true;
}

} // namespace

bool TQVRangeTable::SetNumber(int number)
{
    if (number < 1 || number > MaxRanges || number == m_number)
        return false;
    m_number = number;
    return true;
}

bool TQVRangeTable::SetCurrent(int index)
{
    if (index < 1 || index > MaxRanges || index == m_current)
        return false;
    m_current = index;
    return true;
}

double TQVRangeTable::Limit() const
{
    return CurrentInUse() ? m_rows[std::size_t(m_current - 1)].Limit : 0.0;
}

bool TQVRangeTable::SetLimit(double limit)
{
    if (!CurrentInUse() || std::isnan(limit) || m_rows[std::size_t(m_current - 1)].Limit == limit)
        return false;
    m_rows[std::size_t(m_current - 1)].Limit = limit;
    return true;
}

TQVColor TQVRangeTable::Color() const
{
    return CurrentInUse() ? m_rows[std::size_t(m_current - 1)].Color : 0;
}

bool TQVRangeTable::SetColor(TQVColor color)
{
    if (!CurrentInUse() || m_rows[std::size_t(m_current - 1)].Color == color)
        return false;
    m_rows[std::size_t(m_current - 1)].Color = color;
    return true;
}

QList<TQVRangeEntry> TQVRangeTable::Rows() const
{
    return QList<TQVRangeEntry>(m_rows.begin(), m_rows.begin() + m_number);
}

void TQVRangeTable::Assign(const QList<TQVRangeEntry> &rows)
{
    m_number = int(std::min<qsizetype>(rows.size(), MaxRanges));
    std::copy_n(rows.begin(), m_number, m_rows.begin());
}

void TQVRangeTable::Clamp(double valueMin, double valueMax)
{
    // Not std::clamp: a reversed range is possible here (SetValueParams takes both ends as given).
    for (int i = 0; i < m_number; ++i) {
        double &limit = m_rows[std::size_t(i)].Limit;
        if (limit < valueMin)
            limit = valueMin;
        if (limit > valueMax)
            limit = valueMax;
    }
    if (m_number >= 1)
        m_rows[std::size_t(m_number - 1)].Limit = valueMax;
}

QString QVRangeTableText(const QList<TQVRangeTableRow> &rows, bool withCheck)
{
    QStringList texts;
    for (const TQVRangeTableRow &row : rows) {
        // The shortest text that reads back to the same double, '-0' and 'inf' included.
        char limit[32];
        const auto result = std::to_chars(limit, limit + sizeof limit, row.Limit);
        QString text = QStringLiteral("0x") + QString::number(row.Color, 16).toUpper().rightJustified(8, u'0')
                       + u':' + QString::fromLatin1(limit, result.ptr - limit);
        if (withCheck)
            text += row.Check ? QStringLiteral(":1") : QStringLiteral(":0");
        texts.append(text);
    }
    return texts.join(u';');
}

bool QVParseRangeTable(const QString &text, bool withCheck, QList<TQVRangeTableRow> &rows)
{
    QList<TQVRangeTableRow> parsed;
    if (!text.trimmed().isEmpty()) {
        for (QStringView row : QStringView(text).split(u';')) {
            const QList<QStringView> fields = row.split(u':');
            if (fields.size() != (withCheck ? 3 : 2))
                return false;
            TQVRangeTableRow entry;
            if (!ParseColorField(fields[0], entry.Color) || !ParseLimitField(fields[1], entry.Limit))
                return false;
            if (withCheck) {
                const QStringView check = fields[2].trimmed();
                if (check != u"0" && check != u"1")
                    return false;
                entry.Check = check == u"1";
            }
            parsed.append(entry);
        }
    }
    rows = parsed;
    return true;
}
