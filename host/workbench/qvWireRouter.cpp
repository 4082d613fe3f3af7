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

    // open[node][d]: the step from the node in direction d (0 +x, 1 +y, 2 -x, 3 -y) to the
    // next line enters no obstacle. Each obstacle marks the steps it blocks on the lines that
    // cross its inside as a run in a difference array, so that the cost stays quadratic.
    const auto node = [nx](int i, int j) { return j * nx + i; };
    const auto above = [](const std::vector<double> &lines, double v) {
        return int(std::upper_bound(lines.begin(), lines.end(), v) - lines.begin());
    };
    const auto from_ = [](const std::vector<double> &lines, double v) {
        return int(std::lower_bound(lines.begin(), lines.end(), v) - lines.begin());
    };
    std::vector<int> across(std::size_t(nx * ny), 0), down(std::size_t(nx * ny), 0);
    for (const QRectF &r : obstacles) {
        // Steps i (from line i to i + 1) with lines[i + 1] > lo and lines[i] < hi.
        const int i0 = std::max(0, above(xs, r.left()) - 1), i1 = from_(xs, r.right());
        const int j0 = std::max(0, above(ys, r.top()) - 1), j1 = from_(ys, r.bottom());
        for (int j = above(ys, r.top()); j < from_(ys, r.bottom()); ++j) { // rows inside it
            ++across[std::size_t(node(i0, j))];
            --across[std::size_t(node(std::clamp(i1, i0, nx - 1), j))]; // the last one is never read
        }
        for (int i = above(xs, r.left()); i < from_(xs, r.right()); ++i) { // columns inside it
            ++down[std::size_t(node(i, j0))];
            --down[std::size_t(node(i, std::clamp(j1, j0, ny - 1)))];
        }
    }
    std::vector<std::array<bool, 4>> open(std::size_t(nx * ny), {false, false, false, false});
    for (int j = 0; j < ny; ++j) {
        for (int i = 0, run = 0; i + 1 < nx; ++i) {
            run += across[std::size_t(node(i, j))];
            open[std::size_t(node(i, j))][0] = open[std::size_t(node(i + 1, j))][2] = run == 0;
        }
    }
    for (int i = 0; i < nx; ++i) {
        for (int j = 0, run = 0; j + 1 < ny; ++j) {
            run += down[std::size_t(node(i, j))];
            open[std::size_t(node(i, j))][1] = open[std::size_t(node(i, j + 1))][3] = run == 0;
        }
    }

    // A* over (node, direction of arrival), by length and then bends; the distance to the
    // goal along the axes never overestimates the rest of the length.
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
    const auto keyOf = [&](const Cost &cost, int at) {
        return Cost{cost.first + std::abs(xs[std::size_t(at % nx)] - to.x()) + std::abs(ys[std::size_t(at / nx)] - to.y()), cost.second};
    };
    for (int d = 0; d < 4; ++d) { // the first segment leaves in any direction without a bend
        best[std::size_t(start * 4 + d)] = {0.0, 0};
        queue.emplace(keyOf({0.0, 0}, start), start * 4 + d);
    }
    int reached = -1;
    while (!queue.empty()) {
        const auto [key, state] = queue.top();
        queue.pop();
        const int at = state / 4, dir = state % 4;
        const Cost cost = best[std::size_t(state)];
        if (key != keyOf(cost, at)) // a later, better way reached this state
            continue;
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
                queue.emplace(keyOf(next, target / 4), target);
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
