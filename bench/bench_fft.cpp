#include "qvBenchSupport.h"

int main(int argc, char **argv)
{
    return QVBenchMain(argc, argv);
}
