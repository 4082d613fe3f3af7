#include "qvThreadBridge.h"
