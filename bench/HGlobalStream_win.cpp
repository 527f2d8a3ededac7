#include "HGlobalStream.h"

#include "platform/Win32.h"

namespace vt::bench {

Com<IStream> NewHGlobalStream() {
    Com<IStream> stream;
    if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) return nullptr;
    return stream;
}

}  // namespace vt::bench
