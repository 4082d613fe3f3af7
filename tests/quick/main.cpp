#include <QtQuickTest/quicktest.h>
#include <QtWidgets/QApplication>
#include "quick/qvQuickFace.h"
int main(int argc, char **argv)
{
    QGuiApplication *app = qEnvironmentVariableIsSet("VQ_GUI") ? new QGuiApplication(argc, argv) : new QApplication(argc, argv);
    QVQuickInitialize();
    return quick_test_main(argc, argv, "velmora_quick", VELMORA_QUICK_TEST_DIR);
}
