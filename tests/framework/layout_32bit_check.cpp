// Compiled with -m32 by the test suite: the records keep their binary layout where
// pointers are 32 bits wide (8-byte channel slot, 552-byte block, 304-byte settings).
#include "framework/qvMeasData.h"

static_assert(sizeof(void *) == 4, "this check must be compiled for a 32-bit target");
static_assert(sizeof(QVDescArraySingle) == 8);
static_assert(sizeof(TQVDescArraySingle) == 552);
static_assert(sizeof(TQVMeasureSourceSettings) == 304);
static_assert(offsetof(TQVDescArraySingle, Channels) + 64 * sizeof(QVDescArraySingle) == 544);
