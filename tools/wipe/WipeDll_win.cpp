// VantrelWipe.dll: the one export, GetInstance, serving IDiskWipeHelper.
#include "WipeHelper_win.h"

extern "C" HRESULT VANTREL_STDCALL GetInstance(const GUID& riid, void** obj) {
    if (!obj) return E_POINTER;
    *obj = nullptr;
    if (!IsEqualGUID(riid, vantrel::IidOf<IDiskWipeHelper>())) return E_NOINTERFACE;
    try {
        return vt::MakeCom<vt::wipe::TWipeHelper>()->QueryInterface(riid, obj);
    } catch (...) {
        return E_POINTER;
    }
}
