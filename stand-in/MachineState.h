#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Desktop.h"
#include "Export.h"
#include "FileSecurity.h"
#include "NetworkIsolation.h"

namespace standin {

struct PackageVersionNumbers {
    uint16_t major = 0;
    uint16_t minor = 0;
    uint16_t build = 0;
    uint16_t revision = 0;
};

// What becomes of a package's removal when someone asks for it.
struct RemovalOutcome {
    enum class Kind {
        Done,
        Refused,        // the call fails
        Failed,         // the operation does
        Canceled,       // by someone else
        DoneWithError,  // the operation's result holds an error; the package stays
        ResultsLost,    // the package is gone, but the result cannot be fetched
    };

    Kind kind = Kind::Done;
    int32_t error = 0;
    std::wstring text;        // that goes with it
    bool endsAtOnce = false;  // before the call has returned
};

struct InstalledPackage {
    std::wstring name;
    std::wstring publisher;
    PackageVersionNumbers version;
    std::wstring fullName;
    std::wstring familyName;
    std::wstring installPath;
    std::vector<std::wstring> users;  // SIDs of the users it is installed for
    bool isProvisioned = false;
    RemovalOutcome removal;
};

// A special folder: its path, or the HRESULT that asking for it gives.
struct SpecialFolder {
    std::wstring path;
    int32_t error = 0;
};

// An error object that waits on the thread for whoever asks.
struct ErrorObject {
    int32_t error = 0;
    std::wstring description;
    std::wstring restrictedDescription;
};

// What Windows.Data.Json does where nothing says what it must do.
struct JsonHabits {
    enum class FailedParse { EmptyObject, Null, LeftOver };

    FailedParse failedParse = FailedParse::EmptyObject;  // what TryParse hands back with bad text
    bool reversesKeys = false;  // Stringify writes an object's members last one first
};

// What the machine is made of where it is not the real one. Everything that is left out is the real thing.
struct MachineState {
    std::vector<InstalledPackage> packages;
    std::wstring tokenUser;                // SID of the user of the process's token
    std::map<int, SpecialFolder> folders;  // by CSIDL
    FileSecurities fileSecurity;
    std::wstring registryRoot;      // key under HKEY_CURRENT_USER that holds the private roots
    bool hasPathLimits = true;      // no long paths, as on Windows unless it was told otherwise
    std::optional<uint64_t> clock;  // a clock that stands still, as FILETIME
    std::optional<ErrorObject> errorObject;
    JsonHabits json;
    bool hasPackageManager8 = true;  // no older than Windows 10, version 1809
    std::optional<Desktop> desktop;
    std::optional<NetworkIsolation> network;  // absent: the real library, if there is one
};

// The state as JSON text in UTF-8 and back. Throws std::runtime_error on text that is not a machine.
STANDIN_API std::string toJson(const MachineState& state);
STANDIN_API MachineState machineFromJson(const std::string& text);
STANDIN_API MachineState readMachine(const std::wstring& path);
STANDIN_API void writeMachine(const std::wstring& path, const MachineState& state);
// Notes the security of one file in the machine written to `path`, however large that is.
// readMachine finds it; the next writeMachine takes it in.
STANDIN_API void appendSecurity(const std::wstring& path, const std::wstring& changed,
                                const FileSecurity& security);

}  // namespace standin
