// Base types of the binary contract: HRESULT, GUID, IUnknown, BSTR, IStream,
// error info and the few registry types the sibling interfaces carry.
//
// On Windows this is the one header that brings in <windows.h> and the OLE
// headers, with the target version and the lean/no-min-max switches pinned.
// On other systems (the portable core's test build) it declares the same
// shapes itself, so the engine's logic compiles and runs natively; that build
// is not binary-compatible with Windows hosts and does not try to be.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(_WIN32)

// The build compiles each portable header of the engine alone with this
// defined (CMakeLists.txt, "vantrel_portable_headers"): reaching here from
// one means a portable file would see <windows.h>.
#if defined(VANTREL_PORTABLE_FILE)
#error "<windows.h> reached a portable file: include only portable headers there (docs/architecture.md)"
#endif

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601
#endif
#ifndef WINVER
#define WINVER _WIN32_WINNT
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>
#include <objidl.h>

#define VANTREL_STDCALL __stdcall

#else  // portable declarations

#define STDMETHODCALLTYPE
#define VANTREL_STDCALL

using HRESULT = std::int32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using DWORD = std::uint32_t;
using BYTE = std::uint8_t;
using REGSAM = std::uint32_t;
using OLECHAR = wchar_t;
using BSTR = wchar_t*;
using LPCOLESTR = const wchar_t*;
struct HKEY__;
using HKEY = HKEY__*;
struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    void* lpSecurityDescriptor;
    int bInheritHandle;
};

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
using IID = GUID;
using REFIID = const GUID&;
using REFGUID = const GUID&;

inline bool operator==(const GUID& a, const GUID& b) noexcept {
    if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
    for (int i = 0; i < 8; ++i)
        if (a.Data4[i] != b.Data4[i]) return false;
    return true;
}
inline bool operator!=(const GUID& a, const GUID& b) noexcept { return !(a == b); }
inline bool IsEqualGUID(const GUID& a, const GUID& b) noexcept { return a == b; }

#define S_OK ((HRESULT)0)
#define S_FALSE ((HRESULT)1)
#define E_NOTIMPL ((HRESULT)0x80004001L)
#define E_NOINTERFACE ((HRESULT)0x80004002L)
#define E_POINTER ((HRESULT)0x80004003L)
#define E_FAIL ((HRESULT)0x80004005L)
#define E_UNEXPECTED ((HRESULT)0x8000FFFFL)
#define E_OUTOFMEMORY ((HRESULT)0x8007000EL)
#define E_INVALIDARG ((HRESULT)0x80070057L)
#define STG_E_INVALIDFUNCTION ((HRESULT)0x80030001L)
#define STG_E_READFAULT ((HRESULT)0x8003001EL)
#define STG_E_WRITEFAULT ((HRESULT)0x8003001DL)
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)

struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};

union LARGE_INTEGER {
    std::int64_t QuadPart;
};
union ULARGE_INTEGER {
    std::uint64_t QuadPart;
};
struct STATSTG;  // never used by the engine; declared for slot shape only

enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };

struct ISequentialStream : IUnknown {
    virtual HRESULT Read(void* pv, ULONG cb, ULONG* pcbRead) = 0;
    virtual HRESULT Write(const void* pv, ULONG cb, ULONG* pcbWritten) = 0;
};

struct IStream : ISequentialStream {
    virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) = 0;
    virtual HRESULT SetSize(ULARGE_INTEGER newSize) = 0;
    virtual HRESULT CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* read,
                           ULARGE_INTEGER* written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb, DWORD lockType) = 0;
    virtual HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb, DWORD lockType) = 0;
    virtual HRESULT Stat(STATSTG* stat, DWORD flags) = 0;
    virtual HRESULT Clone(IStream** clone) = 0;
};

struct IErrorInfo : IUnknown {
    virtual HRESULT GetGUID(GUID* guid) = 0;
    virtual HRESULT GetSource(BSTR* source) = 0;
    virtual HRESULT GetDescription(BSTR* description) = 0;
    virtual HRESULT GetHelpFile(BSTR* helpFile) = 0;
    virtual HRESULT GetHelpContext(DWORD* helpContext) = 0;
};

struct ISupportErrorInfo : IUnknown {
    virtual HRESULT InterfaceSupportsErrorInfo(REFIID riid) = 0;
};

// The OLE string and error-info functions, implemented by the portable shim.
BSTR SysAllocStringLen(const OLECHAR* text, unsigned int length);
BSTR SysAllocString(const OLECHAR* text);
void SysFreeString(BSTR text);
unsigned int SysStringLen(BSTR text);
HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info);
HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info);

#endif  // portable declarations

// Codes the contract uses that older SDK headers lack.
#ifndef E_BOUNDS
#define E_BOUNDS ((HRESULT)0x8000000BL)
#endif
#ifndef E_ILLEGAL_METHOD_CALL
#define E_ILLEGAL_METHOD_CALL ((HRESULT)0x8000000EL)
#endif

namespace vantrel {

// The interface identifier of an interface type, declared next to the
// interface with VANTREL_INTERFACE_ID. Works with every compiler; on MinGW the
// same macro also makes __uuidof(T) work.
template <class T>
struct InterfaceId;

template <class T>
constexpr const GUID& IidOf() noexcept {
    return InterfaceId<T>::value;
}

}  // namespace vantrel

#if defined(__MINGW32__) && defined(__CRT_UUID_DECL)
#define VANTREL_MINGW_UUID(T, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) \
    __CRT_UUID_DECL(T, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)
#else
#define VANTREL_MINGW_UUID(T, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)
#endif

#define VANTREL_INTERFACE_ID(T, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)       \
    template <>                                                                  \
    struct vantrel::InterfaceId<T> {                                             \
        static constexpr GUID value = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}; \
    };                                                                           \
    VANTREL_MINGW_UUID(T, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)

// The system interfaces the engine answers or consumes.
template <>
struct vantrel::InterfaceId<IUnknown> {
    static constexpr GUID value = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
};
template <>
struct vantrel::InterfaceId<ISequentialStream> {
    static constexpr GUID value = {0x0c733a30, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
};
template <>
struct vantrel::InterfaceId<IStream> {
    static constexpr GUID value = {0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
};
template <>
struct vantrel::InterfaceId<ISupportErrorInfo> {
    static constexpr GUID value = {0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
};
template <>
struct vantrel::InterfaceId<IErrorInfo> {
    static constexpr GUID value = {0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
};
