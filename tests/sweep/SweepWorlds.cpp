#include "sweep/SweepWorlds.h"

#include <stdexcept>

#include "model/TraceReader.h"
#include "stand-in/Text.h"
#include "support/Files.h"

namespace {

constexpr int kRecentFiles = 3;
constexpr unsigned long long kSecondsFrom1601 = 11644473600;

// What all worlds of the sweeps share: the clock of the model, and four app containers.
void furnish(World& world) {
    world.state.clock = (kClock + kSecondsFrom1601) * 10000000;
    world.addAppContainers();
    for (const wchar_t* name : {L"third", L"fourth"}) {
        world.state.network->containers.push_back(
            {std::wstring(name) + L".app_8wekyb3d8bbwe", name, std::wstring(name) + L".App",
             L"S-1-15-2-8-8-8-8-8-8-" + std::to_wstring(world.state.network->containers.size())});
    }
}

// Both plug-ins with settings and both storages, two entries in each folder: half of one is none or all.
void addPluginsWithStorages(World& world, const WorldUser& user) {
    world.addPlugins(user);
    const std::wstring localState = world.newPackage(user) + L"\\LocalState\\";
    writeFile(localState + L"plugins\\F\u00FCller\\nib.js", "nib");
    const std::wstring settings = localState + L"plugin_settings\\F\u00FCller\\";
    writeFile(settings + L"settings.json", "{\"ink\":2}");
    writeFile(settings + L"LocalStorage\\data.bin", "local ink");
    writeFile(settings + L"SecureStorage\\key.bin", "secure ink");
    for (const std::wstring name : {L"F\u00FCller", L"Ruler"}) {
        for (const std::wstring storage : {L"\\LocalStorage", L"\\SecureStorage"})
            writeFile(localState + L"plugin_settings\\" + name + storage + L"\\more.bin",
                      standin::toUtf8(name + storage));
    }
}

void makeTypical(World& world) {
    furnish(world);
    world.addUser(kAnna);
    world.addUser(kBjorn);
    world.setLoggedOn(kAnna.sid);
    world.addOldPackageData(kAnna, kRecentFiles);
    addPluginsWithStorages(world, kAnna);
    world.addOldPackage({kAnna});
    world.addOldPackage({kAnna}, 5);
    world.addNewPackage({kAnna});
}

void makeEnterprise(World& world) {
    furnish(world);
    const std::vector<WorldUser> users = {kAnna, kBjorn, kChen};
    for (const WorldUser& user : users) {
        world.addUser(user);
        world.addOldPackageData(user, kRecentFiles);
    }
    world.setLoggedOn(kAnna.sid);
    addPluginsWithStorages(world, kAnna);
    world.addOldPackage(users);
    world.addOldPackage(users, 5);
    world.addNewPackage(users);
}

// App data that was carried over before, and a plug-in status file from before version 39.
void makeOldStatus(World& world) {
    makeTypical(world);
    writeFile(world.newPackage(kAnna) + L"\\LocalState\\mig_status.json", "{\n}\n");
    const std::wstring status = world.roaming(kAnna) +
                                L"\\Velta\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
    setAttributes(status, FILE_ATTRIBUTE_NORMAL);
    writeFile(status,
              "{\"ZRKL\":{\"appVersion\":\"38.2.0\",\"status\":0,\"migrated\":[],\"failed\":[]},"
              "\"ZRKLBE\":{\"appVersion\":\"40.0.0.0\",\"status\":0,\"migrated\":[],\"failed\":[]}}");
    setAttributes(status, FILE_ATTRIBUTE_HIDDEN);
    // The run is the desktop user's own.
    world.state.tokenUser = kAnna.sid;
}

}  // namespace

const std::vector<SweepWorld>& sweepWorlds() {
    const std::wstring typical = L"40.1.0.0 Velta.QK QK.exe ZRKL";
    static const std::vector<SweepWorld> worlds = {
        {"typical", typical, false, {kAnna, kBjorn}, &makeTypical},
        {"enterprise", typical + L" True", true, {kAnna, kBjorn, kChen}, &makeEnterprise},
        {"finished", typical, false, {kAnna, kBjorn}, &makeTypical, true},
        {"old-status", typical, false, {kAnna, kBjorn}, &makeOldStatus},
        {"usage", L"40.1.0.0 Velta.QK", false, {kAnna, kBjorn}, &makeTypical},
    };
    return worlds;
}

const SweepWorld& sweepWorld(const std::string& name) {
    for (const SweepWorld& world : sweepWorlds()) {
        if (world.name == name) return world;
    }
    throw std::invalid_argument("there is no world " + name);
}
