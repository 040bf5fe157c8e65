#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "stand-in/Windows.h"

// Classes of the Windows Runtime as a program meets them: interface ids, and methods by their place in the table.

template <size_t Slot, typename... A>
HRESULT callSlot(void* object, A... arguments) {
    using Method = HRESULT(STDMETHODCALLTYPE*)(void*, A...);
    return reinterpret_cast<Method>((*static_cast<void***>(object))[Slot])(object, arguments...);
}

// One reference to an object; given back at the end.
class Reference {
public:
    Reference() = default;
    explicit Reference(void* object) : m_object(object) {}
    Reference(Reference&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
    ~Reference() {
        if (m_object != nullptr) static_cast<IUnknown*>(m_object)->Release();
    }

    void* get() const { return m_object; }
    void** put() { return &m_object; }

    template <size_t Slot, typename... A>
    HRESULT call(A... arguments) const {
        return callSlot<Slot>(m_object, arguments...);
    }
    // Empty if the object has no such interface.
    Reference as(const GUID& iid) const {
        Reference other;
        static_cast<IUnknown*>(m_object)->QueryInterface(iid, other.put());
        return other;
    }

private:
    void* m_object = nullptr;
};

// A string that is passed to a method.
class Text {
public:
    explicit Text(std::wstring_view text) {
        ::WindowsCreateString(text.data(), static_cast<UINT32>(text.size()), &m_text);
    }
    ~Text() { ::WindowsDeleteString(m_text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    HSTRING get() const { return m_text; }

private:
    HSTRING m_text = nullptr;
};

// The text that a method gives whose last argument is its result.
template <size_t Slot, typename... A>
std::wstring textAt(const Reference& object, A... arguments) {
    HSTRING text = nullptr;
    if (FAILED(object.call<Slot>(arguments..., &text))) return L"failed";
    UINT32 length = 0;
    const wchar_t* const raw = ::WindowsGetStringRawBuffer(text, &length);
    std::wstring wide(raw, length);
    ::WindowsDeleteString(text);
    return wide;
}

// An interface of the activation factory of a class.
inline Reference factoryOf(std::wstring_view className, const GUID& iid) {
    const Text name(className);
    Reference factory;
    ::RoGetActivationFactory(name.get(), iid, factory.put());
    return factory;
}
