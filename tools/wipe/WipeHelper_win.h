// The secure-wipe helper behind VantrelWipe.dll: overwrites a file's content,
// flushes it, truncates it, renames it to a random name and deletes it.
#pragma once

#include <cstdint>

#include "runtime/ComObject.h"
#include "vantrel/Siblings.h"

namespace vt::wipe {

class TWipeHelper final : public ComObject<IDiskWipeHelper> {
public:
    static constexpr std::int32_t kMaxPasses = 35;

    HRESULT STDMETHODCALLTYPE SetPassCount(std::int32_t passes) override;
    HRESULT STDMETHODCALLTYPE GetPassCount(std::int32_t* passes) override;
    HRESULT STDMETHODCALLTYPE WipeFile(const wchar_t* fileName, std::uint64_t* wipedBytes, bool* wiped) override;

#define VANTREL_WIPE_RESERVED(n) HRESULT STDMETHODCALLTYPE Reserved##n() override { return Reserved(n); }
    VANTREL_WIPE_RESERVED(3) VANTREL_WIPE_RESERVED(4) VANTREL_WIPE_RESERVED(5) VANTREL_WIPE_RESERVED(6)
    VANTREL_WIPE_RESERVED(7) VANTREL_WIPE_RESERVED(8) VANTREL_WIPE_RESERVED(9) VANTREL_WIPE_RESERVED(10)
    VANTREL_WIPE_RESERVED(11) VANTREL_WIPE_RESERVED(12) VANTREL_WIPE_RESERVED(13) VANTREL_WIPE_RESERVED(14)
    VANTREL_WIPE_RESERVED(15) VANTREL_WIPE_RESERVED(16) VANTREL_WIPE_RESERVED(17) VANTREL_WIPE_RESERVED(18)
    VANTREL_WIPE_RESERVED(19) VANTREL_WIPE_RESERVED(20) VANTREL_WIPE_RESERVED(21) VANTREL_WIPE_RESERVED(22)
    VANTREL_WIPE_RESERVED(23) VANTREL_WIPE_RESERVED(24) VANTREL_WIPE_RESERVED(25) VANTREL_WIPE_RESERVED(26)
    VANTREL_WIPE_RESERVED(27) VANTREL_WIPE_RESERVED(28) VANTREL_WIPE_RESERVED(29) VANTREL_WIPE_RESERVED(30)
    VANTREL_WIPE_RESERVED(32)
#undef VANTREL_WIPE_RESERVED

private:
    static HRESULT Reserved(int slot) noexcept;
    std::int32_t passes_ = 1;  // read and written from the caller's threads, one call at a time
};

}  // namespace vt::wipe
