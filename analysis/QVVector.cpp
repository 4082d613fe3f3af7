#include "analysis/QVVector.h"
