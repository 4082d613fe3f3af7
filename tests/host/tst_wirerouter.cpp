// The workbench's wire routes against a search on the pixel grid: the same length and the
// same number of bends, and no step into an obstacle.

#include <array>
#include <cmath>
#include <limits>
#include <queue>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "host/workbench/qvWireRouter.h"

namespace {

bool Inside(const QRectF &r, double x, double y)
{
    return r.left() < x && x < r.right() && r.top() < y && y < r.bottom();
}

// Shortest route over unit steps between whole pixels, of equals the fewest bends; {-1, 0}
// when there is none.
std::pair<int, int> PixelRoute(QPoint from, QPoint to, const QList<QRectF> &obstacles, QRect bounds)
{
    const auto blocked = [&](double x, double y) {
        for (const QRectF &r : obstacles)
            if (Inside(r, x, y))
                return true;
        return false;
    };
    const int w = bounds.width(), h = bounds.height();
    const auto id = [&](int x, int y, int d) { return ((y - bounds.top()) * w + x - bounds.left()) * 4 + d; };
    std::vector<std::pair<int, int>> best(std::size_t(w * h * 4), {std::numeric_limits<int>::max(), 0});
    using Entry = std::tuple<std::pair<int, int>, int, int, int>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> queue;
    for (int d = 0; d < 4; ++d)
        queue.emplace(std::pair{0, 0}, from.x(), from.y(), d), best[std::size_t(id(from.x(), from.y(), d))] = {0, 0};
    const int dx[] = {1, 0, -1, 0}, dy[] = {0, 1, 0, -1};
    while (!queue.empty()) {
        const auto [cost, x, y, dir] = queue.top();
        queue.pop();
        if (QPoint(x, y) == to)
            return cost;
        if (cost != best[std::size_t(id(x, y, dir))])
            continue;
        for (int d = 0; d < 4; ++d) {
            const int nx = x + dx[d], ny = y + dy[d];
            if (!bounds.contains(nx, ny) || blocked(nx, ny) || blocked(x + 0.5 * dx[d], y + 0.5 * dy[d]))
                continue;
            const std::pair next{cost.first + 1, cost.second + (d != dir && QPoint(x, y) != from)};
            if (next < best[std::size_t(id(nx, ny, d))]) {
                best[std::size_t(id(nx, ny, d))] = next;
                queue.emplace(next, nx, ny, d);
            }
        }
    }
    return {-1, 0};
}

} // namespace

TEST(WireRouter, ShortestRouteWithFewestBendsAroundTheObstacles)
{
    struct Layout { QPoint From, To; QList<QRectF> Obstacles; };
    std::vector<Layout> layouts = {
        {{10, 10}, {100, 80}, {}},
        {{10, 10}, {100, 10}, {QRectF(40, 0, 20, 70)}},                                   // a wall from the top
        {{10, 50}, {110, 50}, {QRectF(30, 20, 10, 60), QRectF(70, 0, 10, 45), QRectF(70, 55, 10, 45)}}, // a gap
        {{60, 50}, {5, 5}, {QRectF(40, 30, 40, 5), QRectF(40, 65, 40, 5), QRectF(40, 30, 5, 40), QRectF(75, 30, 5, 40)}}, // walled in
        {{5, 5}, {50, 50}, {QRectF(40, 40, 20, 20)}},                                      // the end inside an obstacle
    };
    std::mt19937 random(7);
    for (int n = 0; n < 24; ++n) { // scattered boxes, the ends outside them
        Layout layout;
        for (int k = 0; k < 7; ++k) {
            std::uniform_int_distribution<int> left(0, 100), top(0, 80), size(2, 30);
            layout.Obstacles.append(QRectF(left(random), top(random), size(random), size(random)));
        }
        std::uniform_int_distribution<int> x(0, 120), y(0, 100);
        do
            layout.From = {x(random), y(random)}, layout.To = {x(random), y(random)};
        while (std::any_of(layout.Obstacles.begin(), layout.Obstacles.end(), [&](const QRectF &r) {
            return Inside(r, layout.From.x(), layout.From.y()) || Inside(r, layout.To.x(), layout.To.y());
        }));
        layouts.push_back(layout);
    }
    const QRect bounds(0, 0, 121, 101);
    for (std::size_t n = 0; n < layouts.size(); ++n) {
        const Layout &l = layouts[n];
        SCOPED_TRACE(n);
        const auto [length, bends] = PixelRoute(l.From, l.To, l.Obstacles, bounds);
        const QList<QPointF> route = QVRouteWire(l.From, l.To, l.Obstacles, QRectF(0, 0, 120, 100));
        ASSERT_EQ(route.isEmpty(), length < 0);
        if (route.isEmpty())
            continue;
        EXPECT_EQ(route.first(), QPointF(l.From));
        EXPECT_EQ(route.last(), QPointF(l.To));
        double routeLength = 0;
        for (qsizetype i = 1; i < route.size(); ++i) {
            const QPointF a = route[i - 1], b = route[i];
            ASSERT_TRUE(a.x() == b.x() || a.y() == b.y()) << "not orthogonal";
            routeLength += std::abs(b.x() - a.x()) + std::abs(b.y() - a.y());
            for (double t = 0; t <= 1; t += 1.0 / 512) {
                const QPointF p = a + t * (b - a);
                for (const QRectF &r : l.Obstacles)
                    ASSERT_FALSE(Inside(r, p.x(), p.y())) << "enters an obstacle at " << p.x() << ", " << p.y();
            }
        }
        EXPECT_EQ(routeLength, length);
        EXPECT_EQ(int(route.size()) - 2, l.From == l.To ? 0 : bends);
    }
}
