#include "controls/qvFormat.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace {

// A double needs at most 767 significant decimal digits; with this many the conversion is exact.
constexpr int ExactPrecision = 780;
// Digits asked for beyond the rounding position on the fast path.
constexpr int GuardDigits = 20;

// |value| = 0.d1 d2 d3 ... x 10^pointPos; an empty digit string is zero.
struct Decimal
{
    std::string digits;
    int pointPos = 0;
};

// `value` (finite, > 0) correctly rounded to `significant` digits (to_chars is exact to the
// last digit asked for).
Decimal Convert(double value, int significant)
{
    std::string buffer(size_t(significant) + 32, '\0');
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::scientific, significant - 1);
    const std::string text(buffer.data(), result.ptr);
    const size_t ePos = text.find('e');
    Decimal d;
    d.digits.reserve(size_t(significant));
    for (size_t i = 0; i < ePos; ++i) {
        if (text[i] != '.')
            d.digits.push_back(text[i]);
    }
    d.pointPos = std::stoi(text.substr(ePos + 1)) + 1;
    return d;
}

// Keeps `keep` leading digits of `d` and rounds half away from zero on the digits that follow
// (which must all be present in `d`). `keep` may be zero or negative.
Decimal RoundAt(const Decimal &d, int keep)
{
    Decimal r;
    r.pointPos = d.pointPos;
    if (keep < 0)
        return r;
    r.digits = d.digits.substr(0, size_t(keep));
    if (size_t(keep) < d.digits.size() && d.digits[size_t(keep)] >= '5') {
        int i = keep - 1;
        while (i >= 0 && r.digits[size_t(i)] == '9')
            r.digits[size_t(i--)] = '0';
        if (i >= 0) {
            ++r.digits[size_t(i)];
        } else {
            r.digits.insert(r.digits.begin(), '1');
            r.digits.pop_back();
            if (keep == 0)
                r.digits = "1";
            ++r.pointPos;
        }
    }
    return r;
}

// True when the digits from `keep` on read "5000...": the shortened conversion may hide
// whether the exact value lies on, above or below the tie.
bool LooksLikeTie(const Decimal &d, int keep)
{
    if (keep < 0 || size_t(keep) >= d.digits.size() || d.digits[size_t(keep)] != '5')
        return false;
    return std::all_of(d.digits.begin() + keep + 1, d.digits.end(), [](char c) { return c == '0'; });
}

// `value` (finite, > 0) rounded half away from zero to the digit count that `keepFor`
// derives from the decimal point position.
template<typename KeepFor>
Decimal RoundDecimal(double value, KeepFor keepFor)
{
    Decimal d = Convert(value, 32);
    int keep = keepFor(d.pointPos);
    if (keep + 1 + GuardDigits > int(d.digits.size())) {
        d = Convert(value, std::min(ExactPrecision, std::max(keep, 0) + 1 + GuardDigits));
        keep = keepFor(d.pointPos);
    }
    if (LooksLikeTie(d, keep) && int(d.digits.size()) < ExactPrecision) {
        d = Convert(value, ExactPrecision);
        keep = keepFor(d.pointPos);
    }
    return RoundAt(d, keep);
}

struct Pattern
{
    QString prefix;
    QString suffix;
    int intZeros = 0;    // '0' before the separator: minimum integer digits
    int intDigits = 0;   // '0' and '#' before the separator
    bool grouping = false;
    int fracMin = 0;     // digits after the separator up to the last '0'
    int fracMax = 0;     // all digit placeholders after the separator
    bool scientific = false;
    QChar expChar;
    bool expAlwaysSign = false;
    int expDigits = 0;
    bool hasDigits = false;
};

bool IsNumberChar(QChar c)
{
    return c == u'0' || c == u'#' || c == u'.' || c == u',';
}

Pattern ParsePattern(const QString &text)
{
    Pattern p;
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n && !IsNumberChar(text[i]))
        p.prefix += text[i++];
    bool afterPoint = false;
    for (; i < n && IsNumberChar(text[i]); ++i) {
        const QChar c = text[i];
        if (c == u'.') {
            if (afterPoint)
                break;
            afterPoint = true;
        } else if (c == u',') {
            if (!afterPoint)
                p.grouping = true;
        } else if (afterPoint) {
            ++p.fracMax;
            if (c == u'0')
                p.fracMin = p.fracMax;
        } else {
            ++p.intDigits;
            if (c == u'0')
                ++p.intZeros;
        }
    }
    p.hasDigits = p.intDigits + p.fracMax > 0;
    if (p.hasDigits && i + 2 < n && (text[i] == u'E' || text[i] == u'e')
        && (text[i + 1] == u'+' || text[i + 1] == u'-') && text[i + 2] == u'0') {
        p.scientific = true;
        p.expChar = text[i];
        p.expAlwaysSign = text[i + 1] == u'+';
        i += 2;
        while (i < n && text[i] == u'0') {
            ++p.expDigits;
            ++i;
        }
    }
    p.suffix = text.mid(i);
    return p;
}

QString Grouped(const QString &digits, const QString &separator)
{
    QString out;
    const qsizetype n = digits.size();
    for (qsizetype i = 0; i < n; ++i) {
        if (i > 0 && (n - i) % 3 == 0)
            out += separator;
        out += digits[i];
    }
    return out;
}

QString FormatFinite(const Pattern &p, double value, const QLocale &locale)
{
    const double magnitude = std::fabs(value);
    Decimal r;
    if (p.scientific) {
        const int mantissaDigits = std::max(p.intDigits, 1) + p.fracMax;
        if (magnitude > 0)
            r = RoundDecimal(magnitude, [&](int) { return mantissaDigits; });
    } else if (magnitude > 0) {
        r = RoundDecimal(magnitude, [&](int pointPos) { return pointPos + p.fracMax; });
    }
    const bool isZero = std::all_of(r.digits.begin(), r.digits.end(), [](char c) { return c == '0'; });

    // Split the kept digits at the separator.
    std::string intPart;
    std::string fracPart;
    int exponent = 0;
    if (p.scientific) {
        const int intCount = std::max(p.intDigits, 1);
        r.digits.resize(size_t(intCount + p.fracMax), '0');
        intPart = r.digits.substr(0, size_t(intCount));
        fracPart = r.digits.substr(size_t(intCount));
        exponent = isZero ? 0 : r.pointPos - intCount;
    } else {
        if (isZero) {
            r.digits.clear();
            r.pointPos = 0;
        }
        // Pad with zeros so that the string covers the point and all fraction digits.
        const int lead = std::max(0, -r.pointPos);
        std::string all = std::string(size_t(lead), '0') + r.digits;
        const int point = r.pointPos + lead;
        all.resize(size_t(std::max<int>(int(all.size()), point + p.fracMax)), '0');
        intPart = all.substr(0, size_t(point));
        fracPart = all.substr(size_t(point), size_t(p.fracMax));
        intPart.erase(0, std::min(intPart.find_first_not_of('0'), intPart.size()));
        if (int(intPart.size()) < p.intZeros)
            intPart.insert(0, size_t(p.intZeros - int(intPart.size())), '0');
    }
    while (int(fracPart.size()) > p.fracMin && fracPart.back() == '0')
        fracPart.pop_back();
    if (intPart.empty() && fracPart.empty())
        intPart = "0";

    QString out = p.prefix;
    if (value < 0 && !isZero)
        out += u'-';
    const QString intText = QString::fromLatin1(intPart);
    out += p.grouping && !p.scientific ? Grouped(intText, locale.groupSeparator()) : intText;
    if (!fracPart.empty()) {
        out += locale.decimalPoint();
        out += QString::fromLatin1(fracPart);
    }
    if (p.scientific) {
        out += p.expChar;
        if (exponent < 0)
            out += u'-';
        else if (p.expAlwaysSign)
            out += u'+';
        out += QString::number(std::abs(exponent)).rightJustified(p.expDigits, u'0');
    }
    return out + p.suffix;
}

} // namespace

QString QVFormatFloat(const QString &pattern, double value, const QLocale &locale)
{
    if (std::isnan(value))
        return QStringLiteral("NAN");
    if (std::isinf(value))
        return value < 0 ? QStringLiteral("-INF") : QStringLiteral("INF");
    if (pattern.isEmpty()) {
        QString text = QString::number(value, 'g', 15);
        text.replace(u'.', locale.decimalPoint());
        return text;
    }
    const Pattern p = ParsePattern(pattern);
    if (!p.hasDigits)
        return pattern;
    return FormatFinite(p, value, locale);
}
