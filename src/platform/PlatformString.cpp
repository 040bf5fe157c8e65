#include "platform/PlatformString.h"

#include <cwchar>
#include <utility>

#include <winstring.h>

#include "platform/PlatformException.h"

namespace Platform {

String::String(const wchar_t* text) {
    assign(text, std::wcslen(text));
}

String::String(const std::wstring& text) {
    assign(text.c_str(), text.size());
}

String::String(const String& other) {
    ThrowForHResult(::WindowsDuplicateString(other.m_handle, &m_handle));
}

String::String(String&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}

String& String::operator=(String other) noexcept {
    std::swap(m_handle, other.m_handle);
    return *this;
}

String::~String() {
    ::WindowsDeleteString(m_handle);
}

HSTRING* String::put() noexcept {
    ::WindowsDeleteString(std::exchange(m_handle, nullptr));
    return &m_handle;
}

const wchar_t* String::text() const noexcept {
    return ::WindowsGetStringRawBuffer(m_handle, nullptr);
}

std::wstring String::str() const {
    UINT32 length = 0;
    const wchar_t* text = ::WindowsGetStringRawBuffer(m_handle, &length);
    return std::wstring(text, length);
}

bool operator==(const String& left, const String& right) {
    INT32 order = 0;
    ThrowForHResult(::WindowsCompareStringOrdinal(left.m_handle, right.m_handle, &order));
    return order == 0;
}

String operator+(const String& left, const String& right) {
    String both;
    ThrowForHResult(::WindowsConcatString(left.m_handle, right.m_handle, both.put()));
    return both;
}

// A reference to the caller's text lives on this stack only; its duplicate is a copy of its own.
void String::assign(const wchar_t* text, size_t length) {
    HSTRING_HEADER header;
    HSTRING reference = nullptr;
    ThrowForHResult(
        ::WindowsCreateStringReference(text, static_cast<UINT32>(length), &header, &reference));
    ThrowForHResult(::WindowsDuplicateString(reference, &m_handle));
}

}  // namespace Platform
