#include "qvWireRouter.h"

#include <algorithm>
#include <array>
#include <limits>
#include <queue>
#include <tuple>
#include <vector>

namespace {

bool Inside(const QRectF &r, double x, double y)
{
    return r.left() < x && x < r.right() && r.top() < y && y < r.bottom();
}

// Sorted distinct values.
std::vector<double> Lines(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

} // namespace

QList<QPointF> QVRouteWire(const QPointF &from, const QPointF &to, const QList<QRectF> &obstacles, const QRectF &bounds)
{
    const auto blocked = [&](double x, double y) {
        return !bounds.contains(x, y) || std::any_of(obstacles.begin(), obstacles.end(), [&](const QRectF &r) { return Inside(r, x, y); });
    };
    if (blocked(from.x(), from.y()) || blocked(to.x(), to.y()))
        return {};
    std::vector<double> xs{from.x(), to.x()}, ys{from.y(), to.y()};
    for (const QRectF &r : obstacles) {
        xs.insert(xs.end(), {r.left(), r.right()});
        ys.insert(ys.end(), {r.top(), r.bottom()});
    }
    xs = Lines(std::move(xs));
    ys = Lines(std::move(ys));
    std::erase_if(xs, [&](double x) { return x < bounds.left() || x > bounds.right(); });
    std::erase_if(ys, [&](double y) { return y < bounds.top() || y > bounds.bottom(); });
    const int nx = int(xs.size()), ny = int(ys.size());

    // open[d][node]: the step from the node in direction d (0 +x, 1 +y, 2 -x, 3 -y) to the
    // next line enters no obstacle.
    const auto node = [nx](int i, int j) { return j * nx + i; };
    std::vector<std::array<bool, 4>> open(std::size_t(nx * ny), {false, false, false, false});
    for (int j = 0; j < ny; ++j) {
        for (int i = 0; i < nx; ++i) {
            if (i + 1 < nx) {
                const double x0 = xs[std::size_t(i)], x1 = xs[std::size_t(i + 1)], y = ys[std::size_t(j)];
                const bool free = std::none_of(obstacles.begin(), obstacles.end(), [&](const QRectF &r) {
                    return r.top() < y && y < r.bottom() && r.left() < x1 && x0 < r.right();
                });
                open[std::size_t(node(i, j))][0] = open[std::size_t(node(i + 1, j))][2] = free;
            }
            if (j + 1 < ny) {
                const double y0 = ys[std::size_t(j)], y1 = ys[std::size_t(j + 1)], x = xs[std::size_t(i)];
                const bool free = std::none_of(obstacles.begin(), obstacles.end(), [&](const QRectF &r) {
                    return r.left() < x && x < r.right() && r.top() < y1 && y0 < r.bottom();
                });
                open[std::size_t(node(i, j))][1] = open[std::size_t(node(i, j + 1))][3] = free;
            }
        }
    }

    // Dijkstra over (node, direction of arrival), by length and then bends.
    using Cost = std::pair<double, int>;
    const Cost infinite{std::numeric_limits<double>::infinity(), 0};
    std::vector<Cost> best(std::size_t(nx * ny * 4), infinite);
    std::vector<int> previous(best.size(), -1);
    using Entry = std::tuple<Cost, int>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
    const auto index = [](double v, const std::vector<double> &lines) {
        return int(std::lower_bound(lines.begin(), lines.end(), v) - lines.begin());
    };
    const int start = node(index(from.x(), xs), index(from.y(), ys));
    const int goal = node(index(to.x(), xs), index(to.y(), ys));
    for (int d = 0; d < 4; ++d) { // the first segment leaves in any direction without a bend
        best[std::size_t(start * 4 + d)] = {0.0, 0};
        queue.emplace(Cost{0.0, 0}, start * 4 + d);
    }
    int reached = -1;
    while (!queue.empty()) {
        const auto [cost, state] = queue.top();
        queue.pop();
        if (cost != best[std::size_t(state)])
            continue;
        const int at = state / 4, dir = state % 4;
        if (at == goal) {
            reached = state;
            break;
        }
        const int i = at % nx, j = at / nx;
        for (int d = 0; d < 4; ++d) {
            if (!open[std::size_t(at)][std::size_t(d)] || d == (dir + 2) % 4)
                continue;
            const int ni = i + (d == 0) - (d == 2), nj = j + (d == 1) - (d == 3);
            const double step = std::abs(xs[std::size_t(ni)] - xs[std::size_t(i)]) + std::abs(ys[std::size_t(nj)] - ys[std::size_t(j)]);
            const Cost next{cost.first + step, cost.second + (d != dir && at != start ? 1 : 0)};
            const int target = node(ni, nj) * 4 + d;
            if (next < best[std::size_t(target)]) {
                best[std::size_t(target)] = next;
                previous[std::size_t(target)] = state;
                queue.emplace(next, target);
            }
        }
    }
    if (reached < 0)
        return {};
    // The corners, walking back: a point wherever the direction changes.
    QList<QPointF> corners{to};
    for (int state = reached; previous[std::size_t(state)] >= 0; state = previous[std::size_t(state)]) {
        const int before = previous[std::size_t(state)];
        if (before / 4 != start && before % 4 != state % 4)
            corners.prepend(QPointF(xs[std::size_t(before / 4 % nx)], ys[std::size_t(before / 4 / nx)]));
    }
    corners.prepend(from);
    return corners;
}
