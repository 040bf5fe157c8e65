// Makes the machine of scripts/sample.sh and shows it:
//     sample-machine make typical|enterprise FOLDER MACHINE_FILE
//     sample-machine show FOLDER MACHINE_FILE
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "end_to_end/World.h"
#include "support/Files.h"

namespace {

constexpr wchar_t kRegistryRoot[] = L"Software\\stand-in\\sample";

void make(const std::wstring& kind, const std::wstring& folder, const std::wstring& machineFile) {
    if (exists(folder)) removeTree(folder);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kRegistryRoot);
    ScratchRegistry registry(kRegistryRoot);
    World world(folder, registry);
    if (kind == L"typical") {
        makeTypicalWorld(world);
    } else if (kind == L"enterprise") {
        makeEnterpriseWorld(world);
    } else {
        throw std::invalid_argument("the kinds are typical and enterprise");
    }
    standin::writeMachine(machineFile, world.state);
}

void show(const std::wstring& folder, const std::wstring& machineFile) {
    ScratchRegistry registry(kRegistryRoot);
    World world(folder, registry);
    world.state = standin::readMachine(machineFile);
    std::puts(describe(world).c_str());
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        const std::wstring verb = count > 1 ? arguments[1] : L"";
        if (verb == L"make" && count == 5) {
            make(arguments[2], arguments[3], arguments[4]);
        } else if (verb == L"show" && count == 4) {
            show(arguments[2], arguments[3]);
        } else {
            throw std::invalid_argument("make KIND FOLDER FILE, or show FOLDER FILE");
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sample-machine: %s\n", error.what());
        return 1;
    }
}
