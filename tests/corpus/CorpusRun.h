#pragma once

#include <map>
#include <string>
#include <vector>

#include "corpus/CorpusFile.h"
#include "end_to_end/RunTest.h"

// One case of the corpus as a run of the release executable on a stand-in world.
class CorpusRun : public RunTest {
public:
    explicit CorpusRun(CorpusCase item) : m_case(std::move(item)) {}

    void TestBody() override;
    void TearDown() override;

private:
    void makeWorld();
    void prepare(const nlohmann::json& step);
    void prepareValue(const nlohmann::json& step);
    void let(const nlohmann::json& step);
    void checkEnd();
    void checkLog();
    void checkFiles();
    void checkFence();

    // Places: {world}, {anna old} and so on as logs have them, and the names that the case has made.
    std::wstring place(std::string text) const;
    std::string withNames(std::string text) const;
    static std::string logOf(const std::string& name);
    std::string expectedLog() const;
    bool isEnterprise() const { return m_case.value("enterprise", false); }
    std::vector<WorldUser> users() const;

    const CorpusCase m_case;
    std::map<std::string, std::string> m_names;
    std::vector<std::string> m_beneath;  // what Wine cannot remove
    standin::LaunchResult m_result;
};
