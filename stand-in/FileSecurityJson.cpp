#include "FileSecurityJson.h"

#include <cstdlib>
#include <stdexcept>

#include "Format.h"
#include "Text.h"
#include "Windows.h"

namespace standin {

using Json = nlohmann::ordered_json;

namespace {

uint8_t typeOf(const std::string& wanted) {
    for (uint8_t type = ACCESS_ALLOWED_ACE_TYPE; type <= SYSTEM_MANDATORY_LABEL_ACE_TYPE; ++type) {
        if (nameOfType(type) == wanted) return type;
    }
    throw std::runtime_error("not a type of access entries: " + wanted);
}

uint32_t numberOf(const Json& object, const char* name) {
    const std::string text = object.at(name).get<std::string>();
    char* end = nullptr;
    const unsigned long number = std::strtoul(text.c_str(), &end, 0);
    if (text.empty() || *end != 0) throw std::runtime_error("not a number: " + text);
    return static_cast<uint32_t>(number);
}

std::wstring textAt(const Json& object, const char* name) {
    return toWide(object.at(name).get<std::string>());
}

Json toJsonObject(const AccessEntry& entry) {
    return {{"type", nameOfType(entry.type)},
            {"sid", toUtf8(entry.sid)},
            {"mask", hexText(entry.mask)},
            {"flags", hexText(entry.flags)}};
}

AccessEntry entryFrom(const Json& object) {
    return {typeOf(object.at("type").get<std::string>()),
            static_cast<uint8_t>(numberOf(object, "flags")), numberOf(object, "mask"),
            textAt(object, "sid")};
}

}  // namespace

Json toJsonArray(const FileSecurities& files) {
    Json array = Json::array();
    for (const auto& [path, security] : files) {
        Json object = {{"path", toUtf8(path)}, {"owner", toUtf8(security.owner)}};
        if (security.accessList) {
            object["list"] = Json::array();
            for (const AccessEntry& entry : *security.accessList)
                object["list"].push_back(toJsonObject(entry));
        }
        if (security.label) object["label"] = toJsonObject(*security.label);
        array.push_back(object);
    }
    return array;
}

FileSecurities fileSecuritiesFrom(const Json& array) {
    FileSecurities files;
    for (const auto& object : array) {
        FileSecurity security;
        security.owner = textAt(object, "owner");
        if (object.contains("list")) {
            security.accessList.emplace();
            for (const auto& entry : object.at("list"))
                security.accessList->push_back(entryFrom(entry));
        }
        if (object.contains("label")) security.label = entryFrom(object.at("label"));
        setSecurity(files, textAt(object, "path"), security);
    }
    return files;
}

}  // namespace standin
