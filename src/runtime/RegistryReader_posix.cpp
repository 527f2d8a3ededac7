#include "runtime/RegistryReader.h"

namespace vt {

MemoryRegistry& NativeRegistry() {
    static MemoryRegistry registry;
    return registry;
}

const IRegistryReader& SystemRegistry() { return NativeRegistry(); }

}  // namespace vt
