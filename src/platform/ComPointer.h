#pragma once

#include <utility>

#include "platform/Windows.h"

#include <unknwn.h>

// The id of an interface: its own `kId`, or what the Windows headers attach to theirs.
template <typename Interface>
const IID& interfaceId() noexcept {
    if constexpr (requires { Interface::kId; }) {
        return Interface::kId;
    } else {
        return __uuidof(Interface);  // cppcheck-suppress returnTempReference
    }
}

// Throws Platform::NullReferenceException.
[[noreturn]] void throwNullReference();

// Owns one reference to a COM object; null is empty. Using an empty one throws
// Platform::NullReferenceException.
template <typename Interface>
class ComPointer {
public:
    ComPointer() noexcept = default;
    ComPointer(const ComPointer& other) noexcept : m_object(other.m_object) {
        if (m_object) m_object->AddRef();
    }
    ComPointer(ComPointer&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComPointer& operator=(ComPointer other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComPointer() { reset(); }

    // Takes over a reference that the caller owns.
    static ComPointer adopt(Interface* object) noexcept {
        ComPointer pointer;
        pointer.m_object = object;
        return pointer;
    }

    void reset() noexcept {
        if (Interface* object = std::exchange(m_object, nullptr)) object->Release();
    }

    // The place for a function's out parameter; what was held before is released.
    Interface** put() noexcept {
        reset();
        return &m_object;
    }
    void** putVoid() noexcept { return reinterpret_cast<void**>(put()); }

    Interface* get() const noexcept { return m_object; }
    Interface* operator->() const {
        if (!m_object) throwNullReference();
        return m_object;
    }
    explicit operator bool() const noexcept { return m_object != nullptr; }

    template <typename Other>
    HRESULT query(ComPointer<Other>& other) const {
        return (*this)->QueryInterface(interfaceId<Other>(), other.putVoid());
    }

private:
    Interface* m_object = nullptr;
};
