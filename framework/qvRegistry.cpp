#include "qvRegistry.h"
