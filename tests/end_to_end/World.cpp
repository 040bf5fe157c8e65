#include "end_to_end/World.h"

#include <utility>

#include "support/Files.h"

namespace {

constexpr wchar_t kOldFamily[] = L"Velta.LC.QK_qzw4mhtrvb2ne";
constexpr wchar_t kNewFamily[] = L"Velta.QK_kt83f9rd2xj6a";
constexpr wchar_t kAppModel[] =
    L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData";
constexpr wchar_t kProfileList[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
constexpr wchar_t kExplorer[] = L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";

constexpr wchar_t kCurrentPublisher[] =
    L"CN=Velta Inc., OU=Velta Inc., O=Velta Inc., L=Port Alder, S=ca, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US";
constexpr wchar_t kLegacyPublisher[] =
    L"CN=Velta Systems Incorporated, OU=Velta Systems, O=Velta Systems Incorporated, L=Port Alder, S=Norvale, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US";

const wchar_t* const kHardenedFiles[] = {L"LumoraSDKAppServiceClient.exe",
                                         L"TraceRelay2.exe",
                                         L"LogSession.dll",
                                         L"FerroxMessage5.dll",
                                         L"VeltaPIP.dll",
                                         L"FerroxControl.dll",
                                         L"ucrtbased.dll"};

constexpr int kProfile = 0x28;
constexpr int kAppData = 0x1A;
constexpr int kCommonFiles = 0x2B;

std::vector<std::wstring> sidsOf(const std::vector<WorldUser>& users) {
    std::vector<std::wstring> sids;
    for (const WorldUser& user : users)
        sids.push_back(user.sid);
    return sids;
}

}  // namespace

const WorldUser kAnna = {L"S-1-5-21-1000-2000-3000-1001", L"anna", Hive::ShellFolders};
const WorldUser kBjorn = {L"S-1-5-21-1000-2000-3000-1002", L"bj\u00F6rn", Hive::UserShellFolders};
const WorldUser kChen = {L"S-1-5-21-1000-2000-3000-1003", L"chen", Hive::NotLoaded};

World::World(std::wstring folder, ScratchRegistry& registry)
    : m_folder(std::move(folder)), m_registry(registry) {
    state.registryRoot = registry.root();
    state.tokenUser = kAdministratorSid;
    state.folders[kProfile] = {path(L"admin")};
    state.folders[kAppData] = {path(L"admin\\AppData\\Roaming")};
    state.folders[kCommonFiles] = {path(L"Program Files\\Common Files")};
    makeFolder(path(L"admin\\AppData\\Roaming"));
    // Where the product puts its companion; a start in a folder that is missing fails.
    makeFolder(path(L"Program Files\\Common Files\\Velta\\Velta QK"));
    makeFolder(installer());
    // Every machine has it; where it is missing, Wine adds it in the middle of a run.
    m_registry.setText(HKEY_LOCAL_MACHINE, kProfileList, L"ProfilesDirectory", L"C:\\users",
                       REG_EXPAND_SZ);
    m_registry.setText(HKEY_LOCAL_MACHINE, std::wstring(kProfileList) + L"\\S-1-5-18",
                       L"ProfileImagePath", L"C:\\windows\\system32\\config\\systemprofile");
}

std::wstring World::oldPackage(const WorldUser& user) const {
    return localAppData(user) + L"\\Packages\\" + kOldFamily;
}
std::wstring World::newPackage(const WorldUser& user) const {
    return localAppData(user) + L"\\Packages\\" + kNewFamily;
}
std::wstring World::installFolder() const {
    return path(L"Program Files\\WindowsApps\\Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a");
}

void World::addUser(const WorldUser& user) {
    m_registry.setText(HKEY_LOCAL_MACHINE, std::wstring(kProfileList) + L"\\" + user.sid,
                       L"ProfileImagePath", profile(user), REG_EXPAND_SZ);
    makeFolder(localAppData(user) + L"\\Packages");
    makeFolder(roaming(user));
    if (user.hive == Hive::NotLoaded) return;

    m_registry.loadHive(user.sid);
    if (user.hive == Hive::ShellFolders) {
        const std::wstring key = user.sid + kExplorer + L"Shell Folders";
        m_registry.setText(HKEY_USERS, key, L"Local AppData", localAppData(user));
        m_registry.setText(HKEY_USERS, key, L"AppData", roaming(user));
    } else {
        const std::wstring key = user.sid + kExplorer + L"User Shell Folders";
        m_registry.setText(HKEY_USERS, key, L"Local AppData", L"%USERPROFILE%\\AppData\\Local",
                           REG_EXPAND_SZ);
        m_registry.setText(HKEY_USERS, key, L"AppData", L"%USERPROFILE%\\AppData\\Roaming",
                           REG_EXPAND_SZ);
    }
}

void World::setLoggedOn(const std::wstring& sid) {
    state.desktop.emplace().user = sid;
    m_registry.setText(HKEY_LOCAL_MACHINE,
                       L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI",
                       L"SelectedUserSID", sid);
}

void World::addOldPackageData(const WorldUser& user, int recentFiles) {
    const std::wstring localState = oldPackage(user) + L"\\LocalState";
    writeFile(localState + L"\\preferences.json", "{\"theme\":\"dark\"}");
    writeFile(oldPackage(user) + L"\\Settings\\settings.dat", std::string("regf\0\1\2", 7));
    writeFile(localState + L"\\stray.txt", "stays behind");
    writeFile(localState + L"\\drafts\\Entwurf \u00FC.qk", "draft");
    writeFile(localState + L"\\drafts\\nested\\deep\\page 1.qk", "page");
    writeFile(localState + L"\\drafts\\VCPLocalLogs\\kept.log", "one level deeper it is data");
    // Beyond what the log can encode; files that are copied are not logged.
    writeFile(localState + L"\\drafts\\\u65E5\u672C\u8A9E.qk", "text");
    writeFile(localState + L"\\Skizzen f\u00FCr sp\u00E4ter\\a.qk", "sketch");
    makeFolder(localState + L"\\empty");
    writeFile(localState + L"\\VCPLocalLogs\\session.log", "not carried over");
    makeFolder(newPackage(user) + L"\\LocalState");
    if (user.hive != Hive::NotLoaded)
        addRecentFiles(HKEY_USERS, user.sid + L"\\SOFTWARE\\Classes\\" + kAppModel, recentFiles);
    addRecentFiles(HKEY_CLASSES_ROOT, kAppModel, recentFiles);
}

void World::addRecentFiles(HKEY root, const std::wstring& packagesKey, int count) {
    const std::wstring table = packagesKey + L"\\" + kOldFamily + L"\\PersistedStorageItemTable\\";
    for (const wchar_t* list : {L"MostRecentlyUsed", L"ManagedByApp"}) {
        for (int i = 1; i <= count; ++i) {
            const std::wstring entry = table + list + L"\\{7C1F0B6E-000" + std::to_wstring(i) + L"}";
            m_registry.setText(root, entry, L"FilePath",
                               L"C:\\Packages\\" + std::wstring(kOldFamily) + L"\\a.qk");
            m_registry.setText(root, entry, L"Metadata", L"plain");
            m_registry.setText(root, entry, L"PackageFamilyName", kOldFamily);
        }
    }
}

void World::addPlugins(const WorldUser& user) {
    const std::wstring localState = newPackage(user) + L"\\LocalState";
    writeFile(localState + L"\\plugins\\Ruler\\main.js", "ruler");
    writeFile(localState + L"\\plugins\\Ruler\\icons\\ruler.png", "png");
    writeFile(localState + L"\\plugins\\F\u00FCller\\main.js", "ink");
    writeFile(localState + L"\\plugin_settings\\Ruler\\settings.json", "{\"unit\":\"mm\"}");
    writeFile(localState + L"\\plugin_settings\\Ruler\\LocalStorage\\data.bin", "local");
    writeFile(localState + L"\\plugin_settings\\Ruler\\SecureStorage\\key.bin", "secure");
    const std::wstring status = roaming(user) +
                                L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    writeFile(
        status,
        "{\"ZRKLBE\":{\"appVersion\":\"40.0.0.0\",\"status\":0,\"migrated\":[],\"failed\":[]}}");
    setAttributes(status, FILE_ATTRIBUTE_HIDDEN);
}

void World::addNewPackage(const std::vector<WorldUser>& users) {
    for (const wchar_t* file : kHardenedFiles)
        writeFile(installFolder() + L"\\" + file, "program");
    standin::InstalledPackage package;
    package.name = L"Velta.QK";
    package.publisher = kCurrentPublisher;
    package.version = {40, 1, 0, 0};
    package.fullName = L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a";
    package.familyName = kNewFamily;
    package.installPath = installFolder();
    package.users = sidsOf(users);
    state.packages.push_back(package);
}

void World::addOldPackage(const std::vector<WorldUser>& users, uint16_t minorVersion) {
    standin::InstalledPackage package;
    package.name = L"Velta.LC.QK";
    package.publisher = kLegacyPublisher;
    package.version = {39, minorVersion, 0, 0};
    package.fullName = L"Velta.LC.QK_39." + std::to_wstring(minorVersion) +
                       L".0.0_x64__qzw4mhtrvb2ne";
    package.familyName = kOldFamily;
    package.installPath = path(L"Program Files\\WindowsApps\\" + package.fullName);
    package.users = sidsOf(users);
    // For whoever logs on for the first time.
    package.isProvisioned = users.size() > 1;
    state.packages.push_back(package);
}

void World::addAppContainers() {
    state.network.emplace();
    state.network->containers.push_back({L"other.app_8wekyb3d8bbwe", L"Other",
                                         L"Other.App_1.0.0.0_x64__8wekyb3d8bbwe",
                                         L"S-1-15-2-9-9-9-9-9-9-9"});
    // Names of containers are in lower case.
    state.network->containers.push_back({L"velta.qk_kt83f9rd2xj6a", L"Quick",
                                         L"Velta.QK_40.1.0.0_x64__kt83f9rd2xj6a",
                                         L"S-1-15-2-1-2-3-4-5-6-7"});
    state.network->exempt.push_back({L"S-1-15-2-9-9-9-9-9-9-9"});
}

void makeTypicalWorld(World& world) {
    world.addUser(kAnna);
    world.addUser(kBjorn);
    world.setLoggedOn(kAnna.sid);
    world.addOldPackageData(kAnna);
    world.addPlugins(kAnna);
    world.addOldPackage({kAnna});
    world.addNewPackage({kAnna});
    world.addAppContainers();
}

void makeEnterpriseWorld(World& world) {
    const std::vector<WorldUser> users = {kAnna, kBjorn, kChen};
    for (const WorldUser& user : users) {
        world.addUser(user);
        world.addOldPackageData(user);
    }
    world.setLoggedOn(kAnna.sid);
    world.addPlugins(kAnna);
    world.addOldPackage(users);
    world.addNewPackage(users);
    world.addAppContainers();
}
