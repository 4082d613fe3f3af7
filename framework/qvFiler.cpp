#include "qvFiler.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include <locale.h>

#include "qvExceptions.h"
#include "qvExtended.h"
#include "qvResStrings.h"

namespace {

// Longest line of a list before the writer continues it on the next line.
constexpr qsizetype WrapColumn = 100;
constexpr std::uint64_t DefaultNaNMantissa = 0xC000000000000000ull;

// Text-to-number conversion in the C locale, whatever the process locale is.
locale_t CLocale()
{
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    return locale;
}

bool IsLetter(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || u == '_';
}

bool IsDigit(QChar c)
{
    return c.unicode() >= '0' && c.unicode() <= '9';
}

int HexValue(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

// Shortest text from std::to_chars made a float item: upper-case exponent, and ".0" when
// the text would otherwise read as an integer.
template<typename T>
QString ShortestText(T value)
{
    if (std::isnan(value))
        return std::signbit(value) ? QStringLiteral("-NAN") : QStringLiteral("+NAN");
    if (std::isinf(value))
        return value < 0 ? QStringLiteral("-INF") : QStringLiteral("+INF");
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    QString text = QString::fromLatin1(buffer, result.ptr - buffer);
    bool marked = false;
    for (QChar &c : text) {
        if (c == u'e')
            c = u'E';
        if (c == u'E' || c == u'.')
            marked = true;
    }
    if (!marked)
        text += QStringLiteral(".0");
    return text;
}

QString Tr(TQVResString id)
{
    return QVLoadResString(id);
}

} // namespace

// ---------------------------------------------------------------------------------------
// TQVWriter

TQVWriter::TQVWriter() = default;

void TQVWriter::NewLine(int indent)
{
    if (!m_text.isEmpty())
        m_text += u'\n';
    m_lineStart = m_text.size();
    m_text += QString(indent * 2, u' ');
    m_lineEmpty = true;
}

void TQVWriter::Token(const QString &token)
{
    if (m_listDepth > 0 && m_text.size() - m_lineStart + token.size() >= WrapColumn)
        NewLine(m_indent + 2);
    if (!m_lineEmpty)
        m_text += u' ';
    m_text += token;
    m_lineEmpty = false;
}

void TQVWriter::WriteListBegin()
{
    Token(QStringLiteral("("));
    ++m_listDepth;
}

void TQVWriter::WriteListEnd()
{
    Token(QStringLiteral(")"));
    if (m_listDepth > 0)
        --m_listDepth;
}

void TQVWriter::WriteInteger(qint64 value)
{
    Token(QString::number(value));
}

void TQVWriter::WriteFloat(long double value)
{
    Token(FloatText(value));
}

void TQVWriter::WriteDouble(double value)
{
    Token(DoubleText(value));
}

void TQVWriter::WriteSingle(float value)
{
    Token(SingleText(value));
}

void TQVWriter::WriteString(const QString &value)
{
    Token(QuotedString(value));
}

void TQVWriter::WriteIdent(const QString &value)
{
    if (!IsIdent(value))
        throw EQVFormError(Tr(TQVResString::FormInvalidName).arg(value));
    Token(value);
}

void TQVWriter::WriteBoolean(bool value)
{
    Token(value ? QStringLiteral("True") : QStringLiteral("False"));
}

void TQVWriter::WriteNil()
{
    Token(QStringLiteral("nil"));
}

void TQVWriter::BeginObject(const QString &name, const QString &className)
{
    if (!IsIdent(className))
        throw EQVFormError(Tr(TQVResString::FormInvalidName).arg(className));
    if (!name.isEmpty() && !IsComponentName(name))
        throw EQVFormError(Tr(TQVResString::FormInvalidName).arg(name));
    NewLine(m_indent);
    m_text += name.isEmpty() ? QStringLiteral("object ") + className
                             : QStringLiteral("object ") + name + QStringLiteral(": ") + className;
    m_lineEmpty = false;
    ++m_indent;
}

void TQVWriter::EndObject()
{
    if (m_indent > 0)
        --m_indent;
    NewLine(m_indent);
    m_text += QStringLiteral("end");
    m_lineEmpty = false;
    if (m_indent == 0) {
        m_text += u'\n';
        m_lineStart = m_text.size();
        m_lineEmpty = true;
    }
}

void TQVWriter::WritePropertyName(const QString &name)
{
    if (!IsIdent(name))
        throw EQVFormError(Tr(TQVResString::FormInvalidName).arg(name));
    NewLine(m_indent);
    m_text += name + QStringLiteral(" =");
    m_lineEmpty = false;
    m_listDepth = 0;
}

QString TQVWriter::FloatText(long double value)
{
    if (std::isnan(value)) {
        const TQVExtended bits = TQVExtended::FromLongDouble(value);
        std::uint64_t mantissa = 0;
        for (int i = 7; i >= 0; --i)
            mantissa = (mantissa << 8) | bits.Bytes[i];
        QString text = (bits.Bytes[9] & 0x80) ? QStringLiteral("-NAN") : QStringLiteral("+NAN");
        if (mantissa != DefaultNaNMantissa)
            text += QStringLiteral("(0x") + QString::number(mantissa, 16).rightJustified(16, u'0').toUpper()
                    + u')';
        return text;
    }
    return ShortestText(value);
}

QString TQVWriter::DoubleText(double value)
{
    return ShortestText(value);
}

QString TQVWriter::SingleText(float value)
{
    return ShortestText(value);
}

QString TQVWriter::QuotedString(const QString &value)
{
    QString text;
    text.reserve(value.size() + 2);
    text += u'"';
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        const char16_t u = c.unicode();
        if (u == '"' || u == '\\') {
            text += u'\\';
            text += c;
        } else if (u == '\n') {
            text += QStringLiteral("\\n");
        } else if (u == '\r') {
            text += QStringLiteral("\\r");
        } else if (u == '\t') {
            text += QStringLiteral("\\t");
        } else if (u < 0x20 || u == 0x7F) {
            text += QStringLiteral("\\u%1").arg(unsigned(u), 4, 16, QChar(u'0'));
        } else if (c.isHighSurrogate() && i + 1 < value.size() && value.at(i + 1).isLowSurrogate()) {
            text += c;
            text += value.at(++i);
        } else if (c.isSurrogate()) {
            // A lone surrogate cannot be stored as UTF-8: keep it as an escape.
            text += QStringLiteral("\\u%1").arg(unsigned(u), 4, 16, QChar(u'0'));
        } else {
            text += c;
        }
    }
    text += u'"';
    return text;
}

bool TQVWriter::IsIdent(const QString &value)
{
    if (value.isEmpty() || !IsLetter(value.at(0)))
        return false;
    for (QChar c : value) {
        if (!IsLetter(c) && !IsDigit(c))
            return false;
    }
    return true;
}

bool TQVWriter::IsComponentName(const QString &value)
{
    static const QString words[] = {QStringLiteral("object"), QStringLiteral("end"), QStringLiteral("true"),
                                    QStringLiteral("false"), QStringLiteral("nil")};
    return IsIdent(value) && std::none_of(std::begin(words), std::end(words), [&](const QString &word) {
               return value.compare(word, Qt::CaseInsensitive) == 0;
           });
}

// ---------------------------------------------------------------------------------------
// TQVReader

TQVReader::TQVReader(const QString &text)
    : m_text(text)
{
}

void TQVReader::ErrorAt(int line, int column, const QString &detail)
{
    throw EQVFormError(Tr(TQVResString::FormErrorAt).arg(line).arg(column).arg(detail), line, column);
}

void TQVReader::Error(const QString &detail)
{
    const Token &token = Peek();
    ErrorAt(token.line, token.column, detail);
}

int TQVReader::TokenLine()
{
    return Peek().line;
}

int TQVReader::TokenColumn()
{
    return Peek().column;
}

QString TQVReader::Describe(const Token &token) const
{
    if (token.kind == tkEnd)
        return Tr(TQVResString::FormEndOfInput);
    QString text = TokenText(token);
    if (text.size() > 32)
        text = text.left(29) + QStringLiteral("...");
    return u'\'' + text + u'\'';
}

void TQVReader::Expected(const QString &what)
{
    const Token &token = Peek();
    ErrorAt(token.line, token.column, Tr(TQVResString::FormExpected).arg(what, Describe(token)));
}

const TQVReader::Token &TQVReader::Peek()
{
    if (m_token.kind != tkNone)
        return m_token;

    // Blanks and line breaks.
    while (m_pos < m_text.size()) {
        const char16_t u = m_text.at(m_pos).unicode();
        if (u == '\n') {
            ++m_line;
            m_lineStart = m_pos + 1;
        } else if (u != ' ' && u != '\t' && u != '\r') {
            break;
        }
        ++m_pos;
    }

    Token token;
    token.begin = m_pos;
    token.line = m_line;
    token.column = int(m_pos - m_lineStart + 1);
    auto badCharacter = [&](qsizetype at) {
        const int column = int(at - m_lineStart + 1);
        if (at >= m_text.size())
            ErrorAt(m_line, column, Tr(TQVResString::FormExpected).arg(Tr(TQVResString::FormWordValue),
                                                                      Tr(TQVResString::FormEndOfInput)));
        const QChar c = m_text.at(at);
        const QString shown = c.unicode() < 0x20 || c.unicode() == 0x7F || c.isSurrogate()
                                  ? QStringLiteral("U+%1").arg(unsigned(c.unicode()), 4, 16, QChar(u'0')).toUpper()
                                  : u'\'' + QString(c) + u'\'';
        ErrorAt(m_line, column, Tr(TQVResString::FormBadCharacter).arg(shown));
    };

    if (m_pos >= m_text.size()) {
        token.kind = tkEnd;
        token.end = m_pos;
        m_token = token;
        return m_token;
    }

    const QChar c = m_text.at(m_pos);
    const char16_t u = c.unicode();
    if (IsLetter(c)) {
        while (m_pos < m_text.size() && (IsLetter(m_text.at(m_pos)) || IsDigit(m_text.at(m_pos))))
            ++m_pos;
        token.kind = tkIdent;
    } else if (u == '"') {
        LexString(token);
    } else if (u == '(' || u == ')' || u == '=' || u == ':') {
        ++m_pos;
        token.kind = u == '(' ? tkListBegin : u == ')' ? tkListEnd : u == '=' ? tkEquals : tkColon;
    } else if (IsDigit(c) || u == '+' || u == '-') {
        if (u == '+' || u == '-')
            ++m_pos;
        if (m_pos < m_text.size() && IsLetter(m_text.at(m_pos))) {
            // +INF, -INF, +NAN, -NAN, +NAN(0x<hex mantissa>)
            const qsizetype word = m_pos;
            while (m_pos < m_text.size() && IsLetter(m_text.at(m_pos)))
                ++m_pos;
            const QStringView name = QStringView(m_text).mid(word, m_pos - word);
            if (u == '+' || u == '-') {
                if (name == u"INF") {
                    token.kind = tkFloat;
                } else if (name == u"NAN") {
                    token.kind = tkFloat;
                    if (m_pos < m_text.size() && m_text.at(m_pos) == u'(') {
                        ++m_pos;
                        if (m_pos + 1 >= m_text.size() || m_text.at(m_pos) != u'0' || m_text.at(m_pos + 1) != u'x')
                            badCharacter(m_pos);
                        m_pos += 2;
                        const qsizetype digits = m_pos;
                        while (m_pos < m_text.size() && m_pos - digits < 16 && HexValue(m_text.at(m_pos)) >= 0)
                            ++m_pos;
                        if (m_pos == digits || m_pos >= m_text.size() || m_text.at(m_pos) != u')')
                            badCharacter(m_pos);
                        ++m_pos;
                    }
                }
            }
            if (token.kind != tkFloat)
                badCharacter(token.begin);
        } else {
            if (m_pos >= m_text.size() || !IsDigit(m_text.at(m_pos)))
                badCharacter(m_pos);
            token.kind = tkInteger;
            while (m_pos < m_text.size() && IsDigit(m_text.at(m_pos)))
                ++m_pos;
            if (m_pos + 1 < m_text.size() && m_text.at(m_pos) == u'.' && IsDigit(m_text.at(m_pos + 1))) {
                token.kind = tkFloat;
                m_pos += 2;
                while (m_pos < m_text.size() && IsDigit(m_text.at(m_pos)))
                    ++m_pos;
            }
            if (m_pos < m_text.size() && (m_text.at(m_pos) == u'e' || m_text.at(m_pos) == u'E')) {
                qsizetype p = m_pos + 1;
                if (p < m_text.size() && (m_text.at(p) == u'+' || m_text.at(p) == u'-'))
                    ++p;
                if (p < m_text.size() && IsDigit(m_text.at(p))) {
                    token.kind = tkFloat;
                    m_pos = p;
                    while (m_pos < m_text.size() && IsDigit(m_text.at(m_pos)))
                        ++m_pos;
                }
            }
        }
        // A number runs into nothing but a separator.
        if (m_pos < m_text.size() && (IsLetter(m_text.at(m_pos)) || IsDigit(m_text.at(m_pos))
                                      || m_text.at(m_pos) == u'.'))
            badCharacter(m_pos);
    } else {
        badCharacter(m_pos);
    }
    token.end = m_pos;
    m_token = std::move(token);
    return m_token;
}

void TQVReader::LexString(Token &token)
{
    const int line = m_line;
    const int column = int(m_pos - m_lineStart + 1);
    ++m_pos; // opening quote
    QString value;
    for (;;) {
        if (m_pos >= m_text.size())
            ErrorAt(line, column, Tr(TQVResString::FormUnterminatedString));
        const QChar c = m_text.at(m_pos);
        const char16_t u = c.unicode();
        if (u == '"') {
            ++m_pos;
            break;
        }
        if (u == '\n' || u == '\r')
            ErrorAt(line, column, Tr(TQVResString::FormUnterminatedString));
        if (u < 0x20 || u == 0x7F) {
            ErrorAt(m_line, int(m_pos - m_lineStart + 1),
                    Tr(TQVResString::FormBadCharacter)
                        .arg(QStringLiteral("U+%1").arg(unsigned(u), 4, 16, QChar(u'0')).toUpper()));
        }
        if (u != '\\') {
            value += c;
            ++m_pos;
            continue;
        }
        const int escapeColumn = int(m_pos - m_lineStart + 1);
        ++m_pos;
        if (m_pos >= m_text.size())
            ErrorAt(line, column, Tr(TQVResString::FormUnterminatedString));
        const char16_t e = m_text.at(m_pos).unicode();
        ++m_pos;
        switch (e) {
        case '"': value += u'"'; break;
        case '\\': value += u'\\'; break;
        case 'n': value += u'\n'; break;
        case 'r': value += u'\r'; break;
        case 't': value += u'\t'; break;
        case 'u': {
            unsigned code = 0;
            for (int k = 0; k < 4; ++k) {
                const int digit = m_pos < m_text.size() ? HexValue(m_text.at(m_pos)) : -1;
                if (digit < 0)
                    ErrorAt(m_line, escapeColumn, Tr(TQVResString::FormBadEscape));
                code = code * 16 + unsigned(digit);
                ++m_pos;
            }
            value += QChar(char16_t(code));
            break;
        }
        default:
            ErrorAt(m_line, escapeColumn, Tr(TQVResString::FormBadEscape));
        }
    }
    token.kind = tkString;
    token.string = value;
}

TQVValueType TQVReader::NextValueType()
{
    const Token &token = Peek();
    switch (token.kind) {
    case tkListBegin: return vaList;
    case tkListEnd: return vaEndOfList;
    case tkInteger: return vaInteger;
    case tkFloat: return vaFloat;
    case tkString: return vaString;
    case tkIdent: {
        const QString text = TokenText(token);
        if (text == u"True")
            return vaTrue;
        if (text == u"False")
            return vaFalse;
        if (text == u"nil")
            return vaNil;
        return vaIdent;
    }
    default: return vaNone;
    }
}

void TQVReader::ReadListBegin()
{
    if (Peek().kind != tkListBegin)
        Expected(QStringLiteral("'('"));
    if (m_listDepth >= QVFormMaxDepth)
        Error(Tr(TQVResString::FormTooDeep).arg(QVFormMaxDepth));
    Consume();
    ++m_listDepth;
}

void TQVReader::ReadListEnd()
{
    if (Peek().kind != tkListEnd)
        Expected(QStringLiteral("')'"));
    Consume();
    if (m_listDepth > 0)
        --m_listDepth;
}

bool TQVReader::EndOfList()
{
    return Peek().kind == tkListEnd;
}

qint64 TQVReader::ReadInteger()
{
    const Token &token = Peek();
    if (token.kind != tkInteger)
        Expected(Tr(TQVResString::FormWordInteger));
    const QString text = TokenText(token);
    QByteArray digits = text.toLatin1();
    const char *first = digits.constData();
    if (*first == '+')
        ++first;
    qint64 value = 0;
    const auto result = std::from_chars(first, digits.constData() + digits.size(), value);
    if (result.ec != std::errc())
        Error(Tr(TQVResString::FormIntegerRange).arg(text));
    Consume();
    return value;
}

qint64 TQVReader::ReadInteger(qint64 min, qint64 max)
{
    const int line = TokenLine();
    const int column = TokenColumn();
    const qint64 value = ReadInteger();
    if (value < min || value > max)
        ErrorAt(line, column, Tr(TQVResString::FormIntegerRange).arg(value));
    return value;
}

quint32 TQVReader::ReadColor()
{
    return quint32(ReadInteger(std::numeric_limits<qint32>::min(), std::numeric_limits<quint32>::max()));
}

bool TQVReader::ReadSpecialFloat(const Token &token, long double &value) const
{
    const QString text = TokenText(token);
    const bool negative = text.startsWith(u'-');
    if (text.mid(1, 3) == u"INF") {
        value = negative ? -std::numeric_limits<long double>::infinity()
                         : std::numeric_limits<long double>::infinity();
        return true;
    }
    if (text.mid(1, 3) != u"NAN")
        return false;
    std::uint64_t mantissa = DefaultNaNMantissa;
    if (text.size() > 4) {
        bool ok = false;
        mantissa = text.mid(7, text.size() - 8).toULongLong(&ok, 16);
        // The integer bit must be set and the fraction non-zero, or it is no NaN.
        if (!ok || (mantissa >> 63) == 0 || (mantissa << 1) == 0)
            ErrorAt(token.line, token.column, Tr(TQVResString::FormFloatRange).arg(text));
    }
    TQVExtended bits;
    for (int i = 0; i < 8; ++i)
        bits.Bytes[i] = static_cast<unsigned char>(mantissa >> (8 * i));
    bits.Bytes[8] = 0xFF;
    bits.Bytes[9] = negative ? 0xFF : 0x7F;
    value = bits.ToLongDouble();
    return true;
}

long double TQVReader::ReadFloat()
{
    const Token &token = Peek();
    if (token.kind != tkFloat && token.kind != tkInteger)
        Expected(Tr(TQVResString::FormWordFloat));
    long double value = 0.0L;
    if (!ReadSpecialFloat(token, value)) {
        const QString text = TokenText(token);
        const std::string digits = text.toStdString();
        errno = 0;
        char *end = nullptr;
        value = strtold_l(digits.c_str(), &end, CLocale());
        // Denormal results are kept; overflow and underflow to zero are refused.
        if (errno == ERANGE && (std::isinf(value) || value == 0.0L))
            Error(Tr(TQVResString::FormFloatRange).arg(text));
    }
    Consume();
    return value;
}

double TQVReader::ReadDouble()
{
    const Token &token = Peek();
    if (token.kind != tkFloat && token.kind != tkInteger)
        Expected(Tr(TQVResString::FormWordFloat));
    long double special = 0.0L;
    double value = 0.0;
    if (ReadSpecialFloat(token, special)) {
        value = std::isnan(special)
                    ? std::copysign(std::numeric_limits<double>::quiet_NaN(), std::signbit(special) ? -1.0 : 1.0)
                    : double(special);
    } else {
        const QString text = TokenText(token);
        const std::string digits = text.toStdString();
        errno = 0;
        char *end = nullptr;
        value = strtod_l(digits.c_str(), &end, CLocale());
        if (errno == ERANGE && (std::isinf(value) || value == 0.0))
            Error(Tr(TQVResString::FormFloatRange).arg(text));
    }
    Consume();
    return value;
}

float TQVReader::ReadSingle()
{
    const Token &token = Peek();
    if (token.kind != tkFloat && token.kind != tkInteger)
        Expected(Tr(TQVResString::FormWordFloat));
    long double special = 0.0L;
    float value = 0.0f;
    if (ReadSpecialFloat(token, special)) {
        value = std::isnan(special)
                    ? std::copysign(std::numeric_limits<float>::quiet_NaN(), std::signbit(special) ? -1.0f : 1.0f)
                    : float(special);
    } else {
        const QString text = TokenText(token);
        const std::string digits = text.toStdString();
        errno = 0;
        char *end = nullptr;
        value = strtof_l(digits.c_str(), &end, CLocale());
        if (errno == ERANGE && (std::isinf(value) || value == 0.0f))
            Error(Tr(TQVResString::FormFloatRange).arg(text));
    }
    Consume();
    return value;
}

QString TQVReader::ReadString()
{
    const Token &token = Peek();
    if (token.kind != tkString)
        Expected(Tr(TQVResString::FormWordString));
    QString value = token.string;
    Consume();
    return value;
}

QString TQVReader::ReadIdent()
{
    const Token &token = Peek();
    if (token.kind != tkIdent)
        Expected(Tr(TQVResString::FormWordIdent));
    QString value = TokenText(token);
    Consume();
    return value;
}

bool TQVReader::ReadBoolean()
{
    const TQVValueType type = NextValueType();
    if (type != vaTrue && type != vaFalse)
        Expected(Tr(TQVResString::FormWordBoolean));
    Consume();
    return type == vaTrue;
}

void TQVReader::SkipValue()
{
    switch (NextValueType()) {
    case vaList:
        ReadListBegin();
        while (!EndOfList())
            SkipValue();
        ReadListEnd();
        break;
    case vaNone:
    case vaEndOfList:
        Expected(Tr(TQVResString::FormWordValue));
    case vaFloat:
        ReadFloat(); // checks the range
        break;
    case vaInteger:
        ReadInteger();
        break;
    default:
        Consume();
        break;
    }
}

bool TQVReader::AtEnd()
{
    return Peek().kind == tkEnd;
}

bool TQVReader::NextIsKeyword(const char *word)
{
    const Token &token = Peek();
    return token.kind == tkIdent && TokenText(token) == QLatin1StringView(word);
}

bool TQVReader::SkipKeyword(const char *word)
{
    if (!NextIsKeyword(word))
        return false;
    Consume();
    return true;
}

QString TQVReader::ReadPropertyName()
{
    const QString name = ReadIdent();
    if (Peek().kind != tkEquals)
        Expected(QStringLiteral("'='"));
    Consume();
    return name;
}

bool TQVReader::SkipColon()
{
    if (Peek().kind != tkColon)
        return false;
    Consume();
    return true;
}

// ---------------------------------------------------------------------------------------
// Filers

TQVFiler::~TQVFiler() = default;

void TQVWriterFiler::DefineProperty(const QString &name, const TQVReadProc &, const TQVWriteProc &write,
                                    bool hasData)
{
    if (!hasData || !write)
        return;
    m_writer.WritePropertyName(name);
    write(m_writer);
}

void TQVReaderFiler::DefineProperty(const QString &name, const TQVReadProc &read, const TQVWriteProc &,
                                    bool)
{
    if (m_found || name != m_name)
        return;
    m_found = true;
    if (read)
        read(m_reader);
    else
        m_reader.SkipValue();
}
