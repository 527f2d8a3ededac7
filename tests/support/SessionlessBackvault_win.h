// Test doubles of the backup service that only record removals derive from
// SessionlessBackvault<Base>, where Base is IBackvault or a helper that
// already implements IUnknown over it. The session operations (listing,
// undo) belong to the real service; the engine and the browser-data library
// never call them, so here they answer E_NOTIMPL.
#pragma once

#include <cstdint>

#include "vantrel/Siblings.h"

template <class Base>
struct SessionlessBackvault : Base {
    HRESULT STDMETHODCALLTYPE BeginSession(const wchar_t*, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EndSession() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCurrentSession(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDataFolder(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetDataFolder(const wchar_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionCount(std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionId(std::int32_t, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionDescription(const wchar_t*, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionStartTime(const wchar_t*, double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionEndTime(const wchar_t*, double*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionState(const wchar_t*, TBackvaultSessionState*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionFileCount(const wchar_t*, std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionRegistryCount(const wchar_t*, std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionBytes(const wchar_t*, std::int64_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionEntryCount(const wchar_t*, std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionEntry(const wchar_t*, std::int32_t, TBackvaultEntryKind*, BSTR*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RestoreSession(const wchar_t*, std::int32_t*, std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRestoreReport(BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteSession(const wchar_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSessionFolder(const wchar_t*, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteSessionsBefore(double, std::int32_t*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved24() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Reserved25() override { return E_NOTIMPL; }
};
