#include "Object.h"

#include <vector>

namespace standin {

namespace {

std::vector<std::unique_ptr<KeptObject>>& keptObjects() {
    static auto& objects = *new std::vector<std::unique_ptr<KeptObject>>;
    return objects;
}

}  // namespace

void keepObject(std::unique_ptr<KeptObject> object) {
    const std::scoped_lock guard(Machine::get().lock());
    keptObjects().push_back(std::move(object));
}

void buryObjects() {
    keptObjects().clear();
}

std::wstring textOf(HSTRING text) {
    Ledger& ledger = Machine::get().ledger;
    if (ledger.wasOut(text)) {
        ledger.noteMisuse("argument " + ledger.nameOf(text) + ", which was released");
        return {};
    }
    UINT32 length = 0;
    const wchar_t* const raw = ::WindowsGetStringRawBuffer(text, &length);
    return {raw, length};
}

HRESULT giveString(const std::wstring& text, HSTRING* value) {
    if (value == nullptr) return E_POINTER;
    const HRESULT result = ::WindowsCreateString(text.c_str(), static_cast<UINT32>(text.size()),
                                                 value);
    if (result == S_OK && *value != nullptr) Machine::get().ledger.handOut("string", *value);
    return result;
}

}  // namespace standin
