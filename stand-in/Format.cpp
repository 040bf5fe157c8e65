#include "Format.h"

#include <cstdio>

#include "AccessLists.h"
#include "Machine.h"
#include "Text.h"

namespace standin {

namespace {

std::string printed(const char* format, unsigned long long value) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

}  // namespace

std::string quote(std::wstring_view text) {
    std::string quoted = "\"";
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        const bool isEnd = i == text.size();
        if (!isEnd && text[i] >= L' ') continue;
        quoted += toUtf8(text.substr(start, i - start));
        if (!isEnd) quoted += text[i] == 0 ? "\\0" : printed("\\u%04llX", text[i]);
        start = i + 1;
    }
    return quoted + '"';
}

std::string quote(const wchar_t* text) {
    return text == nullptr ? "null" : quote(std::wstring_view(text));
}

std::string quote(const char* text) {
    return text == nullptr ? "null" : '"' + std::string(text) + '"';
}

std::string hexText(uint64_t value) {
    return printed("0x%llX", value);
}

std::string hresultText(HRESULT result) {
    return result < 0 ? printed("0x%08llX", static_cast<uint32_t>(result)) : std::to_string(result);
}

std::string bytesText(const void* data, size_t size) {
    if (data == nullptr) return "null";
    std::string text = "[";
    for (size_t i = 0; i < size; ++i) {
        text += printed(i == 0 ? "%02llX" : " %02llX", static_cast<const unsigned char*>(data)[i]);
    }
    return text + "]";
}

std::string handleText(const void* handle) {
    if (handle == nullptr) return "null";
    const std::string name = Machine::get().ledger.nameOf(handle);
    if (!name.empty()) return name;
    return handle == INVALID_HANDLE_VALUE ? "-1" : "unknown";
}

std::string output(void** handle) {
    if (*handle == nullptr) return "null";
    // Not every pointer that comes back is something handed out: it may point into another block.
    const Ledger& ledger = Machine::get().ledger;
    return ledger.isOut(*handle) ? ledger.nameOf(*handle) : "out";
}

std::string keyText(HKEY key) {
    if (key == HKEY_CLASSES_ROOT) return "HKEY_CLASSES_ROOT";
    if (key == HKEY_CURRENT_USER) return "HKEY_CURRENT_USER";
    if (key == HKEY_LOCAL_MACHINE) return "HKEY_LOCAL_MACHINE";
    if (key == HKEY_USERS) return "HKEY_USERS";
    return handleText(key);
}

std::string hstringText(HSTRING text) {
    if (Machine::get().ledger.wasOut(text)) return handleText(text) + " (released)";
    UINT32 length = 0;
    const wchar_t* const raw = ::WindowsGetStringRawBuffer(text, &length);
    return quote(std::wstring_view(raw, length));
}

std::string guidText(const GUID& id) {
    wchar_t text[40] = {};
    ::StringFromGUID2(id, text, 40);
    return toUtf8(text);
}

std::string sidText(PSID sid) {
    if (sid == nullptr) return "null";
    wchar_t* text = nullptr;
    if (!::ConvertSidToStringSidW(sid, &text)) return "invalid SID";
    const std::string narrow = toUtf8(text);
    ::LocalFree(text);
    return narrow;
}

std::string accessListText(const ACL* list) {
    if (list == nullptr) return "null";
    const auto entries = entriesOf(list);
    return entries ? textOf(entries) : "invalid access list";
}

}  // namespace standin
