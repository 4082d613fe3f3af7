#pragma once

#include <functional>

#include <QtCore/QString>

#include "qvGlobal.h"

/// \brief Kind of the next value item in a form text.
enum TQVValueType : quint8 {
    vaNone,      // no value item: end of input or a structural token
    vaList,      // "("
    vaEndOfList, // ")"
    vaInteger,
    vaFloat,
    vaString,
    vaIdent,
    vaFalse,
    vaTrue,
    vaNil,
};

/// Deepest nesting of lists, and of objects, that a form may hold.
inline constexpr int QVFormMaxDepth = 32;

/// \brief Writes the value items of a form text: list markers, integers, floats, strings,
/// identifiers and booleans, separated by blanks, plus the object and property framing
/// the form writer needs.
///
/// Floats are written as the shortest decimal text that reads back to the same value of
/// their precision (`long double`, `double` or `float`), with '.' as the decimal point
/// whatever the locale; infinities as `+INF`/`-INF`, NaNs as `+NAN`/`-NAN`, with the
/// payload in hex when it is not the default one (`+NAN(0x...)`, `long double` only).
class QV_CORE_EXPORT TQVWriter
{
public:
    TQVWriter();

    void WriteListBegin();
    void WriteListEnd();
    void WriteInteger(qint64 value);
    /// An 80-bit extended float; reads back bit for bit with `ReadFloat`.
    void WriteFloat(long double value);
    /// A double; reads back bit for bit with `ReadDouble`.
    void WriteDouble(double value);
    /// A 32-bit float; reads back bit for bit with `ReadSingle`.
    void WriteSingle(float value);
    /// Quoted; '"', '\\' and control characters are escaped, the rest is kept as it is.
    void WriteString(const QString &value);
    /// Raises `EQVFormError` when `value` is not an identifier.
    void WriteIdent(const QString &value);
    void WriteBoolean(bool value);
    /// The null reference `nil`.
    void WriteNil();

    /// Starts a line "object Name: Class" (or "object Class" without a name) and indents
    /// what follows.
    void BeginObject(const QString &name, const QString &className);
    void EndObject();
    /// Starts a line "Name =" at the current indentation.
    void WritePropertyName(const QString &name);

    /// The text written so far, ending with a line break once an object is complete.
    QString Text() const { return m_text; }

    static QString FloatText(long double value);
    static QString DoubleText(double value);
    static QString SingleText(float value);
    static QString QuotedString(const QString &value);
    /// Letter or '_' first, then letters, digits or '_' (ASCII only).
    static bool IsIdent(const QString &value);
    /// An identifier that is none of the form's own words (object, end, True, False, nil, in
    /// any case), so that a component of that name reads back.
    static bool IsComponentName(const QString &value);

private:
    void Token(const QString &token);
    void NewLine(int indent);

    QString m_text;
    qsizetype m_lineStart = 0;
    int m_indent = 0;
    int m_listDepth = 0;
    bool m_lineEmpty = true;
};

/// \brief Reads the value items of a form text written by `TQVWriter`.
///
/// Every error raises `EQVFormError` naming the line and column (1-based, in UTF-16 code
/// units) of the offending token. A float item is read with the precision of its target,
/// so that its shortest text converts straight to that type; `ReadFloat`, `ReadDouble`
/// and `ReadSingle` also take an integer item.
class QV_CORE_EXPORT TQVReader
{
public:
    explicit TQVReader(const QString &text);

    /// The kind of the next item, without consuming it.
    TQVValueType NextValueType();
    void ReadListBegin();
    void ReadListEnd();
    /// True when the next item closes the current list (does not consume it).
    bool EndOfList();
    qint64 ReadInteger();
    /// An integer within `min`..`max`; outside, raises the range error at the item.
    qint64 ReadInteger(qint64 min, qint64 max);
    /// A colour: 32 bits, also written as a signed number (system colours below 0).
    quint32 ReadColor();
    long double ReadFloat();
    double ReadDouble();
    float ReadSingle();
    QString ReadString();
    QString ReadIdent();
    bool ReadBoolean();
    /// Consumes one value item, a list with all it holds included.
    void SkipValue();

    /// True at the end of the input (after blanks).
    bool AtEnd();
    /// Consumes the identifier `word` if it comes next.
    bool SkipKeyword(const char *word);
    /// True if the identifier `word` comes next.
    bool NextIsKeyword(const char *word);
    /// Consumes `Name =` and returns the name.
    QString ReadPropertyName();
    /// Consumes ':' if it comes next.
    bool SkipColon();

    /// Line and column of the next token.
    int TokenLine();
    int TokenColumn();
    /// Raises `EQVFormError` with `detail` at the next token.
    [[noreturn]] void Error(const QString &detail);
    /// Raises `EQVFormError` "<what> expected but <next token> found" at the next token.
    [[noreturn]] void Expected(const QString &what);
    /// Raises `EQVFormError` with `detail` at the given position.
    [[noreturn]] static void ErrorAt(int line, int column, const QString &detail);

private:
    enum TokenKind : quint8 {
        tkNone,
        tkEnd,
        tkIdent,
        tkInteger,
        tkFloat,
        tkString,
        tkListBegin,
        tkListEnd,
        tkEquals,
        tkColon,
    };
    struct Token
    {
        TokenKind kind = tkNone;
        qsizetype begin = 0;
        qsizetype end = 0;
        int line = 1;
        int column = 1;
        QString string; // decoded text of a string token
    };

    const Token &Peek();
    void Consume() { m_token.kind = tkNone; }
    void LexString(Token &token);
    QString TokenText(const Token &token) const { return m_text.mid(token.begin, token.end - token.begin); }
    QString Describe(const Token &token) const;
    bool ReadSpecialFloat(const Token &token, long double &value) const;

    QString m_text;
    qsizetype m_pos = 0;
    int m_line = 1;
    qsizetype m_lineStart = 0;
    int m_listDepth = 0;
    Token m_token;
};

/// \brief What a component hands its custom stream properties to in `DefineProperties`.
///
/// Each call names one property with a reader and a writer procedure. While a form is
/// written, properties whose `hasData` is true are written as "name = value"; while a form
/// is read, the reader of the property whose name the form holds is called.
class QV_CORE_EXPORT TQVFiler
{
public:
    using TQVReadProc = std::function<void(TQVReader &)>;
    using TQVWriteProc = std::function<void(TQVWriter &)>;

    virtual ~TQVFiler();
    virtual void DefineProperty(const QString &name, const TQVReadProc &read, const TQVWriteProc &write,
                                bool hasData) = 0;
};

/// \brief The filer of the form writer: writes every defined property that has data.
class QV_CORE_EXPORT TQVWriterFiler : public TQVFiler
{
public:
    explicit TQVWriterFiler(TQVWriter &writer) : m_writer(writer) {}
    void DefineProperty(const QString &name, const TQVReadProc &read, const TQVWriteProc &write,
                        bool hasData) override;

private:
    TQVWriter &m_writer;
};

/// \brief The filer of the form reader: reads the one property `name` if it is defined.
class QV_CORE_EXPORT TQVReaderFiler : public TQVFiler
{
public:
    TQVReaderFiler(TQVReader &reader, const QString &name) : m_reader(reader), m_name(name) {}
    void DefineProperty(const QString &name, const TQVReadProc &read, const TQVWriteProc &write,
                        bool hasData) override;
    /// Whether a property of that name was defined (and its value consumed).
    bool Found() const { return m_found; }

private:
    TQVReader &m_reader;
    QString m_name;
    bool m_found = false;
};
