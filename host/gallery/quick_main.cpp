// velmora-quick-gallery OUTDIR: renders every instrument item of the QML module (quick.qml)
// and writes each with grabToImage as OUTDIR/<item>-<ratio>x.png, at the device pixel ratio
// of the window (QT_SCALE_FACTOR=2 for ratio 2).

#include <cmath>
#include <cstdio>

#include <QtCore/QDir>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickItemGrabResult>
#include <QtQuick/QQuickView>
#include <QtWidgets/QApplication>

#include "quick/qvQuickFace.h"

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc != 2 || !QVQuickInitialize()) {
        std::fprintf(stderr, "usage: velmora-quick-gallery OUTDIR\n");
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    QQuickView view(QUrl(QStringLiteral("qrc:/velmora/gallery/quick.qml")));
    if (!view.rootObject())
        return 1;
    view.show();
    const qreal dpr = view.effectiveDevicePixelRatio();
    const QString ratio = QString::number(std::lround(dpr));
    int pending = 0, failed = 0;
    for (QQuickItem *item : view.rootObject()->findChildren<QQuickItem *>()) {
        if (item->objectName().isEmpty())
            continue;
        const QString file = out.filePath(item->objectName() + QLatin1Char('-') + ratio + QStringLiteral("x.png"));
        // In device pixels: a grab at the item's size would scale the window's pixels down.
        const QSharedPointer<QQuickItemGrabResult> grab = item->grabToImage((item->size() * dpr).toSize());
        if (!grab) {
            ++failed;
            continue;
        }
        ++pending;
        QObject::connect(grab.data(), &QQuickItemGrabResult::ready, &app, [&, grab, file] {
            failed += grab->saveToFile(file) ? 0 : 1;
            std::printf("%s %dx%d\n", qPrintable(file), grab->image().width(), grab->image().height());
            if (--pending == 0)
                app.quit();
        });
    }
    if (pending > 0)
        app.exec();
    return failed == 0 ? 0 : 1;
}
