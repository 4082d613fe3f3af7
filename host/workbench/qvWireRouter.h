#pragma once

#include <QtCore/QList>
#include <QtCore/QPointF>
#include <QtCore/QRectF>

/// \brief An orthogonal route from `from` to `to` inside `bounds` that enters no obstacle
/// (it may run along an edge): of the shortest such routes, one with the fewest bends. The
/// corners of the route, from `from` to `to`; empty when there is none, or when an end lies
/// inside an obstacle or outside the bounds.
///
/// The route runs on the lines through the ends and the obstacles' edges, which hold a best
/// route whenever there is one.
QList<QPointF> QVRouteWire(const QPointF &from, const QPointF &to, const QList<QRectF> &obstacles, const QRectF &bounds);
