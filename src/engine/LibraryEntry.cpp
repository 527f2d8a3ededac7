// The one export. Portable: the native build's tests call it directly.
#include "engine/Globals.h"
#include "engine/Vantrel.h"
#include "runtime/DebugLog.h"

extern "C" HRESULT VANTREL_STDCALL GetInstance(const GUID& riid, void** obj) {
    if (obj == nullptr) return E_POINTER;
    *obj = nullptr;
    if (!IsEqualGUID(riid, vt::IidOf<ICleaner>())) return E_NOINTERFACE;
    vt::Com<vt::TVantrel> engine;
    try {
        vt::InitializeGlobals();
        engine = vt::MakeCom<vt::TVantrel>();
    } catch (const vt::Exception& e) {
        vt::TDebugLog::Log(vt::llError, L"GetInstance", L"Engine creation failed: %s", {e.Message()});
        return E_POINTER;
    } catch (...) {
        vt::TDebugLog::Log(vt::llError, L"GetInstance", L"Engine creation failed");
        return E_POINTER;
    }
    if (!engine) return E_POINTER;
    // The engine is freed when this last reference goes, if it does not yield riid.
    if (FAILED(engine->QueryInterface(riid, obj))) return E_NOTIMPL;
    return S_OK;
}
