#include "qvTranslations.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QTranslator>

namespace {

// The translator of the last call, owned by the application object.
QPointer<QTranslator> &Installed()
{
    static QPointer<QTranslator> translator;
    return translator;
}

} // namespace

bool QVInstallTranslator(const QLocale &locale)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return false;
    QPointer<QTranslator> &installed = Installed();
    if (installed) {
        QCoreApplication::removeTranslator(installed);
        delete installed.data();
    }
    auto *translator = new QTranslator(app);
    if (!translator->load(locale, QStringLiteral("velmora"), QStringLiteral("_"),
                          QStringLiteral(":/velmora/i18n"))) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(translator);
    installed = translator;
    return true;
}
