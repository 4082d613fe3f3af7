#include "QVPlot.h"
