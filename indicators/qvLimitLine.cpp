#include "indicators/qvLimitLine_p.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include <QtCore/QRegularExpression>

bool QVParseLimitLine(const QString &text, std::vector<QPointF> &points)
{
    static const QRegularExpression pointBreak(QStringLiteral("[;\\n]"));
    static const QRegularExpression numberBreak(QStringLiteral("[\\s,]+"));
    std::vector<QPointF> read;
    for (const QString &part : text.split(pointBreak)) {
        const QString point = part.trimmed();
        if (point.isEmpty())
            continue;
        const QStringList numbers = point.split(numberBreak);
        if (numbers.size() != 2)
            return false;
        bool okX = false, okY = false;
        const double x = numbers[0].toDouble(&okX), y = numbers[1].toDouble(&okY);
        if (!okX || !okY || !std::isfinite(x) || !std::isfinite(y) || (!read.empty() && x < read.back().x()))
            return false;
        read.emplace_back(x, y);
    }
    points = std::move(read);
    return true;
}

QString QVLimitLineText(const std::vector<QPointF> &points)
{
    const auto shortest = [](double value) {
        char text[32];
        return QString::fromLatin1(text, std::to_chars(text, text + sizeof text, value).ptr - text);
    };
    QStringList parts;
    for (const QPointF &p : points)
        parts << shortest(p.x()) + u' ' + shortest(p.y());
    return parts.join(QStringLiteral("; "));
}

double QVLimitAt(const std::vector<QPointF> &line, double u, bool upper)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    if (std::isnan(u))
        return nan;
    const auto byX = [](const QPointF &p, double x) { return p.x() < x; };
    const auto first = std::lower_bound(line.begin(), line.end(), u, byX);
    auto last = first;
    while (last != line.end() && last->x() == u)
        ++last;
    if (first != last) { // on a point or a step
        double limit = first->y();
        for (auto p = first; p != last; ++p)
            limit = upper ? std::min(limit, p->y()) : std::max(limit, p->y());
        return limit;
    }
    if (first == line.begin() || first == line.end())
        return nan;
    const QPointF &a = *(first - 1), &b = *first;
    if (std::isinf(a.x())) // a point at x <= 0 on a log axis: the level of the next one
        return b.y();
    return a.y() + (b.y() - a.y()) * ((u - a.x()) / (b.x() - a.x()));
}
