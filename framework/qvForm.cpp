#include "qvForm.h"
