#pragma once

#include <string>
#include <vector>

#include "stand-in/MachineState.h"
#include "support/ScratchRegistry.h"

// How a user's registry hive stands on the machine.
enum class Hive {
    ShellFolders,      // loaded, with the folders of the user's last logon
    UserShellFolders,  // loaded, with folders that name the environment of whoever reads them
    NotLoaded,
};

struct WorldUser {
    std::wstring sid;
    std::wstring name;
    Hive hive;
};

// A stand-in machine with an older and a new package and their users' data: files below one folder,
// a private registry, and the machine's state. What is in it is the same every time.
// The profile folders lie directly in the world's folder, which must be as short as C:\\Users:
// where a path names another account's profile, the program tells its end by its place.
class World {
public:
    World(std::wstring folder, ScratchRegistry& registry);

    // The user, with a profile folder and an entry in the profile list.
    void addUser(const WorldUser& user);
    void setLoggedOn(const std::wstring& sid);
    // The user's data of the older package: listed files, folders, recent-files lists.
    void addOldPackageData(const WorldUser& user, int recentFiles = 1);
    // Plug-ins with settings and storages in the new package's folder, and a status file of another build.
    void addPlugins(const WorldUser& user);
    void addNewPackage(const std::vector<WorldUser>& users);
    // The new package's app container and another one, which is exempt from the loopback rule.
    void addAppContainers();
    void addOldPackage(const std::vector<WorldUser>& users, uint16_t minorVersion = 4);

    std::wstring path(const std::wstring& relative) const { return m_folder + L"\\" + relative; }
    std::wstring profile(const WorldUser& user) const { return path(user.name); }
    std::wstring localAppData(const WorldUser& user) const {
        return profile(user) + L"\\AppData\\Local";
    }
    std::wstring roaming(const WorldUser& user) const {
        return profile(user) + L"\\AppData\\Roaming";
    }
    std::wstring oldPackage(const WorldUser& user) const;
    std::wstring newPackage(const WorldUser& user) const;
    // Where the installer has put the executable.
    std::wstring installer() const { return path(L"Installer"); }
    std::wstring installFolder() const;

    ScratchRegistry& registry() const { return m_registry; }

    standin::MachineState state;

private:
    void addRecentFiles(HKEY root, const std::wstring& packagesKey, int count);

    std::wstring m_folder;
    ScratchRegistry& m_registry;
};

extern const WorldUser kAnna;   // the user who is logged on
extern const WorldUser kBjorn;  // with a name that is not ASCII
extern const WorldUser kChen;
inline constexpr wchar_t kAdministratorSid[] = L"S-1-5-21-1000-2000-3000-500";

// One user logged on, a second one known; the configurator runs as another account.
void makeTypicalWorld(World& world);
// Three users, one of them without a loaded hive.
void makeEnterpriseWorld(World& world);

// All that the world holds, as text for a comparison of before and after.
std::string describe(const World& world);
