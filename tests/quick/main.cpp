// Qt Quick Test runner of the QML module: the instrument items paint through widgets, so the
// application is a QApplication (quick_test_main takes the one that exists).
#include <QtQuickTest/quicktest.h>
#include <QtWidgets/QApplication>

#include "quick/qvQuickFace.h"

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QVQuickInitialize();
    return quick_test_main(argc, argv, "velmora_quick", VELMORA_QUICK_TEST_DIR);
}
