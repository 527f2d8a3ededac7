#include "HGlobalStream.h"

namespace vt::bench {

Com<IStream> NewHGlobalStream() { return nullptr; }

}  // namespace vt::bench
