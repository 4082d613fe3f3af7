// Guide: instruments and a chain in QML. Loads main.qml, lets the generator run for half a
// second and checks the meter against the RMS of the tone, A / √2; exits by itself.
#include <cmath>
#include <cstdio>

#include <QtCore/QTimer>
#include <QtQml/QQmlApplicationEngine>
#include <QtWidgets/QApplication>

#include <Velmora/Quick>

int main(int argc, char **argv)
{
    // [main]
    QApplication app(argc, argv); // the instrument items paint through widgets
    QVQuickInitialize();
    QQmlApplicationEngine engine;
    engine.load(QUrl(QStringLiteral("qrc:/main.qml")));
    // [main]
    if (engine.rootObjects().isEmpty())
        return 1;
    QObject *meter = engine.rootObjects().first()->findChild<QObject *>(QStringLiteral("meter"));
    if (!meter)
        return 1;
    QTimer::singleShot(500, &app, &QCoreApplication::quit);
    app.exec();

    const double shown = meter->property("value").toDouble();
    const double expected = 2.0 / std::sqrt(2.0);
    std::printf("meter shows %.4f V, the tone's RMS is %.4f V\n", shown, expected);
    return std::abs(shown - expected) < 1e-3 ? 0 : 1;
}
