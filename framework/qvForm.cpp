#include "qvForm.h"

#include <cstring>
#include <limits>
#include <map>
#include <memory>

#include <QtCore/QMetaEnum>
#include <QtCore/QMetaProperty>
#include <QtCore/QPointer>
#include <QtCore/QRect>
#include <QtCore/QStringList>

#include "qvComponent.h"
#include "qvExceptions.h"
#include "qvFiler.h"
#include "qvResStrings.h"

namespace {

enum class Kind { Unsupported, Enum, Flags, Bool, Signed, Unsigned, Single, Double, String, StringList, Reference };

// Pseudo-properties of a widget's geometry, kept apart from Qt's own properties.
const char *const GeometryNames[] = {"Left", "Top", "Width", "Height"};

QString Tr(TQVResString id)
{
    return QVLoadResString(id);
}

Kind KindOf(const QMetaProperty &property)
{
    if (property.isFlagType())
        return Kind::Flags;
    if (property.isEnumType())
        return Kind::Enum;
    const QMetaType type = property.metaType();
    if (type.flags() & QMetaType::PointerToQObject)
        return Kind::Reference;
    switch (type.id()) {
    case QMetaType::Bool: return Kind::Bool;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::SChar:
    case QMetaType::Char:
    case QMetaType::Long:
    case QMetaType::LongLong: return Kind::Signed;
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::ULong:
    case QMetaType::ULongLong: return Kind::Unsigned;
    case QMetaType::Float: return Kind::Single;
    case QMetaType::Double: return Kind::Double;
    case QMetaType::QString: return Kind::String;
    case QMetaType::QStringList: return Kind::StringList;
    default: return Kind::Unsupported;
    }
}

// Properties declared by Qt's own classes (QObject, QWidget, ...) are not stored: the
// first stored property is the first one a class of the library or the host declares.
int FirstOwnProperty(const QMetaObject *meta)
{
    for (const QMetaObject *m = meta; m; m = m->superClass()) {
        const char *name = m->className();
        if (name[0] == 'Q' && name[1] >= 'A' && name[1] <= 'Z')
            return m->propertyCount();
    }
    return 0;
}

// Whether property `name` is listed, comma-separated, in class info `key` of the class or
// of one of its bases.
bool ListedInClassInfo(const QMetaObject *meta, const char *key, const char *name)
{
    for (int i = 0; i < meta->classInfoCount(); ++i) {
        const QMetaClassInfo info = meta->classInfo(i);
        if (qstrcmp(info.name(), key) != 0)
            continue;
        for (const QByteArray &listed : QByteArray(info.value()).split(','))
            if (listed.trimmed() == name)
                return true;
    }
    return false;
}

// Whether a class keeps property `name` in its custom stream data instead: such properties
// are listed in its class info "FormCustomData" (published for Qt Designer, which cannot
// hold custom data, but stored in forms only once).
bool KeptInCustomData(const QMetaObject *meta, const char *name)
{
    return ListedInClassInfo(meta, "FormCustomData", name);
}

// Enumerations listed in class info "FormNumbers" are written as their number (forms held
// them as integers before they were typed); the reader takes a number or a key anyway.
bool StoredAsNumber(const QMetaObject *meta, const char *name)
{
    return ListedInClassInfo(meta, "FormNumbers", name);
}

// A property stored in forms: the class's own (not Qt's), stored, writable, of a type forms
// hold, not kept in custom data, and not hidden by a property of the same name in a
// derived class (that one is stored instead).
bool IsStoredProperty(const QMetaObject *meta, int index)
{
    if (index < FirstOwnProperty(meta) || index >= meta->propertyCount())
        return false;
    const QMetaProperty property = meta->property(index);
    return property.isStored() && property.isWritable() && KindOf(property) != Kind::Unsupported
        && meta->indexOfProperty(property.name()) == index && !KeptInCustomData(meta, property.name());
}

bool HasGeometry(const QObject *object)
{
    const QMetaObject *meta = object->metaObject();
    const int index = meta->indexOfProperty("geometry");
    return index >= 0 && meta->property(index).metaType().id() == QMetaType::QRect
           && meta->property(index).isWritable();
}

QObject *ReferenceOf(const QVariant &value)
{
    return value.isValid() && value.constData() ? *static_cast<QObject *const *>(value.constData()) : nullptr;
}

bool SameValue(Kind kind, const QVariant &a, const QVariant &b)
{
    switch (kind) {
    case Kind::Single: {
        const float x = a.toFloat();
        const float y = b.toFloat();
        return std::memcmp(&x, &y, sizeof x) == 0;
    }
    case Kind::Double: {
        const double x = a.toDouble();
        const double y = b.toDouble();
        return std::memcmp(&x, &y, sizeof x) == 0;
    }
    case Kind::Reference: return ReferenceOf(a) == ReferenceOf(b);
    default: return a == b;
    }
}

QString Describe(const QObject *object)
{
    return object->objectName().isEmpty() ? QString::fromLatin1(object->metaObject()->className())
                                          : object->objectName();
}

// ---------------------------------------------------------------------------------------
// Writing

class FormWriting
{
public:
    explicit FormWriting(const TQVClassRegistry &registry) : m_registry(registry) {}

    void WriteObject(QObject *object, int depth);
    QString Text() const { return m_writer.Text(); }

private:
    QObject *DefaultOf(const QString &className);
    void WriteValue(QObject *object, const QMetaProperty &property, Kind kind, const QVariant &value);

    const TQVClassRegistry &m_registry;
    TQVWriter m_writer;
    std::map<QString, std::unique_ptr<QObject>> m_defaults;
};

QObject *FormWriting::DefaultOf(const QString &className)
{
    auto it = m_defaults.find(className);
    if (it == m_defaults.end())
        it = m_defaults.emplace(className, std::unique_ptr<QObject>(m_registry.Create(className))).first;
    return it->second.get();
}

void FormWriting::WriteValue(QObject *object, const QMetaProperty &property, Kind kind, const QVariant &value)
{
    switch (kind) {
    case Kind::Enum: {
        const qint64 n = value.toLongLong();
        const char *key = StoredAsNumber(object->metaObject(), property.name())
                              ? nullptr
                              : property.enumerator().valueToKey(int(n));
        if (key)
            m_writer.WriteIdent(QString::fromLatin1(key));
        else
            m_writer.WriteInteger(n);
        break;
    }
    case Kind::Flags: {
        const QByteArray keys = property.enumerator().valueToKeys(value.toInt());
        m_writer.WriteListBegin();
        for (const QByteArray &key : keys.split('|')) {
            if (!key.isEmpty())
                m_writer.WriteIdent(QString::fromLatin1(key));
        }
        m_writer.WriteListEnd();
        break;
    }
    case Kind::Bool: m_writer.WriteBoolean(value.toBool()); break;
    case Kind::Signed: m_writer.WriteInteger(value.toLongLong()); break;
    case Kind::Unsigned: {
        const qulonglong n = value.toULongLong();
        if (n > qulonglong(std::numeric_limits<qint64>::max()))
            throw EQVFormError(Tr(TQVResString::FormPropertyFailed)
                                   .arg(QString::fromLatin1(property.name()), Describe(object),
                                        Tr(TQVResString::FormIntegerRange).arg(n)));
        m_writer.WriteInteger(qint64(n));
        break;
    }
    case Kind::Single: m_writer.WriteSingle(value.toFloat()); break;
    case Kind::Double: m_writer.WriteDouble(value.toDouble()); break;
    case Kind::String: m_writer.WriteString(value.toString()); break;
    case Kind::StringList:
        m_writer.WriteListBegin();
        for (const QString &line : value.toStringList())
            m_writer.WriteString(line);
        m_writer.WriteListEnd();
        break;
    case Kind::Reference: {
        QObject *target = ReferenceOf(value);
        if (!target) {
            m_writer.WriteNil();
        } else if (target->objectName().isEmpty()) {
            throw EQVFormError(Tr(TQVResString::FormUnnamedReference)
                                   .arg(QString::fromLatin1(property.name()), Describe(object)));
        } else {
            m_writer.WriteIdent(target->objectName());
        }
        break;
    }
    case Kind::Unsupported: break;
    }
}

void FormWriting::WriteObject(QObject *object, int depth)
{
    if (depth >= QVFormMaxDepth)
        throw EQVFormError(Tr(TQVResString::FormTooDeep).arg(QVFormMaxDepth));
    const QMetaObject *meta = object->metaObject();
    const QString className = QString::fromLatin1(meta->className());
    if (!m_registry.IsRegistered(className))
        throw EQVFormError(Tr(TQVResString::FormClassNotRegistered).arg(className));
    m_writer.BeginObject(object->objectName(), className);

    QObject *defaults = DefaultOf(className);
    // Widgets keep their place on the form; the default geometry depends on the owner,
    // so it is always written, and first: some properties are limited by the size.
    if (HasGeometry(object)) {
        const QRect r = object->property("geometry").toRect();
        const int values[] = {r.left(), r.top(), r.width(), r.height()};
        for (int k = 0; k < 4; ++k) {
            m_writer.WritePropertyName(QString::fromLatin1(GeometryNames[k]));
            m_writer.WriteInteger(values[k]);
        }
    }

    for (int i = FirstOwnProperty(meta); i < meta->propertyCount(); ++i) {
        if (!IsStoredProperty(meta, i))
            continue;
        const QMetaProperty property = meta->property(i);
        const Kind kind = KindOf(property);
        const QVariant value = property.read(object);
        if (defaults && SameValue(kind, value, property.read(defaults)))
            continue;
        m_writer.WritePropertyName(QString::fromLatin1(property.name()));
        WriteValue(object, property, kind, value);
    }

    if (TQVComponentState *state = TQVComponentState::Of(object)) {
        TQVWriterFiler filer(m_writer);
        state->DefineProperties(filer);
    }

    for (QObject *child : object->children()) {
        const TQVComponentState *state = TQVComponentState::Of(child);
        if (m_registry.IsRegistered(QString::fromLatin1(child->metaObject()->className()))
            && !(state && state->IsSubComponent()))
            WriteObject(child, depth + 1);
    }
    m_writer.EndObject();
}

// ---------------------------------------------------------------------------------------
// Reading

struct PendingReference
{
    QPointer<QObject> Object;
    QMetaProperty Property;
    QString Target; // empty for nil
    int Line;
    int Column;
};

struct CreatedObject
{
    QPointer<QObject> Object;
    int Line;
    int Column;
};

class FormReading
{
public:
    FormReading(const TQVClassRegistry &registry, const QList<QObject *> &external, bool loose, const QString &text)
        : m_registry(registry)
        , m_external(external)
        , m_loose(loose)
        , m_reader(text)
    {
    }
    // Unless the form was read completely, everything created is deleted again.
    ~FormReading();

    QList<QObject *> Run(QObject *owner);

private:
    void ReadObject(QObject *owner, int depth);
    void ReadProperty(QObject *object, const QString &name, int line, int column);
    void ReadPublished(QObject *object, const QMetaProperty &property, const QString &name);
    void ReadGeometry(QObject *object, int which);
    void Apply(QObject *object, const QMetaProperty &property, const QVariant &value, int line, int column);
    void ResolveReferences();
    void Resolve(const PendingReference &ref);

    const TQVClassRegistry &m_registry;
    const QList<QObject *> &m_external;
    bool m_loose;
    TQVReader m_reader;
    QList<QPointer<QObject>> m_roots;
    QList<CreatedObject> m_created;
    std::map<QString, QPointer<QObject>> m_names;
    QList<PendingReference> m_references;
    bool m_done = false;
};

FormReading::~FormReading()
{
    if (m_done)
        return;
    for (qsizetype i = m_roots.size() - 1; i >= 0; --i)
        delete m_roots.at(i).data();
}

QList<QObject *> FormReading::Run(QObject *owner)
{
    while (!m_reader.AtEnd()) {
        if (!m_reader.NextIsKeyword("object"))
            m_reader.Expected(QStringLiteral("'object'"));
        ReadObject(owner, 0);
    }
    ResolveReferences();
    for (const CreatedObject &created : m_created) {
        if (!created.Object)
            continue;
        TQVComponentState *state = TQVComponentState::Of(created.Object);
        if (!state)
            continue;
        try {
            state->Loaded();
        } catch (const EQVFormError &) {
            throw;
        } catch (const EQVException &e) {
            TQVReader::ErrorAt(created.Line, created.Column,
                               Tr(TQVResString::FormLoadedFailed).arg(Describe(created.Object), e.Message()));
        }
    }
    QList<QObject *> roots;
    for (const QPointer<QObject> &root : m_roots) {
        if (root)
            roots.append(root.data());
    }
    m_done = true;
    return roots;
}

void FormReading::ReadObject(QObject *owner, int depth)
{
    const int line = m_reader.TokenLine();
    const int column = m_reader.TokenColumn();
    if (depth >= QVFormMaxDepth)
        m_reader.Error(Tr(TQVResString::FormTooDeep).arg(QVFormMaxDepth));
    m_reader.SkipKeyword("object");

    int nameLine = m_reader.TokenLine();
    int nameColumn = m_reader.TokenColumn();
    QString name;
    QString className = m_reader.ReadIdent();
    int classLine = nameLine;
    int classColumn = nameColumn;
    if (m_reader.SkipColon()) {
        name = className;
        classLine = m_reader.TokenLine();
        classColumn = m_reader.TokenColumn();
        className = m_reader.ReadIdent();
    }
    if (!m_registry.IsRegistered(className))
        TQVReader::ErrorAt(classLine, classColumn, Tr(TQVResString::FormUnknownClass).arg(className));
    if (!name.isEmpty() && m_names.count(name))
        TQVReader::ErrorAt(nameLine, nameColumn, Tr(TQVResString::FormDuplicateName).arg(name));

    QObject *object = m_registry.Create(className, owner);
    if (!object) {
        TQVReader::ErrorAt(classLine, classColumn,
                           Tr(TQVResString::FormWrongOwner)
                               .arg(className, owner ? Describe(owner) : QStringLiteral("nil")));
    }
    if (depth == 0)
        m_roots.append(object);
    m_created.append(CreatedObject{object, line, column});
    if (!name.isEmpty()) {
        object->setObjectName(name);
        m_names[name] = object;
    }
    if (TQVComponentState *state = TQVComponentState::Of(object))
        state->BeginLoading();

    for (;;) {
        if (m_reader.SkipKeyword("end"))
            break;
        if (m_reader.NextIsKeyword("object")) {
            ReadObject(object, depth + 1);
            continue;
        }
        if (m_reader.NextValueType() != vaIdent)
            m_reader.Expected(Tr(TQVResString::FormWordObject));
        const int propertyLine = m_reader.TokenLine();
        const int propertyColumn = m_reader.TokenColumn();
        const QString property = m_reader.ReadPropertyName();
        ReadProperty(object, property, propertyLine, propertyColumn);
    }
}

void FormReading::ReadProperty(QObject *object, const QString &name, int line, int column)
{
    const QMetaObject *meta = object->metaObject();
    const QByteArray latin = name.toLatin1();
    const int index = meta->indexOfProperty(latin.constData());
    if (IsStoredProperty(meta, index)) {
        ReadPublished(object, meta->property(index), name);
        return;
    }
    if (HasGeometry(object)) {
        for (int k = 0; k < 4; ++k) {
            if (name == QLatin1StringView(GeometryNames[k])) {
                ReadGeometry(object, k);
                return;
            }
        }
    }
    if (TQVComponentState *state = TQVComponentState::Of(object)) {
        TQVReaderFiler filer(m_reader, name);
        try {
            state->DefineProperties(filer);
        } catch (const EQVFormError &) {
            throw;
        } catch (const EQVException &e) {
            TQVReader::ErrorAt(line, column,
                               Tr(TQVResString::FormPropertyFailed).arg(name, Describe(object), e.Message()));
        }
        if (filer.Found())
            return;
    }
    TQVReader::ErrorAt(line, column,
                       Tr(TQVResString::FormUnknownProperty).arg(name, QString::fromLatin1(meta->className())));
}

void FormReading::ReadGeometry(QObject *object, int which)
{
    const qint64 value = which < 2 ? m_reader.ReadInteger(std::numeric_limits<int>::min() / 2,
                                                        std::numeric_limits<int>::max() / 2)
                                   : m_reader.ReadInteger(0, std::numeric_limits<int>::max() / 2);
    QRect r = object->property("geometry").toRect();
    switch (which) {
    case 0: r.moveLeft(int(value)); break;
    case 1: r.moveTop(int(value)); break;
    case 2: r.setWidth(int(value)); break;
    default: r.setHeight(int(value)); break;
    }
    object->setProperty("geometry", r);
}

void FormReading::ReadPublished(QObject *object, const QMetaProperty &property, const QString &name)
{
    const int line = m_reader.TokenLine();
    const int column = m_reader.TokenColumn();
    const Kind kind = KindOf(property);
    QVariant value;
    switch (kind) {
    case Kind::Reference: {
        PendingReference ref{object, property, QString(), line, column};
        if (m_reader.NextValueType() == vaNil)
            m_reader.ReadIdent();
        else
            ref.Target = m_reader.ReadIdent();
        // A component read before is connected at once, in the order of the text (later
        // properties may depend on the connection, e.g. a selector's harmonized request);
        // forward references wait for the end of the form.
        if (ref.Target.isEmpty() || m_names.find(ref.Target) != m_names.end())
            Resolve(ref);
        else
            m_references.append(ref);
        return;
    }
    case Kind::Enum: {
        const QMetaEnum enumerator = property.enumerator();
        qint64 n = 0;
        if (m_reader.NextValueType() == vaInteger) {
            n = m_reader.ReadInteger(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
        } else {
            const QString what = Tr(TQVResString::FormWordKeyOf).arg(QString::fromLatin1(enumerator.name()));
            if (m_reader.NextValueType() != vaIdent)
                m_reader.Expected(what);
            const QByteArray key = m_reader.ReadIdent().toLatin1();
            bool ok = false;
            n = enumerator.keyToValue(key.constData(), &ok);
            if (!ok)
                TQVReader::ErrorAt(line, column,
                                   Tr(TQVResString::FormExpected).arg(what, u'\'' + QString::fromLatin1(key) + u'\''));
        }
        value = QVariant(int(n));
        // An enumeration held in fewer bits than an int would take the number cut short.
        if (!value.convert(property.metaType()) || value.toLongLong() != n)
            TQVReader::ErrorAt(line, column,
                               Tr(TQVResString::FormPropertyFailed)
                                   .arg(name, Describe(object), Tr(TQVResString::FormInvalidValue)));
        break;
    }
    case Kind::Flags: {
        const QMetaEnum enumerator = property.enumerator();
        const QString what = Tr(TQVResString::FormWordKeyOf).arg(QString::fromLatin1(enumerator.name()));
        int n = 0;
        m_reader.ReadListBegin();
        while (!m_reader.EndOfList()) {
            const int keyLine = m_reader.TokenLine();
            const int keyColumn = m_reader.TokenColumn();
            if (m_reader.NextValueType() != vaIdent)
                m_reader.Expected(what);
            const QByteArray key = m_reader.ReadIdent().toLatin1();
            bool ok = false;
            const int bit = enumerator.keyToValue(key.constData(), &ok);
            if (!ok)
                TQVReader::ErrorAt(keyLine, keyColumn,
                                   Tr(TQVResString::FormExpected).arg(what, u'\'' + QString::fromLatin1(key) + u'\''));
            n |= bit;
        }
        m_reader.ReadListEnd();
        value = QVariant(n);
        if (!value.convert(property.metaType()))
            TQVReader::ErrorAt(line, column,
                               Tr(TQVResString::FormPropertyFailed)
                                   .arg(name, Describe(object), Tr(TQVResString::FormInvalidValue)));
        break;
    }
    case Kind::Bool: value = m_reader.ReadBoolean(); break;
    case Kind::Signed: {
        const int bits = property.metaType().sizeOf() * 8;
        const qint64 max = bits >= 64 ? std::numeric_limits<qint64>::max() : (qint64(1) << (bits - 1)) - 1;
        value = QVariant(m_reader.ReadInteger(-max - 1, max));
        value.convert(property.metaType());
        break;
    }
    case Kind::Unsigned: {
        const int bits = property.metaType().sizeOf() * 8;
        const qint64 max = bits >= 64 ? std::numeric_limits<qint64>::max() : qint64((quint64(1) << bits) - 1);
        value = QVariant(m_reader.ReadInteger(0, max));
        value.convert(property.metaType());
        break;
    }
    case Kind::Single: value = QVariant(m_reader.ReadSingle()); break;
    case Kind::Double: value = QVariant(m_reader.ReadDouble()); break;
    case Kind::String: value = QVariant(m_reader.ReadString()); break;
    case Kind::StringList: {
        QStringList lines;
        m_reader.ReadListBegin();
        while (!m_reader.EndOfList())
            lines.append(m_reader.ReadString());
        m_reader.ReadListEnd();
        value = QVariant(lines);
        break;
    }
    case Kind::Unsupported: return;
    }
    Apply(object, property, value, line, column);
}

void FormReading::Apply(QObject *object, const QMetaProperty &property, const QVariant &value, int line, int column)
{
    const QString name = QString::fromLatin1(property.name());
    bool written = false;
    try {
        written = property.write(object, value);
    } catch (const EQVFormError &) {
        throw;
    } catch (const EQVException &e) {
        TQVReader::ErrorAt(line, column, Tr(TQVResString::FormPropertyFailed).arg(name, Describe(object), e.Message()));
    }
    if (!written)
        TQVReader::ErrorAt(line, column,
                           Tr(TQVResString::FormPropertyFailed)
                               .arg(name, Describe(object), Tr(TQVResString::FormInvalidValue)));
}

void FormReading::ResolveReferences()
{
    for (const PendingReference &ref : m_references)
        Resolve(ref);
}

void FormReading::Resolve(const PendingReference &ref)
{
    if (!ref.Object)
        return;
    QObject *target = nullptr;
    const QString name = QString::fromLatin1(ref.Property.name());
    if (!ref.Target.isEmpty()) {
        const auto it = m_names.find(ref.Target);
        if (it != m_names.end()) {
            target = it->second.data();
        } else {
            for (QObject *external : m_external) {
                if (external && external->objectName() == ref.Target) {
                    target = external;
                    break;
                }
            }
        }
        const QMetaObject *wanted = ref.Property.metaType().metaObject();
        const bool fits = target && (!wanted || target->metaObject()->inherits(wanted));
        if (!fits && m_loose)
            return;
        if (!target)
            TQVReader::ErrorAt(ref.Line, ref.Column,
                               Tr(TQVResString::FormUnresolvedReference).arg(name, Describe(ref.Object), ref.Target));
        if (!fits) {
            const QString expected = Tr(TQVResString::FormExpected)
                                         .arg(Tr(TQVResString::FormWordComponentOf)
                                                  .arg(QString::fromLatin1(wanted->className())),
                                              u'\'' + ref.Target + u'\'');
            TQVReader::ErrorAt(ref.Line, ref.Column,
                               Tr(TQVResString::FormPropertyFailed).arg(name, Describe(ref.Object), expected));
        }
    }
    // A QObject-derived class has its QObject part at offset 0, so the pointer is
    // stored as it is.
    try {
        Apply(ref.Object, ref.Property, QVariant(ref.Property.metaType(), &target), ref.Line, ref.Column);
    } catch (const EQVFormError &) {
        if (!m_loose)
            throw;
    }
}

// Finds the first byte that is not valid UTF-8 and raises the error at its line and column.
void CheckUtf8(const QByteArray &data)
{
    int line = 1;
    int column = 1;
    const qsizetype n = data.size();
    const auto *bytes = reinterpret_cast<const unsigned char *>(data.constData());
    for (qsizetype i = 0; i < n;) {
        const unsigned char b = bytes[i];
        if (b < 0x80) {
            if (b == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
            ++i;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (b >= 0xC2 && b <= 0xDF) {
            length = 2;
        } else if (b >= 0xE0 && b <= 0xEF) {
            length = 3;
            if (b == 0xE0)
                low = 0xA0;
            else if (b == 0xED)
                high = 0x9F;
        } else if (b >= 0xF0 && b <= 0xF4) {
            length = 4;
            if (b == 0xF0)
                low = 0x90;
            else if (b == 0xF4)
                high = 0x8F;
        }
        bool valid = length > 0 && i + length <= n;
        for (int k = 1; valid && k < length; ++k) {
            const unsigned char c = bytes[i + k];
            valid = k == 1 ? (c >= low && c <= high) : (c >= 0x80 && c <= 0xBF);
        }
        if (!valid)
            TQVReader::ErrorAt(line, column, Tr(TQVResString::FormInvalidUtf8));
        column += length == 4 ? 2 : 1;
        i += length;
    }
}

} // namespace

TQVFormWriter::TQVFormWriter(const TQVClassRegistry &registry)
    : m_registry(registry)
{
}

QString TQVFormWriter::Write(QObject *root) const
{
    return Write(QList<QObject *>{root});
}

QString TQVFormWriter::Write(const QList<QObject *> &roots) const
{
    FormWriting writing(m_registry);
    for (QObject *root : roots) {
        if (root)
            writing.WriteObject(root, 0);
    }
    return writing.Text();
}

TQVFormReader::TQVFormReader(const TQVClassRegistry &registry)
    : m_registry(registry)
{
}

QList<QObject *> TQVFormReader::Read(const QString &text, QObject *owner) const
{
    FormReading reading(m_registry, m_external, m_loose, text);
    return reading.Run(owner);
}

QList<QObject *> TQVFormReader::ReadUtf8(const QByteArray &data, QObject *owner) const
{
    QByteArray text = data;
    if (text.startsWith("\xEF\xBB\xBF"))
        text.remove(0, 3);
    CheckUtf8(text);
    return Read(QString::fromUtf8(text), owner);
}
