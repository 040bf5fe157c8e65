#pragma once

#include <string>

#include "platform/Windows.h"

#include <hstring.h>

namespace Platform {

// An immutable, reference-counted wide text as the Windows Runtime passes it (HSTRING). The null
// handle is the empty text. Copies share the text. A failure to make one is thrown as a platform
// exception.
class String {
public:
    String() noexcept = default;
    explicit String(const wchar_t* text);
    // Takes the whole length, a NUL inside included.
    explicit String(const std::wstring& text);
    String(const String& other);
    String(String&& other) noexcept;
    String& operator=(String other) noexcept;
    ~String();

    // The place for an out parameter; the old text is released.
    HSTRING* put() noexcept;
    // Borrowed: valid as long as this object.
    HSTRING get() const noexcept { return m_handle; }
    // Borrowed and terminated; never null.
    const wchar_t* text() const noexcept;
    std::wstring str() const;
    bool isEmpty() const noexcept { return m_handle == nullptr; }

    // Equal by 16-bit code unit.
    friend bool operator==(const String& left, const String& right);
    // Both texts, one behind the other.
    friend String operator+(const String& left, const String& right);

private:
    void assign(const wchar_t* text, size_t length);

    HSTRING m_handle = nullptr;
};

}  // namespace Platform
