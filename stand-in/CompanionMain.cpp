// A companion of the machine's own: takes the packages that are its arguments from the machine
// file, for the user it was started as. Ends with the number of those that the user does not have.
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "Injection.h"
#include "Text.h"
#include "Windows.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr int kNoMachine = 1000;

std::wstring variable(const wchar_t* name) {
    wchar_t value[MAX_PATH] = {};
    return ::GetEnvironmentVariableW(name, value, MAX_PATH) < MAX_PATH ? value : L"";
}

bool removePackage(Json& machine, const std::string& fullName, const std::string& user) {
    Json& packages = machine.at("packages");
    for (size_t i = 0; i < packages.size(); ++i) {
        if (packages[i].at("fullName") != fullName) continue;
        Json& users = packages[i].at("users");
        for (size_t place = 0; place < users.size(); ++place) {
            if (users[place] != user) continue;
            users.erase(place);
            if (users.empty() && !packages[i].value("provisioned", false)) packages.erase(i);
            return true;
        }
    }
    return false;
}

int removePackages(const std::wstring& file, int count, wchar_t** fullNames) {
    Json machine = Json::parse(std::ifstream(file.c_str(), std::ios::binary));
    std::string user = standin::toUtf8(variable(standin::kUserVariable));
    if (user.empty()) user = machine.at("tokenUser").get<std::string>();
    int missing = 0;
    for (int i = 0; i < count; ++i) {
        if (!removePackage(machine, standin::toUtf8(fullNames[i]), user)) ++missing;
    }
    const std::wstring beside = file + L".new";
    std::ofstream(beside.c_str(), std::ios::binary) << machine.dump(2) << "\n";
    const BOOL isWritten = ::MoveFileExW(beside.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING);
    return isWritten ? missing : kNoMachine;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        return removePackages(variable(standin::kMachineVariable), count - 1, arguments + 1);
    } catch (const std::exception&) {
        return kNoMachine;
    }
}
