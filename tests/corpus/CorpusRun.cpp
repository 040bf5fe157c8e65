#include "corpus/CorpusRun.h"

#include <stdexcept>

#include "stand-in/Text.h"
#include "sweep/Fence.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

// Where a passage stands, which must be there.
size_t found(const std::string& text, const std::string& passage) {
    const size_t at = text.find(passage);
    if (at == std::string::npos) throw std::runtime_error("not in the log: " + passage);
    return at;
}

// Puts a text in the place of each passage from one text up to another one.
void cutAll(std::string& text, const std::string& from, const std::string& upTo,
            const std::string& to) {
    for (size_t at = found(text, from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, std::min(text.find(upTo, at), text.size()) - at, to);
}

// "HKEY_USERS\\S-1-5-..." as its root and the rest.
std::pair<HKEY, std::wstring> keyOf(const std::wstring& path) {
    const std::pair<const wchar_t*, HKEY> roots[] = {{L"HKEY_LOCAL_MACHINE\\", HKEY_LOCAL_MACHINE},
                                                     {L"HKEY_USERS\\", HKEY_USERS},
                                                     {L"HKEY_CLASSES_ROOT\\", HKEY_CLASSES_ROOT}};
    for (const auto& [name, root] : roots) {
        if (path.starts_with(name)) return {root, path.substr(path.find(L'\\') + 1)};
    }
    throw std::runtime_error("no root: " + standin::toUtf8(path));
}

std::string wideBytes(const std::wstring& text) {
    return {reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(wchar_t)};
}

}  // namespace

void CorpusRun::TestBody() {
    makeWorld();
    if (m_case.contains("prepare")) {
        for (const nlohmann::json& step : m_case["prepare"])
            prepare(step);
    }

    m_result = launch(place(m_case.value("arguments", standin::toUtf8(kTypicalArguments))));

    checkEnd();
    checkLog();
    checkFiles();
    checkFence();
}

// A link that has lost its end is in no listing.
void CorpusRun::TearDown() {
    for (const std::string& path : m_beneath)
        runUnix("rm -rf '" + path + "'");
}

std::vector<WorldUser> CorpusRun::users() const {
    const std::string kind = m_case.value("world", "typical");
    if (kind == "empty") return {};
    if (kind == "enterprise") return {kAnna, kBjorn, kChen};
    return {kAnna, kBjorn};
}

void CorpusRun::makeWorld() {
    const std::string kind = m_case.value("world", "typical");
    if (kind == "typical") {
        makeTypicalWorld(world);
    } else if (kind == "enterprise") {
        makeEnterpriseWorld(world);
    } else if (kind != "empty") {
        throw std::runtime_error("unknown world: " + kind);
    }
}

// Makes a name for as many letters as are missing from a path to its length.
void CorpusRun::let(const nlohmann::json& step) {
    const size_t length = step.at("length");
    const size_t before = place(step.at("behind")).size();
    if (length <= before) throw std::runtime_error("no room for a name");
    m_names["{" + step.at("let").get<std::string>() + "}"] = std::string(length - before, 'a');
}

void CorpusRun::prepareValue(const nlohmann::json& step) {
    const auto [root, path] = keyOf(place(step.at("value")));
    const DWORD type = step.value("type", DWORD{REG_SZ});
    const std::string bytes = step.contains("bytes") ? bytesText(step["bytes"])
                                                     : wideBytes(place(step.at("text")));
    registry.setValue(root, path, wideText(step.at("name")), {type, bytes});
}

void CorpusRun::prepare(const nlohmann::json& step) {
    if (step.contains("let")) {
        let(step);
    } else if (step.contains("file")) {
        const std::wstring path = place(step["file"]);
        writeFile(path, bytesText(step.at("bytes")));
        if (step.value("hidden", false)) setAttributes(path, FILE_ATTRIBUTE_HIDDEN);
    } else if (step.contains("folder")) {
        makeFolder(place(step["folder"]));
    } else if (step.contains("remove")) {
        removeTree(place(step["remove"]));
    } else if (step.contains("raw")) {
        // A name that only the system beneath takes as it is.
        m_beneath.push_back(unixPath(place(step["raw"])) + "/" + step.at("make").get<std::string>());
        runUnix("mkdir '" + m_beneath.back() + "'");
    } else if (step.contains("link")) {
        const std::wstring link = place(step["link"]);
        m_beneath.push_back(unixPath(link));
        makeSymbolicLink(unixPath(place(step.at("to"))), link);
    } else if (step.contains("value")) {
        prepareValue(step);
    } else if (step.contains("remove key")) {
        const auto [root, path] = keyOf(place(step["remove key"]));
        registry.removeKey(root, path);
    } else if (step.contains("key")) {
        const auto [root, path] = keyOf(place(step["key"]));
        registry.makeKey(root, path);
    } else {
        throw std::runtime_error("unknown step: " + step.dump());
    }
}

void CorpusRun::checkEnd() {
    const DWORD expected = codeOf(m_case.at("exit"));
    EXPECT_EQ(m_result.exitCode, expected);
    EXPECT_FALSE(m_result.timedOut);
    const bool isExit = expected == 0 || expected == 0xFFFFFFFF;
    EXPECT_EQ(m_result.endedNormally, isExit);
    for (const std::string& leak : m_result.leaks) {
        EXPECT_TRUE(leak == "memory#1" || leak.starts_with("lost descriptor#"))
            << leak << " is still out";
    }
    EXPECT_THAT(m_result.doubleReleases, ::testing::IsEmpty());
    EXPECT_THAT(m_result.misuse, ::testing::IsEmpty());
}

// A log written out by hand: of the corpus, or of the whole runs.
std::string CorpusRun::logOf(const std::string& name) {
    const std::wstring own = corpusFolder() + standin::toWide(name);
    return exists(own) ? readFile(own) : golden(name);
}

std::string CorpusRun::expectedLog() const {
    const std::string name = m_case["log"];
    std::string text = name.ends_with(".log") ? logOf(name) : withNames(bytesText(name));
    if (m_case.contains("up to")) text.resize(found(text, m_case["up to"]));
    for (const nlohmann::json& change : m_case.value("changes", nlohmann::json::array())) {
        const std::string from = change.at(0);
        const std::string to = withNames(bytesText(change.at(1)));
        found(text, from);
        if (change.size() > 2) {
            replaceAll(text, from, to);
        } else {
            text.replace(found(text, from), from.size(), to);
        }
    }
    for (const nlohmann::json& cut : m_case.value("cuts", nlohmann::json::array()))
        cutAll(text, cut.at(0), cut.at(1), withNames(bytesText(cut.at(2))));
    return text + withNames(bytesText(m_case.value("then", "")));
}

void CorpusRun::checkLog() {
    const std::string actual = log();
    bool isChecked = false;
    if (m_case.contains("log")) {
        expectSameLog(withSortedUsers(actual), withSortedUsers(expectedLog()));
        isChecked = true;
    }
    for (const std::string& text : m_case.value("log has", std::vector<std::string>())) {
        EXPECT_THAT(actual, HasSubstr(withNames(bytesText(text))));
        isChecked = true;
    }
    for (const std::string& text : m_case.value("log lacks", std::vector<std::string>()))
        EXPECT_THAT(actual, Not(HasSubstr(withNames(bytesText(text)))));
    if (!isChecked) ADD_FAILURE() << "the case says nothing of the log";
}

// Files with their bytes afterwards; null for what is not there.
void CorpusRun::checkFiles() {
    const auto files = m_case.value("files", nlohmann::json::object());
    for (const auto& [name, bytes] : files.items()) {
        const std::wstring path = place(name);
        if (bytes.is_null()) {
            EXPECT_FALSE(exists(path)) << name;
        } else if (bytes == "folder") {
            EXPECT_TRUE(attributesOf(path) != INVALID_FILE_ATTRIBUTES &&
                        (attributesOf(path) & FILE_ATTRIBUTE_DIRECTORY) != 0)
                << name;
        } else if (exists(path)) {
            EXPECT_EQ(readFile(path), withNames(bytesText(bytes))) << name;
        } else {
            ADD_FAILURE() << name << " is missing";
        }
    }
}

void CorpusRun::checkFence() {
    Fence fence(world, users(), isEnterprise());
    for (const nlohmann::json& exception : m_case.value("may write", nlohmann::json::array())) {
        if (exception.at("why").get<std::string>().empty())
            ADD_FAILURE() << "no reason: " << exception.dump();
        fence.allow(place(exception.at("place")));
    }
    const std::vector<standin::Call> calls = trace();
    EXPECT_FALSE(calls.empty());
    EXPECT_THAT(fence.breaches(calls), ::testing::IsEmpty());
}

std::string CorpusRun::withNames(std::string text) const {
    for (const auto& [name, letters] : m_names)
        replaceAll(text, name, letters);
    return text;
}

std::wstring CorpusRun::place(std::string text) const {
    text = withNames(std::move(text));
    for (const WorldUser* user : {&kAnna, &kBjorn, &kChen}) {
        const std::string name = standin::toUtf8(user->name);
        replaceAll(text, "{" + name + " old}", standin::toUtf8(world.oldPackage(*user)));
        replaceAll(text, "{" + name + " new}", standin::toUtf8(world.newPackage(*user)));
        replaceAll(text, "{" + name + "}", standin::toUtf8(user->sid));
    }
    replaceAll(text, "{install}", standin::toUtf8(world.installFolder()));
    replaceAll(text, "{world}", standin::toUtf8(scratch.path()));
    replaceAll(
        text, "{classes}",
        "Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData");
    return wideText(text);
}
