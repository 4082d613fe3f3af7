#include "qvFiler.h"
