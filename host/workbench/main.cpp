// velmora-workbench: places components on a form, edits their properties, stores the form
// and runs it. `--example` places a small chain; `--snapshot file.png` runs it for a few
// blocks, writes a picture of the window and exits (also without a display). The network
// source is on the palette; `--source tcp://HOST:PORT` places one subscribed there.

#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

#include "host/net/qvNetSource.h"
#include "qvWorkbench.h"

int main(int argc, char **argv)
{
    const bool headless = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    const bool snapshotRequested = [&] {
        for (int i = 1; i < argc; ++i) {
            if (QByteArray(argv[i]).startsWith("--snapshot"))
                return true;
        }
        return false;
    }();
    if ((headless || snapshotRequested) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-workbench"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Places Velmora components on a form, edits, stores and runs it."));
    parser.addHelpOption();
    QCommandLineOption exampleOption(QStringLiteral("example"), QStringLiteral("Place a small example chain."));
    QCommandLineOption snapshotOption(QStringLiteral("snapshot"),
                                      QStringLiteral("Run 40 blocks, write a picture of the window and exit."),
                                      QStringLiteral("file"));
    QCommandLineOption sourceOption(QStringLiteral("source"),
                                    QStringLiteral("Place a network source subscribed to this endpoint."),
                                    QStringLiteral("endpoint"));
    parser.addOption(exampleOption);
    parser.addOption(snapshotOption);
    parser.addOption(sourceOption);
    parser.addPositionalArgument(QStringLiteral("form"), QStringLiteral("Form file to open."));
    parser.process(app);

    // Before the window builds its palette from the registry, after the library's own
    // classes, so that their pages come first.
    TQVWorkbenchModel::RegisterClasses();
    QVClassRegistry().RegisterComponents(TQVWorkbenchModel::HostPageName(), {QVComponentClassOf<TQVNetSource>()});
    TQVWorkbench window;
    const bool batch = parser.isSet(snapshotOption);
    window.SetModalErrors(!batch);
    QObject::connect(&window, &TQVWorkbench::ErrorShown, [](const QString &message) {
        std::fprintf(stderr, "%s\n", qPrintable(message));
    });
    if (!parser.positionalArguments().isEmpty())
        window.OpenFile(parser.positionalArguments().first());
    else if (parser.isSet(exampleOption))
        window.PlaceExample();
    if (parser.isSet(sourceOption)) {
        TQVWorkbenchModel &model = window.Model();
        if (QObject *source = model.AddComponent(QStringLiteral("TQVNetSource")))
            model.SetProperty(source, QStringLiteral("Endpoint"), parser.value(sourceOption));
    }
    window.show();
    if (!batch)
        return app.exec();

    TQVWorkbenchModel &model = window.Model();
    QObject *selected = window.Selected();
    model.Run();
    model.Tick(40);
    model.Stop();
    window.Select(selected);
    QCoreApplication::processEvents();
    const QString file = parser.value(snapshotOption);
    if (!window.grab().save(file)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(file));
        return 1;
    }
    std::printf("snapshot written to %s\n", qPrintable(file));
    return 0;
}
