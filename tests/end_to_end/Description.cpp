#include <cstdio>
#include <cstring>

#include "end_to_end/World.h"
#include "stand-in/FileSecurity.h"
#include "stand-in/Text.h"
#include "support/Files.h"

namespace {

using standin::toUtf8;

std::string hexOf(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02x ", static_cast<unsigned char>(byte));
        text += digits;
    }
    return text;
}

bool isPlainText(const std::string& bytes) {
    for (const char byte : bytes) {
        if (static_cast<unsigned char>(byte) < 0x20 && byte != '\n') return false;
    }
    return true;
}

std::string describeValue(const RegistryValue& value) {
    if (value.type == REG_SZ || value.type == REG_EXPAND_SZ) {
        std::wstring text(value.bytes.size() / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(wchar_t));
        if (text.ends_with(L'\0')) text.pop_back();
        return (value.type == REG_SZ ? "REG_SZ " : "REG_EXPAND_SZ ") + toUtf8(text);
    }
    return "type " + std::to_string(value.type) + ": " + hexOf(value.bytes);
}

void describeKey(const ScratchRegistry& registry, HKEY root, const std::string& rootName,
                 const std::wstring& path, std::string& text) {
    text += rootName + "\\" + toUtf8(path) + "\n";
    for (const auto& [name, value] : registry.values(root, path))
        text += "    " + toUtf8(name) + " = " + describeValue(value) + "\n";
    for (const std::wstring& name : registry.subKeys(root, path)) {
        describeKey(registry, root, rootName, path.empty() ? name : path + L"\\" + name, text);
    }
}

std::string describeFiles(const World& world) {
    std::string text;
    for (const auto& [name, bytes] : listTree(world.path(L""))) {
        text += toUtf8(name);
        if ((attributesOf(world.path(name)) & FILE_ATTRIBUTE_HIDDEN) != 0) text += " (hidden)";
        if (!name.ends_with(L'\\')) {
            text += bytes.size() < 500 && isPlainText(bytes)
                        ? ": " + bytes
                        : ": " + std::to_string(bytes.size()) + " bytes";
        }
        text += "\n";
    }
    return text;
}

std::string describeMachine(const standin::MachineState& state) {
    std::string text;
    for (const standin::InstalledPackage& package : state.packages) {
        text += "package " + toUtf8(package.fullName) +
                (package.isProvisioned ? " (provisioned)" : "") + "\n";
        for (const std::wstring& user : package.users)
            text += "    for " + toUtf8(user) + "\n";
    }
    if (state.network) {
        for (const standin::ExemptSid& exempt : state.network->exempt)
            text += "exempt from the loopback rule: " + toUtf8(exempt.sid) + "\n";
    }
    for (const auto& [path, security] : state.fileSecurity)
        text += "security of " + toUtf8(path) + "\n" + standin::textOf(security) + "\n";
    return text;
}

}  // namespace

std::string describe(const World& world) {
    std::string text = "Files\n" + describeFiles(world) + "\nRegistry\n";
    describeKey(world.registry(), HKEY_LOCAL_MACHINE, "HKEY_LOCAL_MACHINE", L"", text);
    describeKey(world.registry(), HKEY_USERS, "HKEY_USERS", L"", text);
    return text + "\nMachine\n" + describeMachine(world.state);
}
