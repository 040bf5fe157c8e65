// The workloads of scripts/bench.sh that run inside one process. ROOT is a folder that bench.py has filled.
//
// Both sides in turn, slice by slice:
//     bench slices copy ROOT SLICES ROUNDS        folders: ROOT\src\<slice>
//     bench slices plugins ROOT SLICES ROUNDS     plug-ins
//     bench slices log ROOT SLICES ROUNDS         a hundred lines
//     bench slices registry ROOT SLICES ROUNDS    a hundred entries
//     bench slices typical ROOT 1 ROUNDS          the whole run
// One side alone, for counting host calls:
//     bench one product|bare|book|shell copy|move ROOT    ROOT\src\tree
//     bench one product|bare log ROOT LINES
// Others:
//     bench prepare profiles|registry ROOT COUNT    writes profiles, or entries, into the registry
//     bench grow profiles|registry ROOT             migrates the profiles, or rewrites the entries
//     bench failed COUNT                            computeFailedPlugins in the worst order; seconds
//     bench memory copy|list ROOT                   peak of allocated bytes
#include <cstdio>
#include <map>
#include <stdexcept>

#include "Bare.h"
#include "Memory.h"
#include "Slices.h"
#include "Typical.h"
#include "migration/AppDataMigrator.h"
#include "migration/FolderCopy.h"
#include "plugins/PluginFolders.h"
#include "plugins/PluginStatusFile.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"
#include "run/RegistryKey.h"

#include <shellapi.h>

namespace {

using Arguments = std::vector<std::wstring>;

constexpr wchar_t kUserSid[] = L"S-1-5-21-1000-2000-3000-";
constexpr wchar_t kLists[] = L"Software\\LSDK bench";

int number(const std::wstring& text) {
    return std::stoi(text);
}

std::wstring madeFolder(const std::wstring& path) {
    ::CreateDirectoryW(path.c_str(), nullptr);
    return path;
}

// --- copying of folders

void sliceCopy(const std::wstring& root, int slices, int rounds) {
    const auto target = [&](const wchar_t* side, int round) {
        return madeFolder(root + side + std::to_wstring(round));
    };
    const auto source = [&](int slice) { return root + L"\\src\\" + std::to_wstring(slice); };
    runSlices(rounds, slices,
              {[&](int round, int slice) {
                   copyFolderRecursively(source(slice).c_str(), target(L"\\product", round).c_str(),
                                         false);
               },
               [&](int round, int slice) {
                   bare::copyFolder(source(slice), target(L"\\bare", round), false);
               }});
}

void copyOnce(const std::wstring& side, bool isMove, const std::wstring& root) {
    const std::wstring source = root + L"\\src\\tree";
    const std::wstring target = madeFolder(root + L"\\" + side);
    if (side == L"product") {
        copyFolderRecursively(source.c_str(), target.c_str(), isMove);
    } else if (side == L"bare") {
        bare::copyFolder(source, target, isMove);
    } else if (side == L"book") {
        bare::Log log(root + L"\\book.txt");
        bare::copyFolderByTheBook(log, source, target);
    } else {
        bare::shell(FO_COPY, source, target);
    }
}

// --- the log

constexpr int kLinesPerSlice = 100;
const wchar_t* const kNames[] = {L"C:\\Users\\anna\\AppData\\Local\\Packages\\old\\LocalState\\plug",
                                 L"C:\\Users\\anna\\AppData\\Local\\Packages\\new\\LocalState"};

void logLine(std::wostream& line) {
    line << "Recursively copying '" << kNames[0] << "' into '" << kNames[1] << "'" << std::endl;
}

void sliceLog(const std::wstring& root, int slices, int rounds) {
    bare::Log plain(root + L"\\plain.txt");
    runSlices(rounds, slices,
              {[&](int, int) {
                   for (int i = 0; i < kLinesPerSlice; ++i)
                       logLine(g_configuratorLog->beginLine());
               },
               [&](int, int) {
                   for (int i = 0; i < kLinesPerSlice; ++i)
                       logLine(plain.beginLine());
               }});
}

void logOnce(const std::wstring& side, const std::wstring& root, int lines) {
    bare::Log plain(root + L"\\plain.txt");
    for (int i = 0; i < lines; ++i)
        logLine(side == L"product" ? g_configuratorLog->beginLine() : plain.beginLine());
}

// --- recent-files lists

void setText(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    ::RegSetKeyValueW(root, key.c_str(), name, REG_SZ, text.c_str(),
                      static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

// One list below the new package, as the copying of the old one's leaves it.
void makeList(const AppDataMigrator& migrator, const std::wstring& base, const std::wstring& list,
              int entries) {
    const std::wstring path = base + L"\\" + migrator.newPackageName +
                              L"\\PersistedStorageItemTable\\" + list;
    ::RegDeleteTreeW(HKEY_CURRENT_USER, path.c_str());
    for (int i = 0; i < entries; ++i) {
        const std::wstring entry = path + L"\\{entry-" + std::to_wstring(i) + L"}";
        const std::wstring folder = L"C:\\Users\\anna\\AppData\\Local\\Packages\\" +
                                    migrator.oldPackageName;
        setText(HKEY_CURRENT_USER, entry, L"FilePath", folder + L"\\LocalState\\file.qk");
        setText(HKEY_CURRENT_USER, entry, L"Metadata", folder);
        setText(HKEY_CURRENT_USER, entry, L"PackageFamilyName", migrator.oldPackageName);
    }
}

constexpr int kEntriesPerSlice = 100;

// The last entry names the new package.
void expectRewritten(const std::wstring& package, const std::wstring& list,
                     const AppDataMigrator& migrator) {
    const std::wstring entry = package + L"\\PersistedStorageItemTable\\" + list + L"\\{entry-" +
                               std::to_wstring(kEntriesPerSlice - 1) + L"}";
    wchar_t name[256] = {};
    DWORD size = sizeof(name);
    ::RegGetValueW(HKEY_CURRENT_USER, entry.c_str(), L"PackageFamilyName", RRF_RT_REG_SZ, nullptr,
                   name, &size);
    if (name != migrator.newPackageName) throw std::runtime_error("the entries are not rewritten");
}

void sliceRegistry(const std::wstring& root, int slices, int rounds) {
    const AppDataMigrator migrator(L"Velta.LC.QK", false);
    const std::wstring productBase = std::wstring(kLists) + L"\\product";
    const std::wstring bareBase = std::wstring(kLists) + L"\\bare";
    const auto list = [](int slice) { return L"list" + std::to_wstring(slice); };
    const RegistryView view{HKEY_CURRENT_USER, "HKEY_CURRENT_USER\\", productBase};
    bare::Log log(root + L"\\plain.txt");
    const std::wstring lists = bareBase + L"\\" + migrator.newPackageName +
                               L"\\PersistedStorageItemTable\\";
    for (int round = 0; round < rounds; ++round) {
        for (int slice = 0; slice < slices; ++slice) {
            makeList(migrator, productBase, list(slice), kEntriesPerSlice);
            makeList(migrator, bareBase, list(slice), kEntriesPerSlice);
        }
        runSlices(1, slices,
                  {[&](int, int slice) { migrator.rewriteCopiedEntries(view, list(slice)); },
                   [&](int, int slice) {
                       bare::rewriteEntries(log, HKEY_CURRENT_USER, lists + list(slice),
                                            migrator.oldPackageName, migrator.newPackageName);
                   }});
    }
    for (const std::wstring& base : {productBase, bareBase})
        expectRewritten(base + L"\\" + migrator.newPackageName, list(slices - 1), migrator);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kLists);
}

void prepareRegistry(int entries) {
    makeList(AppDataMigrator(L"Velta.LC.QK", false), kLists, L"list", entries);
}

void rewriteList() {
    const AppDataMigrator migrator(L"Velta.LC.QK", false);
    if (!migrator.rewriteCopiedEntries({HKEY_CURRENT_USER, "HKEY_CURRENT_USER\\", kLists}, L"list"))
        throw std::runtime_error("the entries are not rewritten");
}

// --- plug-ins

void slicePlugIns(const std::wstring& root, int slices, int rounds) {
    ExecutablePermissions record;
    const auto plugIn = [&](const wchar_t* side, int round, int slice) {
        const std::wstring target = madeFolder(root + side + std::to_wstring(round));
        return bare::PlugIn{root + L"\\plugins\\", root + L"\\plugin_settings\\",
                            target + L"\\Plugins\\", target + L"\\PluginsStorage\\",
                            std::to_wstring(slice)};
    };
    runSlices(rounds, slices,
              {[&](int round, int slice) {
                   const bare::PlugIn it = plugIn(L"\\product", round, slice);
                   const std::vector<std::wstring> names = {it.name};
                   std::vector<std::wstring> done;
                   record.migratePluginFolders(it.plugins, it.newPlugins, false, names, done);
                   std::vector<std::wstring> settings;
                   record.migratePluginFolders(it.settings, it.newSettings, true, names, settings);
                   for (const wchar_t* storage : {L"LocalStorage", L"SecureStorage"})
                       migrateStorageFolder(it.settings, it.newSettings, storage, names, settings);
               },
               [&](int round, int slice) { bare::movePlugIn(plugIn(L"\\bare", round, slice)); }});
}

void listFailedPlugIns(int count) {
    std::vector<std::wstring> names;
    for (int i = 0; i < count; ++i)
        names.push_back(L"com.velta.plug-in." + std::to_wstring(i));
    const std::vector<std::wstring> backwards(names.rbegin(), names.rend());
    const double start = seconds();
    const size_t failed = computeFailedPlugins(names, backwards).size();
    std::printf("seconds %.6f\n", seconds() - start);
    if (failed != 0) throw std::logic_error("plug-ins are left");
}

// --- profiles

void prepareProfiles(const std::wstring& root, int count) {
    const std::wstring list = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, list.c_str());
    setText(HKEY_LOCAL_MACHINE,
            L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI",
            L"SelectedUserSID", std::wstring(kUserSid) + L"0");
    for (int i = 0; i < count; ++i) {
        const std::wstring sid = kUserSid + std::to_wstring(i);
        const std::wstring profile = root + L"\\users\\" + std::to_wstring(i);
        setText(HKEY_LOCAL_MACHINE, list + L"\\" + sid, L"ProfileImagePath", profile);
        setText(HKEY_USERS,
                sid + L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
                L"Local AppData", profile + L"\\AppData\\Local");
    }
}

void migrateProfiles() {
    AppDataMigrator(L"Velta.LC.QK", true).run();
}

void measureMemory(const std::wstring& what, const std::wstring& root) {
    const std::wstring source = root + L"\\src\\tree";
    const std::wstring target = madeFolder(root + L"\\memory");
    size_t entries = 0;
    forgetPeak();
    if (what == L"copy") {
        copyFolderRecursively(source.c_str(), target.c_str(), false);
    } else {
        FolderListing listing;
        enumerateFolder(source.c_str(), listing);
        entries = listing.size();
    }
    std::printf("bytes %zu\nentries %zu\n", peakBytes(), entries);
}

void run(const Arguments& arguments) {
    const std::wstring& verb = arguments.at(1);
    const std::wstring& what = arguments.at(2);
    if (verb == L"slices") {
        const std::map<std::wstring, void (*)(const std::wstring&, int, int)> workloads = {
            {L"copy", sliceCopy},
            {L"log", sliceLog},
            {L"registry", sliceRegistry},
            {L"plugins", slicePlugIns}};
        workloads.at(what)(arguments.at(3), number(arguments.at(4)), number(arguments.at(5)));
    } else if (verb == L"one" && arguments.at(3) == L"log") {
        logOnce(what, arguments.at(4), number(arguments.at(5)));
    } else if (verb == L"one") {
        copyOnce(what, arguments.at(3) == L"move", arguments.at(4));
    } else if (verb == L"prepare") {
        const int entries = number(arguments.at(4));
        what == L"profiles" ? prepareProfiles(arguments.at(3), entries) : prepareRegistry(entries);
    } else if (verb == L"grow") {
        what == L"profiles" ? migrateProfiles() : rewriteList();
    } else if (verb == L"failed") {
        listFailedPlugIns(number(what));
    } else if (verb == L"memory") {
        measureMemory(what, arguments.at(3));
    } else {
        throw std::invalid_argument("no such workload");
    }
}

}  // namespace

int wmain(int count, wchar_t** values) {
    const Arguments arguments(values, values + count);
    try {
        if (arguments.at(2) == L"typical") {
            sliceTypicalRun(arguments.at(3), number(arguments.at(5)));
            return 0;
        }
        const ConfiguratorLog log;
        run(arguments);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench: %s\n", error.what());
        return 1;
    }
}
