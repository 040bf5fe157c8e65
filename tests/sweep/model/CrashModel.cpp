#include <array>
#include <cstdio>

#include "RegistryModel.h"
#include "RunModel.h"

namespace {

struct DumpSetting {
    std::string name;
    std::string type;
    std::string bytes;  // as the trace writes them
    std::string size;
};

// The bytes of a wide text without its end; the texts here have no letter beyond ASCII.
std::string wideBytes(const std::string& text) {
    std::string bytes = "[";
    for (const char letter : text) {
        std::array<char, 8> pair{};
        std::snprintf(pair.data(), pair.size(), "%s%02X 00", bytes.size() == 1 ? "" : " ",
                      static_cast<unsigned>(letter));
        bytes += pair.data();
    }
    return bytes + "]";
}

std::array<DumpSetting, 4> dumpSettings(const std::string& folder) {
    return {{{"DumpFolder", "2", wideBytes(folder), std::to_string(2 * folder.size())},
             {"DumpCount", "4", "[02 00 00 00]", "4"},
             {"DumpType", "4", "[00 00 00 00]", "4"},
             {"CustomDumpFlags", "4", "[A4 05 12 00]", "4"}}};
}

void readWrite(TraceReader& trace, const KeyModel& key, const DumpSetting& setting) {
    trace.call("RegSetValueExW",
               {key.handle(), quoted(setting.name), "0", setting.type, setting.bytes, setting.size});
}

// The second number of a size that went in and came out: 60->58.
std::string readSize(const standin::Call& read) {
    const std::string& size = read.arguments[6];
    return size.substr(size.find("->") + 2);
}

void readSetting(TraceReader& trace, const KeyModel& key, const DumpSetting& setting) {
    if (!trace.ok("RegQueryValueExW",
                  {key.handle(), quoted(setting.name), "null", "*", "null", "null"})) {
        readWrite(trace, key, setting);
        return;
    }
    if (setting.name != "DumpFolder") return;
    key.readValue(setting.name, "0x2");
    // The trace does not show what was read, only how long it is with its end. The read expands the
    // variable in it, so that another length is the rule.
    const std::string same = std::to_string(std::stoul(setting.size) + 2);
    const bool mayBeEqual = readSize(trace.calls()[trace.position() - 1]) == same;
    if (mayBeEqual && !trace.nextIs("RegSetValueExW", {"*", quoted(setting.name)})) return;
    readWrite(trace, key, setting);
}

bool readSettings(TraceReader& trace, const std::string& path, const std::string& folder) {
    const KeyModel key(trace, "HKEY_LOCAL_MACHINE", path);
    trace.line("rootKey at: " + path);
    for (const DumpSetting& setting : dumpSettings(folder)) {
        try {
            readSetting(trace, key, setting);
        } catch (const StandardException& exception) {
            trace.line("Setting registry value (" + setting.name +
                       ") for UWPCR failed with: " + exception.what);
            return false;
        }
    }
    return true;
}

}  // namespace

bool readCrashDumps(TraceReader& trace, RunFacts& facts) {
    const std::string folder = "%LOCALAPPDATA%\\Packages\\" + facts.packageFamilyName + "\\AC\\Dumps";
    const std::string path = "SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\LocalDumps\\" +
                             facts.arguments[3];
    trace.atEnd();  // an allocation that fails for these texts is not caught
    try {
        return readSettings(trace, path, folder);
    } catch (const StandardException& exception) {
        trace.line("Setting registry values for UWPCR failed with: " + exception.what);
        return false;
    }
}
