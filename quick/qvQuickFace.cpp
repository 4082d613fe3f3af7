#include "quick/qvQuickFace.h"

#include <cmath>

#include <QtCore/QMetaProperty>
#include <QtGui/QColor>
#include <QtGui/QPalette>
#include <QtWidgets/QApplication>

#include "controls/qvColor.h"
#include "controls/scale/qvRangeTable.h"

namespace QVQuickFace {

const char *TargetName(const QObject *target, const char *name)
{
    if (!target || !name || !*name)
        return nullptr;
    const QByteArray face(name);
    if (face == "source")
        return "MeasureSource";
    if (face == "ranges")
        return "RangeTable";
    const QMetaObject *meta = target->metaObject();
    const QByteArray upper = face.left(1).toUpper() + face.mid(1);
    for (const QByteArray &candidate : {QByteArray("Qt") + upper, upper}) {
        const int index = meta->indexOfProperty(candidate.constData());
        if (index >= 0)
            return meta->property(index).name();
    }
    return nullptr;
}

void LinkNotifiers(QObject *face, int first, QObject *target)
{
    if (!face || !target)
        return;
    const QMetaObject *meta = face->metaObject();
    for (int i = first; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const char *targetName = TargetName(target, property.name());
        if (!property.hasNotifySignal() || !targetName)
            continue;
        const QMetaObject *targetMeta = target->metaObject();
        const QMetaProperty source = targetMeta->property(targetMeta->indexOfProperty(targetName));
        if (source.hasNotifySignal())
            QObject::connect(target, source.notifySignal(), face, property.notifySignal(), Qt::UniqueConnection);
    }
}

QVariant Read(const QObject *target, const char *name)
{
    return target ? target->property(name) : QVariant();
}

void Write(QObject *target, const char *name, const QVariant &value)
{
    if (target)
        target->setProperty(name, value);
}

QVariantList RangesFromTable(const QString &table)
{
    QList<TQVRangeTableRow> rows;
    const bool withCheck = QVParseRangeTable(table, true, rows);
    if (!withCheck && !QVParseRangeTable(table, false, rows))
        return {};
    QVariantList ranges;
    for (const TQVRangeTableRow &row : rows) {
        QVariantMap entry{{QStringLiteral("limit"), row.Limit},
                          {QStringLiteral("color"), QVToQColor(row.Color, QPalette())}};
        if (withCheck)
            entry.insert(QStringLiteral("check"), row.Check);
        ranges.append(entry);
    }
    return ranges;
}

QString TableFromRanges(const QVariantList &ranges, bool withCheck)
{
    QList<TQVRangeTableRow> rows;
    for (const QVariant &range : ranges) {
        const QVariantMap entry = range.toMap();
        bool isNumber = false;
        const double limit = entry.value(QStringLiteral("limit")).toDouble(&isNumber);
        // A colour written in QML as a JavaScript object member arrives as its name.
        const QVariant colorValue = entry.value(QStringLiteral("color"));
        const QColor color = colorValue.metaType().id() == QMetaType::QColor
                                 ? colorValue.value<QColor>()
                                 : QColor::fromString(colorValue.toString());
        if (!isNumber || std::isnan(limit) || !color.isValid())
            continue;
        rows.append(TQVRangeTableRow{QVFromQColor(color), limit, entry.value(QStringLiteral("check")).toBool()});
    }
    return QVRangeTableText(rows, withCheck);
}

} // namespace QVQuickFace

bool QVQuickInitialize()
{
    if (qobject_cast<QApplication *>(QCoreApplication::instance()))
        return true;
    qWarning("Velmora: the instrument items paint through widgets and need a QApplication");
    return false;
}
