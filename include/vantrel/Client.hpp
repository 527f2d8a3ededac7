// Header-only helpers for C++ hosts of VantrelHelper.dll:
//   vantrel::client::Ptr<T>      - owns one reference to an interface
//   vantrel::client::Check(hr)   - throws vantrel::client::Error (HRESULT and
//                                  the engine's message from GetErrorInfo)
//   vantrel::client::TakeBstr    - BSTR to std::wstring (frees the BSTR)
//   vantrel::client::StringList  - an IVTStringList of the host's own, for Localize
//   vantrel::client::Library     - loads the DLL by full path and creates engines
//                                  (Windows only; the rest also builds natively)
//
// Example:
//   vantrel::client::Library lib(L"C:\\App\\VantrelHelper.dll");
//   auto cleaner = lib.CreateCleaner();
//   TCleanerState state;
//   vantrel::client::Check(cleaner->GetState(&state));
#pragma once

#include <atomic>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/VantrelHelper.h"

namespace vantrel::client {

template <class T>
class Ptr {
public:
    Ptr() noexcept = default;
    Ptr(const Ptr& o) noexcept : p_(o.p_) {
        if (p_) p_->AddRef();
    }
    Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    Ptr& operator=(Ptr o) noexcept {
        std::swap(p_, o.p_);
        return *this;
    }
    ~Ptr() {
        if (p_) p_->Release();
    }
    // For out-parameters: the slot to receive an interface with its reference.
    T** Put() noexcept {
        if (p_) p_->Release();
        p_ = nullptr;
        return &p_;
    }
    void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }
    T* Get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

    template <class I>
    Ptr<I> As() const {
        Ptr<I> r;
        if (p_) p_->QueryInterface(IidOf<I>(), r.PutVoid());
        return r;
    }

private:
    T* p_ = nullptr;
};

// A failed HRESULT with the message the engine published through error info.
class Error : public std::runtime_error {
public:
    Error(HRESULT code, std::wstring message)
        : std::runtime_error(Narrow(message)), code_(code), message_(std::move(message)) {}
    HRESULT Code() const noexcept { return code_; }
    const std::wstring& Message() const noexcept { return message_; }

private:
    static std::string Narrow(const std::wstring& w) {
        std::string s;
        for (wchar_t c : w) s.push_back(c < 128 ? static_cast<char>(c) : '?');
        return s;
    }
    HRESULT code_;
    std::wstring message_;
};

inline std::wstring TakeBstr(BSTR b) {
    if (!b) return {};
    std::wstring s(b, SysStringLen(b));
    SysFreeString(b);
    return s;
}

// The message of the calling thread's error info (empty when none).
inline std::wstring LastErrorMessage() {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) != S_OK || !info) return {};
    BSTR description = nullptr;
    info->GetDescription(&description);
    info->Release();
    return TakeBstr(description);
}

// Throws Error for a failed HRESULT; returns the code otherwise.
inline HRESULT Check(HRESULT hr) {
    if (FAILED(hr)) {
        std::wstring message = LastErrorMessage();
        if (message.empty()) {
            wchar_t buf[32];
            swprintf(buf, 32, L"HRESULT 0x%08lX", static_cast<unsigned long>(static_cast<std::uint32_t>(hr)));
            message = buf;
        }
        throw Error(hr, message);
    }
    return hr;
}

// Reads a string out of an operation whose last argument is the BSTR*:
// GetString(category, &ICategory::GetName), GetString(list, &IIgnoreList::GetItem, 0).
// Throws Error when the operation fails.
template <class T, class... Params, class... Args>
std::wstring GetString(T* obj, HRESULT (STDMETHODCALLTYPE T::*op)(Params...), Args... args) {
    static_assert(sizeof...(Params) == sizeof...(Args) + 1, "the operation takes the given arguments and a BSTR*");
    BSTR b = nullptr;
    Check((obj->*op)(args..., &b));
    return TakeBstr(b);
}

// The host's own string list: name=value lines for ICleaner::Localize, which
// writes each line back through SetString.
class StringList final : public IVTStringList {
public:
    struct Entry {
        std::wstring text;
        std::int32_t value = 0;
    };

    // The new list with the one reference the returned pointer owns.
    static Ptr<StringList> Create() {
        Ptr<StringList> p;
        *p.Put() = new StringList();
        return p;
    }
    std::vector<Entry>& Entries() noexcept { return entries_; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        if (IsEqualGUID(riid, IidOf<IUnknown>()) || IsEqualGUID(riid, IidOf<IVTStringList>())) {
            *ppv = static_cast<IVTStringList*>(this);
            AddRef();
            return S_OK;
        }
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetCount(std::int32_t* count) override {
        if (!count) return E_POINTER;
        *count = static_cast<std::int32_t>(entries_.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetString(std::int32_t index, BSTR* value) override {
        if (!value) return E_POINTER;
        *value = nullptr;
        if (!InRange(index)) return E_BOUNDS;
        const auto& t = entries_[static_cast<std::size_t>(index)].text;
        *value = SysAllocStringLen(t.data(), static_cast<unsigned int>(t.size()));
        return *value ? S_OK : E_OUTOFMEMORY;
    }
    HRESULT STDMETHODCALLTYPE SetString(std::int32_t index, const wchar_t* value) override {
        if (!InRange(index)) return E_BOUNDS;
        entries_[static_cast<std::size_t>(index)].text = value ? value : L"";
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetValue(std::int32_t index, std::int32_t* value) override {
        if (!value) return E_POINTER;
        if (!InRange(index)) return E_BOUNDS;
        *value = entries_[static_cast<std::size_t>(index)].value;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetValue(std::int32_t index, std::int32_t value) override {
        if (!InRange(index)) return E_BOUNDS;
        entries_[static_cast<std::size_t>(index)].value = value;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Add(const wchar_t* value, std::int32_t* index) override {
        entries_.push_back({value ? value : L"", 0});
        if (index) *index = static_cast<std::int32_t>(entries_.size() - 1);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Delete(std::int32_t index) override {
        if (!InRange(index)) return E_BOUNDS;
        entries_.erase(entries_.begin() + index);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clear() override {
        entries_.clear();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IndexOf(const wchar_t* value, std::int32_t* index) override {
        if (!index) return E_POINTER;
        const std::wstring v = value ? value : L"";
        *index = -1;
        for (std::size_t i = 0; i < entries_.size(); ++i)
            if (entries_[i].text == v) {
                *index = static_cast<std::int32_t>(i);
                break;
            }
        return S_OK;
    }

private:
    StringList() = default;
    ~StringList() = default;
    bool InRange(std::int32_t i) const noexcept {
        return i >= 0 && static_cast<std::size_t>(i) < entries_.size();
    }
    std::atomic<ULONG> refs_{1};  // the reference Create hands out
    std::vector<Entry> entries_;
};

#if defined(_WIN32)
// Loads VantrelHelper.dll by full path and creates engines through GetInstance.
class Library {
public:
    explicit Library(const std::wstring& fullPath) {
        module_ = ::LoadLibraryExW(fullPath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        if (!module_) throw Error(HRESULT_FROM_WIN32(::GetLastError()), L"Cannot load " + fullPath);
        entry_ = reinterpret_cast<VantrelGetInstanceFn>(
            reinterpret_cast<void*>(::GetProcAddress(module_, "GetInstance")));
        if (!entry_) throw Error(HRESULT_FROM_WIN32(::GetLastError()), L"GetInstance is not exported by " + fullPath);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() {
        if (module_) ::FreeLibrary(module_);
    }

    VantrelGetInstanceFn Entry() const noexcept { return entry_; }
    HMODULE Module() const noexcept { return module_; }

    Ptr<ICleaner> CreateCleaner() const {
        Ptr<ICleaner> cleaner;
        Check(entry_(IidOf<ICleaner>(), cleaner.PutVoid()));
        return cleaner;
    }

private:
    HMODULE module_ = nullptr;
    VantrelGetInstanceFn entry_ = nullptr;
};
#endif

using vantrel::IidOf;

}  // namespace vantrel::client
