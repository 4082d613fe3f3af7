#include <gtest/gtest.h>

#include <QtCore/QLocale>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "controls/qvFormat.h"

namespace {

const QLocale C = QLocale::c();

// Decimal digits of |value| from glibc's printf, which prints the exact binary value when
// asked for enough digits; an independent path from the library's conversion.
struct ExactDecimal
{
    std::string digits; // no leading zeros unless the value is zero
    int pointPos = 0;   // |value| = 0.digits x 10^pointPos
};

ExactDecimal Exact(double value)
{
    std::string text(1500, '\0');
    const int n = std::snprintf(text.data(), text.size(), "%.1100f", std::fabs(value));
    text.resize(size_t(n));
    const size_t point = text.find('.');
    ExactDecimal d;
    d.digits = text.substr(0, point) + text.substr(point + 1);
    d.pointPos = int(point);
    const size_t first = d.digits.find_first_not_of('0');
    if (first == std::string::npos)
        return {"", 0};
    d.digits.erase(0, first);
    d.pointPos -= int(first);
    return d;
}

// Rounds to `keep` leading digits, half away from zero; a carry out of the top digit moves
// the point.
void RoundDigits(ExactDecimal &d, int keep)
{
    if (keep < 0) {
        d = {"", 0};
        return;
    }
    const bool up = size_t(keep) < d.digits.size() && d.digits[size_t(keep)] >= '5';
    d.digits.resize(size_t(keep), '0');
    if (!up)
        return;
    long carry = 1;
    for (int i = keep - 1; i >= 0 && carry; --i) {
        const int digit = d.digits[size_t(i)] - '0' + 1;
        carry = digit / 10;
        d.digits[size_t(i)] = char('0' + digit % 10);
    }
    if (carry) {
        d.digits.insert(d.digits.begin(), '1');
        ++d.pointPos;
    }
}

std::string Reference(double value, int decimals, int minDecimals)
{
    ExactDecimal d = Exact(value);
    RoundDigits(d, d.pointPos + decimals);
    std::string intPart = d.pointPos > 0 ? d.digits.substr(0, size_t(d.pointPos)) : "0";
    std::string frac = d.pointPos >= 0 ? d.digits.substr(size_t(d.pointPos))
                                       : std::string(size_t(-d.pointPos), '0') + d.digits;
    frac.resize(size_t(decimals), '0');
    while (int(frac.size()) > minDecimals && frac.back() == '0')
        frac.pop_back();
    const bool zero = d.digits.find_first_not_of('0') == std::string::npos;
    return (value < 0 && !zero ? "-" : "") + intPart + (frac.empty() ? "" : "." + frac);
}

std::string ReferenceScientific(double value, int decimals, int minDecimals, int expDigits, bool plus)
{
    ExactDecimal d = Exact(value);
    if (d.digits.empty())
        d = {std::string(size_t(decimals + 1), '0'), 1};
    RoundDigits(d, decimals + 1);
    std::string frac = d.digits.substr(1);
    while (int(frac.size()) > minDecimals && frac.back() == '0')
        frac.pop_back();
    const bool zero = d.digits.find_first_not_of('0') == std::string::npos;
    const int exponent = zero ? 0 : d.pointPos - 1;
    std::string expText = std::to_string(std::abs(exponent));
    expText.insert(0, size_t(std::max(0, expDigits - int(expText.size()))), '0');
    return (value < 0 && !zero ? "-" : "") + d.digits.substr(0, 1) + (frac.empty() ? "" : "." + frac) + "E"
        + (exponent < 0 ? "-" : plus ? "+" : "") + expText;
}

// A pattern with the reference of its rendering.
struct Pattern
{
    const char *text;
    bool scientific;
    int decimals, minDecimals, expDigits;
    bool plus;
    std::string Expected(double value) const
    {
        return scientific ? ReferenceScientific(value, decimals, minDecimals, expDigits, plus)
                          : Reference(value, decimals, minDecimals);
    }
};

const Pattern Patterns[] = {
    {"0", false, 0, 0, 0, false},           {"0.00", false, 2, 2, 0, false},       {"0.##", false, 2, 0, 0, false},
    {"0.0#", false, 2, 1, 0, false},        {"0.0###", false, 4, 1, 0, false},
    {"0.000000000000000000000000000000", false, 30, 30, 0, false},
    {"0.00E-00", true, 2, 2, 2, false},     {"#.##E-00", true, 2, 0, 2, false},    {"0.00E+00", true, 2, 2, 2, true},
    {"0.00E-0", true, 2, 2, 1, false},      {"0.00E-000", true, 2, 2, 3, false},   {"0.0000E+000", true, 4, 4, 3, true},
};

} // namespace

// Hand-picked values at the edges of rounding and of the exponent, then random values near decimal
// ties and across magnitudes: every pattern against the exact decimal reference.
TEST(FormatFloat, MatchesExactDecimalReference)
{
    std::vector<double> values = {
        0, 200000, 0.00025, -1234.5, 1e5, 1e-100, 1e20, 1e-20,
        9.999, 99.999,              // carry into the exponent or the integer part
        1e123,                      // more exponent digits than the pattern's zeros
        2.5, -2.5, 0.5, 0.125,      // exact ties: away from zero
        0.49999999999999994,        // largest double below one half
        2.675, 1.005,               // binary value lies below the tie
        -0.005,                     // binary value lies above the tie
        -0.001,                     // no sign on a value shown as zero
        std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(), -std::numeric_limits<double>::min(),
        5e-324 * 3, 1.7976931348623157e308 / 3,
    };
    std::mt19937_64 random(20240611);
    std::uniform_int_distribution<int> mantissa(-999999, 999999);
    std::uniform_int_distribution<int> scale(-12, 12);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int i = 0; i < 4000; ++i) {
        if (i % 3 == 0) // ties like 12.345 given as the nearest double
            values.push_back(std::stod(std::to_string(mantissa(random)) + "5e" + std::to_string(scale(random))));
        else
            values.push_back(i % 3 == 1 ? mantissa(random) * std::pow(10.0, scale(random))
                                        : unit(random) * std::pow(10.0, 3 * scale(random)));
    }
    for (double value : values) {
        SCOPED_TRACE(value);
        for (const Pattern &p : Patterns)
            ASSERT_EQ(QVFormatFloat(QString::fromLatin1(p.text), value, C).toStdString(), p.Expected(value)) << p.text;
    }
}

// Outside the reference: optional integer digit, padding, grouping, literals, no pattern, values
// that are not finite, another decimal separator.
TEST(FormatFloat, OtherPatternsNonFiniteValuesAndLocales)
{
    const QLocale german(QLocale::German, QLocale::Germany);
    const double inf = std::numeric_limits<double>::infinity();
    const struct { const char *pattern; double value; const char *expected; const QLocale &locale; } cases[] = {
        {"#.##", 0.5, ".5", C},        {"#.##", 0, "0", C},              {"000", 7, "007", C},
        {"#,##0.00", 1234567.891, "1,234,567.89", C}, {"0.00 V", 1.5, "1.50 V", C}, {"", 0.1, "0.1", C},
        {"", 1e20, "1e+20", C},         {"0.00", std::nan(""), "NAN", C}, {"0.00E-00", inf, "INF", C},
        {"0", -inf, "-INF", C},         {"0.00", 2.5, "2,50", german},    {"0.00E-00", 0.00025, "2,50E-04", german},
        {"#,##0.0", 12345.25, "12.345,3", german}, {"", 1.5, "1,5", german}, {"0", 2.5, "3", german},
    };
    for (const auto &c : cases)
        EXPECT_EQ(QVFormatFloat(QString::fromLatin1(c.pattern), c.value, c.locale), QString::fromLatin1(c.expected))
            << c.pattern << " " << c.value;
}
