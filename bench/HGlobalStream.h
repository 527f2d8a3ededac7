// The system's memory IStream (CreateStreamOnHGlobal), the kind of stream a
// Windows host is likely to hand the engine.
#pragma once

#include "runtime/ComObject.h"
#include "vantrel/ComTypes.h"

namespace vt::bench {

// A new empty stream that frees its memory on release; null natively or when
// the system refuses.
Com<IStream> NewHGlobalStream();

}  // namespace vt::bench
