// COM-style objects without MIDL: ComObject<Interfaces...> gives an object an
// atomic reference count, QueryInterface over its interfaces (plus IUnknown and
// ISupportErrorInfo), and a protected destructor; Com<T> is the smart pointer
// that owns one reference.
#pragma once

#include <atomic>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "runtime/Exception.h"
#include "vantrel/ComTypes.h"

namespace vt {

using vantrel::IidOf;

// Owns one reference to a COM object (an interface or a concrete ComObject).
template <class T>
class Com {
public:
    Com() noexcept = default;
    Com(std::nullptr_t) noexcept {}
    // Takes a new reference to p.
    Com(T* p) noexcept : p_(p) {
        if (p_) p_->AddRef();
    }
    Com(const Com& other) noexcept : Com(other.p_) {}
    Com(Com&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    Com(const Com<U>& other) noexcept : Com(static_cast<T*>(other.Get())) {}
    ~Com() { Reset(); }

    Com& operator=(Com other) noexcept {
        std::swap(p_, other.p_);
        return *this;
    }

    // Adopts a pointer that already carries the reference this owner keeps.
    static Com Attach(T* p) noexcept {
        Com c;
        c.p_ = p;
        return c;
    }
    // Gives up ownership of the reference without releasing it.
    T* Detach() noexcept { return std::exchange(p_, nullptr); }

    void Reset() noexcept {
        if (T* p = std::exchange(p_, nullptr)) p->Release();
    }
    T* Get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    T& operator*() const noexcept { return *p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

    // For out-parameters: releases what is held and hands out the slot.
    T** Put() noexcept {
        Reset();
        return &p_;
    }

    // Hands a new reference to the caller's out-parameter (null stays null).
    void CopyTo(T** out) const noexcept {
        *out = p_;
        if (p_) p_->AddRef();
    }

    template <class I>
    Com<I> Query() const noexcept {
        Com<I> result;
        if (p_) p_->QueryInterface(IidOf<I>(), reinterpret_cast<void**>(result.Put()));
        return result;
    }

    friend bool operator==(const Com& a, const Com& b) noexcept { return a.p_ == b.p_; }
    friend bool operator==(const Com& a, std::nullptr_t) noexcept { return a.p_ == nullptr; }

private:
    T* p_ = nullptr;
};

// The identifier as text, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
std::wstring GuidText(REFIID riid);
// Logs, once per identifier for the process, that one of our objects was
// asked for an interface it does not have. Never throws.
void LogUnknownInterface(REFIID riid) noexcept;

namespace detail {

template <class Interface, class Self>
bool QueryOne(Self* self, REFIID riid, void** ppv) {
    if (IsEqualGUID(riid, IidOf<Interface>())) {
        *ppv = static_cast<Interface*>(self);
        return true;
    }
    return false;
}

}  // namespace detail

// Base of every object the library hands out. The first interface is the one
// that stands for IUnknown.
template <class First, class... Rest>
class ComObject : public First, public Rest..., public ISupportErrorInfo {
public:
    ComObject() = default;
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) return E_POINTER;
        *ppv = nullptr;
        if (IsEqualGUID(riid, IidOf<IUnknown>())) {
            *ppv = static_cast<IUnknown*>(static_cast<First*>(this));
        } else if (IsEqualGUID(riid, IidOf<ISupportErrorInfo>())) {
            *ppv = static_cast<ISupportErrorInfo*>(this);
        } else if (!(detail::QueryOne<First>(this, riid, ppv) ||
                     (detail::QueryOne<Rest>(this, riid, ppv) || ...))) {
            if (QueryExtra(riid, ppv)) return S_OK;
            LogUnknownInterface(riid);
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }

    ULONG STDMETHODCALLTYPE Release() override {
        ULONG left = --refs_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
        bool ours = IsEqualGUID(riid, IidOf<First>()) || (IsEqualGUID(riid, IidOf<Rest>()) || ...);
        return ours ? S_OK : S_FALSE;
    }

    // The object's own IUnknown.
    IUnknown* Unknown() noexcept { return static_cast<IUnknown*>(static_cast<First*>(this)); }

protected:
    virtual ~ComObject() = default;

    // Lets an object answer further identifiers (for example an interface of an
    // object it owns). On success *ppv holds an added reference.
    virtual bool QueryExtra(REFIID, void**) { return false; }

private:
    std::atomic<ULONG> refs_{0};
};

// Creates a ComObject-derived object owned by the returned pointer.
template <class T, class... Args>
Com<T> MakeCom(Args&&... args) {
    return Com<T>(new T(std::forward<Args>(args)...));
}

}  // namespace vt
