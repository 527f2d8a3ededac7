// The COM plumbing of "KxBrowsers.dll": reference-counted objects, an owning
// pointer, and the one road from C++ failures to an HRESULT with error info.
#pragma once

#include <atomic>
#include <string>
#include <utility>

#include "vantrel/BrowserHelper.h"

namespace kxb::com {

// Owns one reference.
template <class T>
class Ref {
public:
    Ref() = default;
    Ref(T* p) : p_(p) {  // takes a new reference
        if (p_) p_->AddRef();
    }
    Ref(const Ref& o) : Ref(o.p_) {}
    Ref(Ref&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    Ref& operator=(Ref o) noexcept {
        std::swap(p_, o.p_);
        return *this;
    }
    ~Ref() {
        if (p_) p_->Release();
    }
    // Adopts a reference the pointer already carries.
    static Ref Attach(T* p) {
        Ref r;
        r.p_ = p;
        return r;
    }
    T* Get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }
    T** Put() {
        *this = Ref();
        return &p_;
    }
    // Hands a new reference to an out-parameter.
    template <class I>
    void CopyTo(I** out) const {
        *out = p_;
        if (p_) p_->AddRef();
    }

private:
    T* p_ = nullptr;
};

// Publishes message through SetErrorInfo and returns hr.
HRESULT Fail(HRESULT hr, const std::string& message);
// Runs f (returning HRESULT); an escaping exception becomes E_FAIL with its message.
template <class F>
HRESULT Guard(F&& f) noexcept {
    try {
        return f();
    } catch (const std::exception& e) {
        return Fail(E_FAIL, e.what());
    } catch (...) {
        return Fail(E_FAIL, "KxBrowsers: unexpected failure");
    }
}
// A BSTR copy of text for an out-parameter.
HRESULT Out(const std::wstring& text, BSTR* out);

// Base of every object handed out: an atomic count starting at one (the
// creator's reference), QueryInterface over what Find answers plus IUnknown
// and ISupportErrorInfo.
template <class Primary>
class Object : public Primary, public ISupportErrorInfo {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        if (riid == vantrel::IidOf<IUnknown>())
            *ppv = static_cast<Primary*>(this);
        else if (riid == vantrel::IidOf<ISupportErrorInfo>())
            *ppv = static_cast<ISupportErrorInfo*>(this);
        else
            *ppv = Find(riid);
        if (!*ppv) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID) override { return S_OK; }

protected:
    virtual ~Object() = default;
    // The object's own interfaces by identifier; null when not served.
    virtual void* Find(REFIID) { return nullptr; }

private:
    std::atomic<ULONG> refs_{1};
};

// A new object; the returned Ref holds its one reference.
template <class T, class... Args>
Ref<T> Make(Args&&... args) {
    return Ref<T>::Attach(new T(std::forward<Args>(args)...));
}

}  // namespace kxb::com
