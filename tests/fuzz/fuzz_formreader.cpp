// Feeds arbitrary bytes to the form reader with every registered class of the package.
// A form error is the only allowed outcome besides success; anything else aborts, and
// whatever the reader created must be gone again (LeakSanitizer checks the rest).
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <QtCore/QByteArray>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include "analysis/qvCatalogue.h"
#include "framework/qvExceptions.h"
#include "framework/qvForm.h"
#include "framework/qvRegistry.h"
#include "indicators/qvRegister.h"

namespace {

TQVClassRegistry *Registry = nullptr;

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "fuzz_formreader: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // Widgets need an application; the offscreen platform needs no display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication app(*argc, *argv);
    Registry = new TQVClassRegistry;
    QVRegisterCoreClasses(*Registry);
    Register(*Registry);
    RegisterStreamComponents(*Registry);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size > 64 * 1024)
        return -1; // longer inputs add nothing the lexer has not seen, only time
    QWidget owner;
    TQVFormReader reader(*Registry);
    reader.SetLooseReferences(size % 2 == 1); // both ways of resolving references
    try {
        const QList<QObject *> read =
            reader.ReadUtf8(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), &owner);
        for (QObject *object : read) {
            if (object->parent() != &owner)
                Fail("a top-level component is not owned by the owner");
        }
    } catch (const EQVFormError &) { // any other exception escapes to libFuzzer, a crash
        if (!owner.children().isEmpty())
            Fail("a failed read left components behind");
    }
    return 0;
}
