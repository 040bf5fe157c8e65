#include <cstring>

#include "../Hook.h"
#include "Services.h"

namespace standin {

namespace {

HRESULT owned(HRESULT result, const HSTRING* text) {
    if (result == S_OK && *text != nullptr) Machine::get().ledger.handOut("string", *text);
    return result;
}

HRESULT WINAPI createString(PCWSTR text, UINT32 length, HSTRING* string) {
    return owned(::WindowsCreateString(text, length, string), string);
}

HRESULT WINAPI duplicateString(HSTRING string, HSTRING* copy) {
    return owned(::WindowsDuplicateString(string, copy), copy);
}

HRESULT WINAPI concatString(HSTRING a, HSTRING b, HSTRING* joined) {
    return owned(::WindowsConcatString(a, b, joined), joined);
}

// The last reference is gone: whoever looks at the text from now on shall see it. The string never
// returns to the heap, so that nothing else comes to stand at its place.
void bury(HSTRING string) {
    UINT32 length = 0;
    const wchar_t* const text = ::WindowsGetStringRawBuffer(string, &length);
    std::memset(const_cast<wchar_t*>(text), 0xDD, length * sizeof(wchar_t));
}

HRESULT WINAPI deleteString(HSTRING string) {
    Ledger& ledger = Machine::get().ledger;
    const bool wasDeleted = ledger.wasOut(string);
    const bool isKnown = ledger.giveBack(string);
    // Deleted once too often: the ledger has noted it, and the heap must not be harmed.
    if (wasDeleted) return S_OK;
    if (!isKnown || ledger.isOut(string)) return ::WindowsDeleteString(string);
    bury(string);
    return S_OK;
}

}  // namespace

void serveStrings() {
    serve<PlatformCall::WindowsCreateString>(&createString);
    serve<PlatformCall::WindowsDuplicateString>(&duplicateString);
    serve<PlatformCall::WindowsConcatString>(&concatString);
    serve<PlatformCall::WindowsDeleteString>(&deleteString);
}

}  // namespace standin
