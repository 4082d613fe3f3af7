#include "analysis/qvFFTKernel.h"
