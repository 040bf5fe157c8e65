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

HRESULT WINAPI deleteString(HSTRING string) {
    Ledger& ledger = Machine::get().ledger;
    const bool wasDeleted = ledger.wasOut(string);
    ledger.giveBack(string);
    // Deleted once too often: the ledger has noted it, and the heap must not be harmed.
    return wasDeleted ? S_OK : ::WindowsDeleteString(string);
}

}  // namespace

void serveStrings() {
    serve<PlatformCall::WindowsCreateString>(&createString);
    serve<PlatformCall::WindowsDuplicateString>(&duplicateString);
    serve<PlatformCall::WindowsConcatString>(&concatString);
    serve<PlatformCall::WindowsDeleteString>(&deleteString);
}

}  // namespace standin
