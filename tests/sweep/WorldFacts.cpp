#include "sweep/WorldFacts.h"

#include <algorithm>
#include <cstring>

#include "stand-in/Text.h"

namespace {

using standin::toUtf8;

std::vector<std::string> argumentsOf(const World& world, const std::wstring& tail) {
    std::vector<std::string> arguments = {toUtf8(world.installer() + L"\\LSDKConfigurator.exe")};
    const std::string text = toUtf8(tail);
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(' ', begin), text.size());
        arguments.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return arguments;
}

// A value as the run reads it: texts that name the environment are expanded in the run's own.
std::wstring textOf(const World& world, const RegistryValue& value) {
    std::wstring text(value.bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(wchar_t));
    text.erase(std::find(text.begin(), text.end(), L'\0'), text.end());
    const std::wstring profile = L"%USERPROFILE%";
    if (value.type == REG_EXPAND_SZ && text.starts_with(profile))
        text = world.path(L"admin") + text.substr(profile.size());
    return text;
}

void addTexts(const World& world, HKEY root, const std::wstring& rootName, const std::wstring& path,
              RunFacts& facts) {
    for (const auto& [name, value] : world.registry().values(root, path)) {
        if (value.type != REG_SZ && value.type != REG_EXPAND_SZ) continue;
        facts.registryTexts[toUtf8(rootName + L"\\" + path + L"\\" + name)] = toUtf8(
            textOf(world, value));
    }
    for (const std::wstring& name : world.registry().subKeys(root, path))
        addTexts(world, root, rootName, path.empty() ? name : path + L"\\" + name, facts);
}

std::string versionText(const standin::PackageVersionNumbers& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.build) + "." + std::to_string(version.revision);
}

void addPackages(const standin::MachineState& state, RunFacts& facts) {
    for (const standin::InstalledPackage& package : state.packages) {
        PackageFacts known;
        known.name = toUtf8(package.name);
        known.publisher = toUtf8(package.publisher);
        known.version = versionText(package.version);
        known.fullName = toUtf8(package.fullName);
        known.familyName = toUtf8(package.familyName);
        known.installPath = toUtf8(package.installPath);
        for (const std::wstring& user : package.users)
            known.users.push_back(toUtf8(user));
        facts.packages.push_back(known);
    }
}

void addNetwork(const standin::NetworkIsolation& network, RunFacts& facts) {
    for (const standin::AppContainer& container : network.containers) {
        facts.containers.push_back(
            {toUtf8(container.name.value_or(L"")), toUtf8(container.displayName.value_or(L"")),
             toUtf8(container.packageFullName.value_or(L"")), toUtf8(container.sid)});
    }
    for (const standin::ExemptSid& exempt : network.exempt) {
        char attributes[32];
        std::snprintf(attributes, sizeof(attributes), " attributes 0x%X", exempt.attributes);
        facts.exemptSids.push_back(toUtf8(exempt.sid) + attributes);
    }
}

}  // namespace

RunFacts factsOf(const World& world, const std::map<std::wstring, std::string>& tree,
                 const std::wstring& arguments) {
    RunFacts facts;
    facts.arguments = argumentsOf(world, arguments);
    for (const auto& [name, bytes] : tree) {
        std::string path = toUtf8(world.path(name));
        const bool isFolder = path.ends_with('\\');
        if (isFolder) path.pop_back();
        facts.entries[path] = isFolder;
        if (name.ends_with(L"\\.pluginsMigrationStatus.json")) facts.pluginStatusText = bytes;
    }
    addTexts(world, HKEY_LOCAL_MACHINE, L"HKEY_LOCAL_MACHINE", L"", facts);
    addTexts(world, HKEY_CLASSES_ROOT, L"HKEY_CLASSES_ROOT", L"", facts);
    addTexts(world, HKEY_USERS, L"HKEY_USERS", L"", facts);
    addPackages(world.state, facts);
    if (world.state.network) addNetwork(*world.state.network, facts);
    return facts;
}
