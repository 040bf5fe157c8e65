#include "run/ConfiguratorRun.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr wchar_t kPublisher[] =
    L"CN=Velta Inc., OU=Velta Inc., O=Velta Inc., L=Port Alder, S=ca, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US";
constexpr wchar_t kLogonUi[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
constexpr wchar_t kProfileList[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
constexpr wchar_t kShellFolders[] =
    L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

constexpr int kAppData = 0x1A;
constexpr int kProfile = 0x28;
constexpr int kCommonFiles = 0x2B;

// A call that holds all of these texts shows that step.
struct Sign {
    const char* step;
    std::vector<std::string> texts;
};

const std::vector<Sign>& signs() {
    static const std::vector<Sign> signs = {
        {"first line", {"_write", "] Starting with : "}},
        {"privileges", {"OpenProcessToken(-1, 0x28, "}},
        {"usage", {"_write", "] Use it like below :"}},
        {"enterprise flag", {"_write", "] isEnterpriseDeployment from arg is:"}},
        {"account", {"GetTokenInformation("}},
        {"migrator", {"_write", "] Build Type '"}},
        {"migration", {"_write", "] App Data Migration not needed"}},
        {"migration", {"_write", "] Migration started"}},
        {"older packages", {"FindPackagesByUserSecurityIdNamePublisher("}},
        {"older packages", {"FindPackagesByNamePublisher(", "CN=Velta Systems"}},
        {"package lookup", {"FindPackagesByNamePublisher(", "CN=Velta Inc."}},
        {"debug runtime", {"PathFileExistsW(", "\\ucrtbased.dll"}},
        {"users SID", {"CreateWellKnownSid(27, "}},
        {"system SID", {"CreateWellKnownSid(22, "}},
        {"files", {"_write", "] fullpath is "}},
        {"container folders", {"\\MeshSync"}},
        {"loopback", {"LoadLibraryW(\"Firewallapi.dll\")"}},
        {"common files", {"SHGetFolderPathW(null, 0x2B, "}},
        {"user folders", {"\\WPI\\WPIC"}},
        {"plug-ins", {"_write", "] migrationStatusFileFullPath = "}},
        {"crash dumps", {"RegCreateKeyExW(", "LocalDumps"}},
        {"end of COM", {"CoUninitialize()"}},
        {"end of the token", {"CloseHandle(token#"}},
    };
    return signs;
}

bool holds(const std::string& call, const Sign& sign) {
    return std::all_of(sign.texts.begin(), sign.texts.end(), [&](const std::string& text) {
        return call.find(text) != std::string::npos;
    });
}

void installPackage(standin::MachineState& state, const std::wstring& folder) {
    standin::InstalledPackage package;
    package.name = L"Velta.QK";
    package.publisher = kPublisher;
    package.version = {40, 1, 0, 0};
    package.fullName = L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a";
    package.familyName = kFamilyName;
    package.installPath = folder;
    package.users = {kUserSid};
    state.packages.push_back(package);
    for (const wchar_t* file :
         {L"LumoraSDKAppServiceClient.exe", L"TraceRelay2.exe", L"LogSession.dll",
          L"FerroxMessage5.dll", L"VeltaPIP.dll", L"FerroxControl.dll"}) {
        writeFile(folder + L"\\" + file, "program");
    }
}

}  // namespace

void makeMachine(standin::MachineState& state, const ScratchFolder& scratch,
                 ScratchRegistry& registry) {
    state.registryRoot = registry.root();
    state.tokenUser = kUserSid;
    state.folders[kProfile] = {scratch / L"admin"};
    state.folders[kAppData] = {scratch / L"Roaming"};
    state.folders[kCommonFiles] = {scratch / L"Common"};
    makeFolder(scratch / L"Roaming");
    makeFolder(scratch / L"Common");
    registry.setText(HKEY_LOCAL_MACHINE, kLogonUi, L"SelectedUserSID", kUserSid);
    installPackage(state, scratch / L"Package");
    state.network.emplace();
    state.network->containers.push_back(
        {kFamilyName, L"QK", L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a", L"S-1-15-2-1-2-3-4-5-6-7"});
}

void addProfile(const ScratchFolder& scratch, ScratchRegistry& registry) {
    const std::wstring profile = scratch / L"anna";
    makeFolder(profile + L"\\Local\\Packages");
    makeFolder(profile + L"\\Roaming");
    registry.setText(HKEY_LOCAL_MACHINE, std::wstring(kProfileList) + L"\\" + kUserSid,
                     L"ProfileImagePath", profile);
    registry.loadHive(kUserSid);
    const std::wstring key = std::wstring(kUserSid) + kShellFolders;
    registry.setText(HKEY_USERS, key, L"Local AppData", profile + L"\\Local");
    registry.setText(HKEY_USERS, key, L"AppData", profile + L"\\Roaming");
}

std::vector<std::string> stepsOf(const std::vector<std::string>& calls) {
    std::vector<std::string> steps;
    for (const std::string& call : calls) {
        for (const Sign& sign : signs()) {
            if (holds(call, sign) && (steps.empty() || steps.back() != sign.step))
                steps.emplace_back(sign.step);
        }
    }
    return steps;
}

std::vector<std::string> neverReleased(const std::vector<std::string>& leaks) {
    std::vector<std::string> names;
    std::copy_if(leaks.begin(), leaks.end(), std::back_inserter(names), [](const std::string& name) {
        return name == "memory#1" || name.starts_with("lost descriptor");
    });
    return names;
}

void ConfiguratorRun::TearDown() {
    mounted.expectLeaks(neverReleased(machine.ledger.leaks()));
}

int ConfiguratorRun::run(std::initializer_list<const wchar_t*> arguments) {
    Platform::Array args;
    for (const wchar_t* argument : arguments)
        args.emplace_back(argument);
    machine.trace.clear();
    return runConfigurator(args);
}

int ConfiguratorRun::runTypically(const wchar_t* enterpriseFlag) {
    if (enterpriseFlag == nullptr)
        return run({L"C:\\LSDKConfigurator.exe", L"40.1.0.0", L"Velta.QK", L"QK.exe", L"ZRKL"});
    return run({L"C:\\LSDKConfigurator.exe", L"40.1.0.0", L"Velta.QK", L"QK.exe", L"ZRKL",
                enterpriseFlag});
}
