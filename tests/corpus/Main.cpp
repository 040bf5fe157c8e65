#include <gmock/gmock.h>

#include <set>

#include "corpus/CorpusRun.h"

namespace {

// Each whole run of the corpus as a test of its own.
void registerRuns(const std::string& family) {
    std::set<std::string> names;
    const nlohmann::json corpus = readCorpus(family);
    for (const CorpusCase& item : corpus.at("runs")) {
        const std::string name = testName(item.at("name").get<std::string>());
        if (!names.insert(name).second)
            throw std::runtime_error("twice in " + family + ": " + name);
        ::testing::RegisterTest(testName(family).c_str(), name.c_str(), nullptr, nullptr, __FILE__,
                                __LINE__, [item]() -> RunTest* { return new CorpusRun(item); });
    }
}

}  // namespace

int main(int count, char** arguments) {
    ::testing::InitGoogleMock(&count, arguments);
    for (const char* family :
         {"command_lines", "registry_values", "profile_lists", "status_files", "names", "folders"})
        registerRuns(family);
    return RUN_ALL_TESTS();
}
