#pragma once

#include <vector>

#include <QtCore/QEvent>
#include <QtCore/QObject>
#include <QtGui/QPaintEvent>
#include <QtGui/QRegion>

/// Records the paint events of the widgets it filters: each event's region and its bounding
/// rectangle.
struct PaintRecorder : QObject
{
    std::vector<QRegion> regions;
    std::vector<QRect> rects;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            regions.push_back(static_cast<QPaintEvent *>(event)->region());
            rects.push_back(static_cast<QPaintEvent *>(event)->rect());
        }
        return false;
    }
};
