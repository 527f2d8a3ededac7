// TVTObject: the base of the engine context, an object with one critical
// section (fLock) that guards its state, and the operations to enter and
// leave it.
#pragma once

#include <mutex>

namespace vt {

class TVTObject {
public:
    virtual ~TVTObject() = default;
    void Lock() { fLock.lock(); }
    void Unlock() { fLock.unlock(); }

protected:
    std::mutex fLock;
};

}  // namespace vt
