#include "QVMLSingleSinks.h"
