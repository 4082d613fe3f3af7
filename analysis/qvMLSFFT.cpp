#include "analysis/qvMLSFFT.h"
