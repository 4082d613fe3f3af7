// Compiled in the source tree (target velmora_include_check): the umbrella headers and the
// <Velmora/<folder>/...> spelling resolve there as they do in the installed package, next to
// the folder spelling the library's own sources use.
#include <Velmora/Audio>
#include <Velmora/Core>
#include <Velmora/Host>
#include <Velmora/Net>
#include <Velmora/Widgets>
#ifdef VELMORA_CHECK_QUICK
#include <Velmora/Quick>
#endif
#include <Velmora/framework/qvMeasIntf.h>
#include "framework/qvMeasIntf.h"

static_assert(sizeof(TQVMeasureSourceSettings) == 304);
