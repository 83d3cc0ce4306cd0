// CComPtr, CComQIPtr, CComBSTR, CComVariant and CAtlException for compilers that come without the ATL headers: the same
// names with the same meaning. Include platform/platform.h, not this file.
#pragma once

#include <cstddef>
#include <utility>

/// A failed status as an exception; deliberately not a std::exception.
class CAtlException {
public:
    CAtlException() noexcept : m_hr(E_FAIL) {}
    explicit CAtlException(HRESULT hr) noexcept : m_hr(hr) {}
    operator HRESULT() const noexcept { return m_hr; }  // NOLINT(google-explicit-constructor): ATL's own shape

    HRESULT m_hr;
};

[[noreturn]] inline void AtlThrow(HRESULT hr) {
    throw CAtlException(hr);
}

/// Owns one reference to a COM object.
template <class T>
class CComPtr {
public:
    CComPtr() noexcept = default;
    CComPtr(std::nullptr_t) noexcept {}      // NOLINT(google-explicit-constructor)
    CComPtr(T* other) noexcept : p(other) {  // NOLINT(google-explicit-constructor)
        if (p) p->AddRef();
    }
    CComPtr(const CComPtr& other) noexcept : CComPtr(other.p) {}
    CComPtr(CComPtr&& other) noexcept : p(std::exchange(other.p, nullptr)) {}
    ~CComPtr() {
        if (p) p->Release();
    }

    CComPtr& operator=(T* other) noexcept {
        CComPtr(other).swap(*this);
        return *this;
    }
    CComPtr& operator=(const CComPtr& other) noexcept {  // NOLINT(bugprone-unhandled-self-assignment): swaps a copy
        if (p != other.p) CComPtr(other).swap(*this);
        return *this;
    }
    CComPtr& operator=(CComPtr&& other) noexcept {
        CComPtr(std::move(other)).swap(*this);
        return *this;
    }

    operator T*() const noexcept { return p; }  // NOLINT(google-explicit-constructor)
    T& operator*() const noexcept { return *p; }
    T* operator->() const noexcept { return p; }
    /// For out arguments; the pointer must be null.
    T** operator&() noexcept { return &p; }  // NOLINT(google-runtime-operator)
    bool operator!() const noexcept { return p == nullptr; }

    void Release() noexcept {
        if (T* old = std::exchange(p, nullptr)) old->Release();
    }
    void Attach(T* other) noexcept {
        if (p) p->Release();
        p = other;
    }
    T* Detach() noexcept { return std::exchange(p, nullptr); }
    HRESULT CopyTo(T** target) const noexcept {
        if (!target) return E_POINTER;
        *target = p;
        if (p) p->AddRef();
        return S_OK;
    }
    template <class Q>
    HRESULT QueryInterface(Q** object) const noexcept {
        return p->QueryInterface(__uuidof(Q), reinterpret_cast<void**>(object));
    }
    /// The same object, whatever interfaces the two pointers are of.
    bool IsEqualObject(IUnknown* other) const noexcept {
        if (!p || !other) return !p && !other;
        CComPtr<IUnknown> mine;
        CComPtr<IUnknown> theirs;
        p->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(&mine.p));
        other->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(&theirs.p));
        return mine.p == theirs.p;
    }

    T* p = nullptr;

private:
    void swap(CComPtr& other) noexcept { std::swap(p, other.p); }
};

/// A CComPtr that asks whatever it is given for its own interface; null when the object does not offer it.
template <class T>
class CComQIPtr : public CComPtr<T> {
public:
    CComQIPtr() noexcept = default;
    CComQIPtr(T* other) noexcept : CComPtr<T>(other) {}  // NOLINT(google-explicit-constructor)
    CComQIPtr(const CComQIPtr& other) noexcept = default;
    CComQIPtr(CComQIPtr&& other) noexcept = default;
    ~CComQIPtr() = default;
    CComQIPtr(IUnknown* other) noexcept {  // NOLINT(google-explicit-constructor)
        if (other && FAILED(other->QueryInterface(__uuidof(T), reinterpret_cast<void**>(&this->p)))) this->p = nullptr;
    }
    CComQIPtr& operator=(const CComQIPtr& other) noexcept = default;
    CComQIPtr& operator=(CComQIPtr&& other) noexcept = default;
};

/// Owns one BSTR.
class CComBSTR {
public:
    CComBSTR() noexcept = default;
    CComBSTR(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
    // NOLINTNEXTLINE(google-explicit-constructor)
    CComBSTR(LPCOLESTR text) : m_str(checked(SysAllocString(text), text != nullptr)) {}
    CComBSTR(int length, LPCOLESTR text)
        : m_str(checked(SysAllocStringLen(text, static_cast<UINT>(length)), length != 0)) {}
    CComBSTR(const CComBSTR& other) : m_str(other.Copy()) {}
    CComBSTR(CComBSTR&& other) noexcept : m_str(std::exchange(other.m_str, nullptr)) {}
    ~CComBSTR() { SysFreeString(m_str); }

    CComBSTR& operator=(const CComBSTR& other) {
        if (m_str != other.m_str) CComBSTR(other).swap(*this);
        return *this;
    }
    CComBSTR& operator=(CComBSTR&& other) noexcept {
        CComBSTR(std::move(other)).swap(*this);
        return *this;
    }
    CComBSTR& operator=(LPCOLESTR text) {
        if (text != m_str) CComBSTR(text).swap(*this);
        return *this;
    }

    operator BSTR() const noexcept { return m_str; }  // NOLINT(google-explicit-constructor)
    /// For out arguments; the string must be empty.
    BSTR* operator&() noexcept { return &m_str; }  // NOLINT(google-runtime-operator)
    bool operator!() const noexcept { return m_str == nullptr; }

    /// Code units before the terminator.
    unsigned Length() const noexcept { return SysStringLen(m_str); }
    unsigned ByteLength() const noexcept { return SysStringByteLen(m_str); }
    /// A fresh copy that the caller owns, embedded zeros included.
    BSTR Copy() const {
        if (!m_str) return nullptr;
        return checked(SysAllocStringByteLen(reinterpret_cast<const char*>(m_str), SysStringByteLen(m_str)), true);
    }
    HRESULT CopyTo(BSTR* target) const noexcept {
        if (!target) return E_POINTER;
        *target =
            m_str ? SysAllocStringByteLen(reinterpret_cast<const char*>(m_str), SysStringByteLen(m_str)) : nullptr;
        return m_str && !*target ? E_OUTOFMEMORY : S_OK;
    }
    void Attach(BSTR text) noexcept {
        if (m_str != text) SysFreeString(m_str);
        m_str = text;
    }
    BSTR Detach() noexcept { return std::exchange(m_str, nullptr); }
    void Empty() noexcept { SysFreeString(Detach()); }

    BSTR m_str = nullptr;

private:
    static BSTR checked(BSTR text, bool expected) {
        if (!text && expected) AtlThrow(E_OUTOFMEMORY);
        return text;
    }
    void swap(CComBSTR& other) noexcept { std::swap(m_str, other.m_str); }
};

/// Owns one VARIANT.
class CComVariant : public VARIANT {
public:
    CComVariant() noexcept { VariantInit(this); }
    CComVariant(const VARIANT& source) : CComVariant() { copyFrom(source); }  // NOLINT(google-explicit-constructor)
    CComVariant(const CComVariant& source) : CComVariant() { copyFrom(source); }
    CComVariant(CComVariant&& source) noexcept : VARIANT(source) { source.vt = VT_EMPTY; }
    CComVariant(LPCOLESTR text) : CComVariant() {  // NOLINT(google-explicit-constructor)
        bstrVal = SysAllocString(text);
        vt = VT_BSTR;
        if (!bstrVal && text) {
            vt = VT_EMPTY;
            AtlThrow(E_OUTOFMEMORY);
        }
    }
    CComVariant(const CComBSTR& text) : CComVariant() {  // NOLINT(google-explicit-constructor)
        bstrVal = text.Copy();
        vt = VT_BSTR;
    }
    explicit CComVariant(bool value) noexcept : CComVariant() {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    }
    explicit CComVariant(int value) noexcept : CComVariant() {
        vt = VT_I4;
        lVal = value;
    }
    explicit CComVariant(SHORT value) noexcept : CComVariant() {
        vt = VT_I2;
        iVal = value;
    }
    explicit CComVariant(LONGLONG value) noexcept : CComVariant() {
        vt = VT_I8;
        llVal = value;
    }
    explicit CComVariant(float value) noexcept : CComVariant() {
        vt = VT_R4;
        fltVal = value;
    }
    explicit CComVariant(double value, VARTYPE type = VT_R8) noexcept : CComVariant() {
        vt = type;
        dblVal = value;
    }
    ~CComVariant() { Clear(); }

    CComVariant& operator=(const CComVariant& source) {
        if (this != &source) copyFrom(source);
        return *this;
    }
    CComVariant& operator=(CComVariant&& source) noexcept {
        if (this != &source) {
            VariantClear(this);
            static_cast<VARIANT&>(*this) = source;
            source.vt = VT_EMPTY;
        }
        return *this;
    }

    HRESULT Clear() noexcept {
        if (vt >= VT_BSTR) return VariantClear(this);
        vt = VT_EMPTY;  // a number, a date or nothing: what most values are
        return S_OK;
    }
    HRESULT ChangeType(VARTYPE type, const VARIANT* source = nullptr) noexcept {
        return VariantChangeType(this, const_cast<VARIANT*>(source ? source : this), 0, type);
    }
    HRESULT Detach(VARIANT* target) noexcept {
        if (!target) return E_POINTER;
        const HRESULT hr = VariantClear(target);
        if (FAILED(hr)) return hr;
        *target = *this;
        vt = VT_EMPTY;
        return S_OK;
    }

private:
    void copyFrom(const VARIANT& source) {
        const HRESULT hr = VariantCopy(this, const_cast<VARIANT*>(&source));
        if (FAILED(hr)) AtlThrow(hr);
    }
};
