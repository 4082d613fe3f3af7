#include "qvFilePlayer.h"
