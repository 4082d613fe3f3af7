#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>

#include "analysis/qvCatalogue.h"
#include "analysis/qvFilter.h"
#include "framework/qvExceptions.h"
#include "framework/qvFiler.h"
#include "framework/qvForm.h"
#include "framework/qvRegistry.h"
#include "host/qvSignalGenerator.h"
#include "stream/qvMLSSimpleSources.h"

namespace {

using LD = long double;

bool SameBits(LD a, LD b)
{
    return std::memcmp(&a, &b, 10) == 0;
}

LD FromBits(std::uint64_t mantissa, unsigned signAndExponent)
{
    LD value = 0.0L;
    std::memcpy(&value, &mantissa, 8);
    std::memcpy(reinterpret_cast<char *>(&value) + 8, &signAndExponent, 2);
    return value;
}

// Counts live instances, BeginLoading and Loaded calls of the classes the tests register,
// without changing their class names.
struct Counters
{
    static inline int Live = 0;
    static inline int Loaded = 0;
    static void Reset() { Live = Loaded = 0; }
};

template<typename Base>
class Counted : public Base
{
public:
    explicit Counted(QObject *owner = nullptr) : Base(owner) { ++Counters::Live; }
    ~Counted() override { --Counters::Live; }
    void BeginLoading() override
    {
        Base::BeginLoading();
        ++m_begun;
    }
    void Loaded() override
    {
        EXPECT_EQ(m_begun, 1) << "BeginLoading must come first, once";
        Base::Loaded();
        ++Counters::Loaded;
        ++m_loaded;
    }
    int m_begun = 0;
    int m_loaded = 0;
};

template<typename T>
void RegisterCounted(TQVClassRegistry &registry)
{
    registry.RegisterClass(QString::fromLatin1(T::staticMetaObject.className()),
                           [](QObject *owner) -> QObject * { return new Counted<T>(owner); });
}

class FormTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Counters::Reset();
        RegisterCounted<TQVSignalGenerator>(m_registry);
        RegisterCounted<TQVFIRFilter>(m_registry);
        RegisterCounted<TQVSelectorMatrix>(m_registry);
    }

    TQVClassRegistry m_registry;
};

} // namespace

TEST(FilerPrimitives, IntegersAndFloatsRoundTripBitForBit)
{
    const qint64 integers[] = {std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max(), 0, -1, 1};
    const LD longs[] = {
        0.0L, -0.0L, 0.1L, 1.0L / 3.0L, -1.0L / 3.0L, LDBL_MAX, -LDBL_MAX, LDBL_MIN,
        std::numeric_limits<LD>::denorm_min(), LDBL_MIN / 3.0L, std::numeric_limits<LD>::infinity(),
        -std::numeric_limits<LD>::infinity(), std::nanl(""), -std::nanl(""),
        FromBits(0xC000000000012345ull, 0x7FFF), FromBits(0x8000000000000001ull, 0xFFFF), // NaN payloads
        12345678901234567890.0L, 1e4000L, 1e-4000L,
    };
    TQVWriter writer;
    writer.WriteListBegin();
    for (qint64 v : integers)
        writer.WriteInteger(v);
    for (LD v : longs)
        writer.WriteFloat(v);
    std::mt19937_64 gen(7);
    std::vector<LD> random;
    for (int i = 0; i < 3000; ++i) { // canonical encodings across the whole range
        const unsigned exponent = unsigned(gen() % 0x7FFF);
        std::uint64_t mantissa = gen();
        mantissa = exponent ? (mantissa | (1ull << 63)) : (mantissa & ~(1ull << 63));
        random.push_back(FromBits(mantissa, exponent | (gen() & 1 ? 0x8000u : 0u)));
        writer.WriteFloat(random.back());
    }
    writer.WriteDouble(0.1);
    writer.WriteDouble(std::numeric_limits<double>::denorm_min());
    writer.WriteSingle(0.1f);
    writer.WriteSingle(-std::numeric_limits<float>::max());
    writer.WriteListEnd();

    TQVReader reader(writer.Text());
    reader.ReadListBegin();
    for (qint64 v : integers)
        EXPECT_EQ(reader.ReadInteger(), v);
    for (LD v : longs)
        EXPECT_TRUE(SameBits(reader.ReadFloat(), v)) << TQVWriter::FloatText(v).toStdString();
    for (LD v : random)
        ASSERT_TRUE(SameBits(reader.ReadFloat(), v)) << TQVWriter::FloatText(v).toStdString();
    EXPECT_EQ(reader.ReadDouble(), 0.1);
    EXPECT_EQ(reader.ReadDouble(), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(reader.ReadSingle(), 0.1f);
    EXPECT_EQ(reader.ReadSingle(), -std::numeric_limits<float>::max());
    EXPECT_TRUE(reader.EndOfList());
    reader.ReadListEnd();
    EXPECT_TRUE(reader.AtEnd());

    // The long double nearest to 0.1 is identified by "0.1" alone; an integral float
    // keeps a mark that it is a float.
    EXPECT_EQ(TQVWriter::FloatText(0.1L), QStringLiteral("0.1"));
    EXPECT_EQ(TQVWriter::FloatText(200.0L), QStringLiteral("200.0"));
    EXPECT_EQ(TQVWriter::FloatText(-0.0L), QStringLiteral("-0.0"));
    EXPECT_EQ(TQVWriter::FloatText(std::nanl("")), QStringLiteral("+NAN"));
}

TEST(FilerPrimitives, FloatTextIgnoresTheProcessLocale)
{
    const char *names[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"};
    const char *chosen = nullptr;
    for (const char *name : names) {
        if (std::setlocale(LC_NUMERIC, name)) {
            chosen = name;
            break;
        }
    }
    if (!chosen)
        GTEST_SKIP() << "no locale with a decimal comma installed";
    const QString text = TQVWriter::FloatText(1.5L);
    TQVReader reader(QStringLiteral("2.25 7.5E-1"));
    const LD a = reader.ReadFloat();
    const double b = reader.ReadDouble();
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(text, QStringLiteral("1.5"));
    EXPECT_EQ(a, 2.25L);
    EXPECT_EQ(b, 0.75);
}

// Lists, booleans, integers and floats are typed by the form reader in every form read.
TEST(FilerPrimitives, StringsAndValueTypes)
{
    const QString strings[] = {
        QString(), QStringLiteral("plain"), QStringLiteral("say \"hi\" \\ back"), QStringLiteral("a\nb\r\tc"),
        QString(QChar(1)) + QChar(0x7F), QStringLiteral("µΩ€ 𝄞"), QString(QChar(0xD800)) + u'x',
    };
    TQVWriter writer;
    for (const QString &s : strings)
        writer.WriteString(s);
    writer.WriteNil();
    writer.WriteIdent(QStringLiteral("mcoRMS"));
    writer.WriteBoolean(false);

    TQVReader reader(writer.Text());
    for (const QString &s : strings) {
        ASSERT_EQ(reader.NextValueType(), vaString);
        EXPECT_EQ(reader.ReadString(), s);
    }
    for (TQVValueType type : {vaNil, vaIdent, vaFalse}) {
        ASSERT_EQ(reader.NextValueType(), type);
        reader.SkipValue();
    }
    EXPECT_EQ(reader.NextValueType(), vaNone);
    EXPECT_TRUE(reader.AtEnd());
}

TEST(FilerPrimitives, MalformedItemsNameLineAndColumn)
{
    struct Case
    {
        const char *text;
        int op; // 0 integer, 1 float, 2 string, 3 skip value
        const char *message;
    };
    // The items the corpus of malformed forms (FormCorpus) does not hold.
    const Case cases[] = {
        {"99999999999999999999", 0, "Form line 1, column 1: Integer 99999999999999999999 out of range"},
        {"1e99999", 1, "Form line 1, column 1: Floating point value 1e99999 out of range"},
        {"12abc", 1, "Form line 1, column 3: Invalid character 'a'"},
        {"+INFX", 1, "Form line 1, column 1: Invalid character '+'"},
        {"+NAN(0x0000000000000001)", 1,
         "Form line 1, column 1: Floating point value +NAN(0x0000000000000001) out of range"},
        {"\"tab\x01\"", 2, "Form line 1, column 5: Invalid character U+0001"},
        {"( 1 2", 3, "Form line 1, column 6: Value expected but end of input found"},
    };
    for (const Case &c : cases) {
        TQVReader reader(QString::fromUtf8(c.text));
        try {
            switch (c.op) {
            case 0: reader.ReadInteger(); break;
            case 1: reader.ReadFloat(); break;
            case 2: reader.ReadString(); break;
            default: reader.SkipValue(); break;
            }
            ADD_FAILURE() << "no error for " << c.text;
        } catch (const EQVFormError &e) {
            EXPECT_EQ(e.Message(), QString::fromUtf8(c.message)) << c.text;
            EXPECT_STREQ(e.what(), c.message);
        }
    }
}

TEST_F(FormTest, ExcessFloatsAreDroppedAndExternalSourcesResolve)
{
    QString floats;
    for (int i = 1; i <= 600; ++i)
        floats += QString::number(i) + u' ';
    TQVSignalGenerator host;
    host.setObjectName(QStringLiteral("HostSource"));
    TQVFormReader reader(m_registry);
    reader.SetExternalComponents({&host});
    const QList<QObject *> read = reader.Read(QStringLiteral("object F: TQVFIRFilter\n"
                                                             "  CoefficientNumber = 512\n"
                                                             "  MeasureSource = HostSource\n"
                                                             "  Floats = ( %1)\n"
                                                             "  Tag = 9\n"
                                                             "end\n")
                                                  .arg(floats));
    ASSERT_EQ(read.size(), 1);
    auto *fir = static_cast<TQVFIRFilter *>(read[0]);
    QList<float> expected(512);
    std::iota(expected.begin(), expected.end(), 1.0f);
    EXPECT_EQ(fir->Floats(), expected);
    EXPECT_EQ(fir->Tag(), 9); // reading went on after the dropped values
    EXPECT_EQ(fir->GetQVMeasureSource(), &host);
    delete fir;
}

TEST_F(FormTest, TruncatedFormFailsAtEveryByteAndLeavesNothing)
{
    QObject form;
    auto *gen = new Counted<TQVSignalGenerator>(&form);
    gen->setObjectName(QStringLiteral("G"));
    gen->SetFrequency(0.1);
    auto *fir = new Counted<TQVFIRFilter>(gen);
    fir->setObjectName(QStringLiteral("F"));
    fir->SetCoefficientList({QStringLiteral("0.5"), QStringLiteral("-0.125")});
    fir->SetQVMeasureSource(gen);
    auto *matrix = new Counted<TQVSelectorMatrix>(gen);
    matrix->setObjectName(QStringLiteral("M"));
    matrix->SetSelector({QStringLiteral("1 → 0")});
    const QByteArray text = TQVFormWriter(m_registry).Write(gen).toUtf8();
    const qsizetype complete = text.lastIndexOf("end") + 3;
    ASSERT_GT(complete, 3);
    Counters::Reset();

    TQVFormReader reader(m_registry);
    QObject owner;
    EXPECT_TRUE(reader.ReadUtf8(QByteArray(), &owner).isEmpty());
    for (qsizetype n = 1; n < complete; ++n) {
        try {
            reader.ReadUtf8(text.left(n), &owner);
            ADD_FAILURE() << "prefix of " << n << " bytes was accepted";
        } catch (const EQVFormError &e) {
            EXPECT_GE(e.Line(), 1);
        }
        ASSERT_TRUE(owner.children().isEmpty()) << n;
        ASSERT_EQ(Counters::Live, 0) << n;
    }
    EXPECT_EQ(Counters::Loaded, 0);
    const QList<QObject *> whole = reader.ReadUtf8(text.left(complete), &owner);
    ASSERT_EQ(whole.size(), 1);
    EXPECT_EQ(Counters::Live, 3);
    EXPECT_EQ(Counters::Loaded, 3);
}

TEST(ClassRegistry, FactoriesAndPalettePages)
{
    // Creating and the core registration: PaletteRegistration (designer tests).
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    EXPECT_EQ(registry.Create(QStringLiteral("TQVNoSuch")), nullptr);

    registry.RegisterComponents(QStringLiteral("Velmora"),
                                {QVComponentClassOf<TQVAnalyzer>(), QVComponentClassOf<TQVFIRFilter>()});
    registry.RegisterComponents(QStringLiteral("Extra"), {QVComponentClassOf<TQVSignalGenerator>()});
    registry.RegisterComponents(QStringLiteral("Velmora"), {QVComponentClassOf<TQVSignalGenerator>()});
    registry.RegisterComponents(QStringLiteral("Velmora"), {QVComponentClassOf<TQVAnalyzer>()}); // keeps its place
    EXPECT_EQ(registry.Pages(), QStringList({QStringLiteral("Velmora"), QStringLiteral("Extra")}));
    EXPECT_EQ(registry.PageClasses(QStringLiteral("Velmora")),
              QStringList({QStringLiteral("TQVAnalyzer"), QStringLiteral("TQVFIRFilter"),
                           QStringLiteral("TQVSignalGenerator")}));
    EXPECT_TRUE(registry.PageClasses(QStringLiteral("Extra")).isEmpty());
    registry.UnregisterClass(QStringLiteral("TQVAnalyzer"));
    EXPECT_FALSE(registry.IsRegistered(QStringLiteral("TQVAnalyzer")));
    EXPECT_EQ(registry.PageClasses(QStringLiteral("Velmora")).size(), 2);
}

TEST(FormWriting, RefusesWhatCouldNotBeReadBack)
{
    TQVClassRegistry registry;
    QVRegisterCoreClasses(registry);
    TQVSignalGenerator unregistered;
    TQVAnalyzer analyzer;
    analyzer.setObjectName(QStringLiteral("A"));
    analyzer.SetQVMeasureSource(&unregistered);
    const struct
    {
        QObject *root;
        const char *message;
    } cases[] = {
        {&unregistered, "Class TQVSignalGenerator is not registered"},
        {&analyzer, "Property MeasureSource of A refers to a component without a name"},
    };
    for (const auto &c : cases) {
        try {
            TQVFormWriter(registry).Write(c.root);
            ADD_FAILURE() << c.message;
        } catch (const EQVFormError &e) {
            EXPECT_EQ(e.Message(), QString::fromLatin1(c.message));
            EXPECT_EQ(e.Line(), 0);
        }
    }
    analyzer.SetQVMeasureSource(nullptr);
    // Names the form could not read back: not identifiers, or the form's own words.
    for (const char *name : {"not a name", "end", "nil", "True", "OBJECT", "false"}) {
        analyzer.setObjectName(QString::fromLatin1(name));
        EXPECT_THROW(TQVFormWriter(registry).Write(&analyzer), EQVFormError) << name;
    }
    analyzer.setObjectName(QStringLiteral("ending"));
    EXPECT_NO_THROW(TQVFormWriter(registry).Write(&analyzer));
}
