#include <gtest/gtest.h>

#include <QtCore/QLocale>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

#include "controls/qvFormat.h"

namespace {

const QLocale C = QLocale::c();

struct Case
{
    const char *pattern;
    double value;
    const char *expected;
};

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

} // namespace

TEST(FormatFloat, PatternsAndRounding)
{
    const Case cases[] = {
        {"0.00E-00", 200000, "2.00E05"},
        {"0.00E-00", 0.00025, "2.50E-04"},
        {"#.##E-00", 200000, "2E05"},
        {"#.##E-00", 0.00025, "2.5E-04"},
        {"0.00E+00", 200000, "2.00E+05"},
        {"0.00E+00", 0.00025, "2.50E-04"},
        {"0.00E-00", 0, "0.00E00"},
        {"#.##E-00", 0, "0E00"},
        {"0.00E-00", -1234.5, "-1.23E03"},
        {"0.00E-00", 9.999, "1.00E01"},       // carry into the exponent
        {"0.00E-000", 1e-100, "1.00E-100"},
        {"0.00E-0", 1e5, "1.00E5"},
        {"0.00E-00", 1e123, "1.00E123"},     // more exponent digits than zeros
        {"0.00", 2.5, "2.50"},
        {"0", 2.5, "3"},
        {"0", -2.5, "-3"},
        {"0", 0.5, "1"},
        {"0", 0.49999999999999994, "0"},      // largest double below one half
        {"0", 1e20, "100000000000000000000"},
        {"0.00", 0.125, "0.13"},              // exact tie: away from zero
        {"0.00", 2.675, "2.67"},              // binary value lies below the tie
        {"0.00", 1.005, "1.00"},
        {"0.00", -0.005, "-0.01"},            // binary value lies above the tie
        {"0.00", -0.001, "0.00"},             // no sign on a value shown as zero
        {"0.00", 1e-20, "0.00"},
        {"0.00", 99.999, "100.00"},
        {"0.##", 2.5, "2.5"},
        {"0.##", 2, "2"},
        {"0.0#", 1.2, "1.2"},
        {"0.0#", 1, "1.0"},
        {"#.##", 0.5, ".5"},
        {"#.##", 0, "0"},
        {"000", 7, "007"},
        {"#,##0.00", 1234567.891, "1,234,567.89"},
        {"0.00 V", 1.5, "1.50 V"},
        {"", 0.1, "0.1"},
        {"", 1e20, "1e+20"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(QVFormatFloat(QString::fromLatin1(c.pattern), c.value, C), QString::fromLatin1(c.expected))
            << c.pattern << " " << c.value;
}

TEST(FormatFloat, NonFiniteValues)
{
    EXPECT_EQ(QVFormatFloat("0.00", std::numeric_limits<double>::quiet_NaN(), C), "NAN");
    EXPECT_EQ(QVFormatFloat("0.00E-00", std::numeric_limits<double>::infinity(), C), "INF");
    EXPECT_EQ(QVFormatFloat("0", -std::numeric_limits<double>::infinity(), C), "-INF");
}

TEST(FormatFloat, UsesTheLocaleDecimalSeparator)
{
    const QLocale german(QLocale::German, QLocale::Germany);
    EXPECT_EQ(QVFormatFloat("0.00", 2.5, german), "2,50");
    EXPECT_EQ(QVFormatFloat("0.00E-00", 0.00025, german), "2,50E-04");
    EXPECT_EQ(QVFormatFloat("#,##0.0", 12345.25, german), "12.345,3");
    EXPECT_EQ(QVFormatFloat("", 1.5, german), "1,5");
    EXPECT_EQ(QVFormatFloat("0", 2.5, german), "3");
}

// Values near decimal ties and across magnitudes against the exact expansion.
TEST(FormatFloat, MatchesExactDecimalReference)
{
    std::mt19937_64 random(20240611);
    std::uniform_int_distribution<int> mantissa(-999999, 999999);
    std::uniform_int_distribution<int> scale(-12, 12);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int i = 0; i < 4000; ++i) {
        double value;
        switch (i % 3) {
        case 0: // ties like 12.345 given as the nearest double
            value = std::stod(std::to_string(mantissa(random)) + "5e" + std::to_string(scale(random)));
            break;
        case 1:
            value = mantissa(random) * std::pow(10.0, scale(random));
            break;
        default:
            value = unit(random) * std::pow(10.0, 3 * scale(random));
            break;
        }
        SCOPED_TRACE(value);
        ASSERT_EQ(QVFormatFloat("0", value, C).toStdString(), Reference(value, 0, 0));
        ASSERT_EQ(QVFormatFloat("0.00", value, C).toStdString(), Reference(value, 2, 2));
        ASSERT_EQ(QVFormatFloat("0.0###", value, C).toStdString(), Reference(value, 4, 1));
        ASSERT_EQ(QVFormatFloat("0.00E-00", value, C).toStdString(), ReferenceScientific(value, 2, 2, 2, false));
        ASSERT_EQ(QVFormatFloat("#.##E-00", value, C).toStdString(), ReferenceScientific(value, 2, 0, 2, false));
        ASSERT_EQ(QVFormatFloat("0.0000E+000", value, C).toStdString(), ReferenceScientific(value, 4, 4, 3, true));
    }
}

TEST(FormatFloat, ExtremeMagnitudes)
{
    const double values[] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::denorm_min(),
                             -std::numeric_limits<double>::min(), 5e-324 * 3, 1.7976931348623157e308 / 3};
    for (double value : values) {
        SCOPED_TRACE(value);
        EXPECT_EQ(QVFormatFloat("0.00", value, C).toStdString(), Reference(value, 2, 2));
        EXPECT_EQ(QVFormatFloat("0.00E+000", value, C).toStdString(), ReferenceScientific(value, 2, 2, 3, true));
        EXPECT_EQ(QVFormatFloat("0.000000000000000000000000000000", value, C).toStdString(), Reference(value, 30, 30));
    }
}
