// Worlds of a size that nobody waits for in an ordinary test run: scripts/sweep.sh --long runs them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "end_to_end/RunStage.h"
#include "stand-in/Text.h"
#include "support/Files.h"

namespace {

using std::chrono::minutes;

size_t countOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

class LongRuns : public ::testing::Test, protected RunStage {
protected:
    LongRuns() { timeout = minutes(60); }

    standin::LaunchResult run(const std::wstring& arguments = kTypicalArguments) {
        const standin::LaunchResult result = launch(arguments);
        EXPECT_EQ(result.exitCode, 0u);
        EXPECT_TRUE(result.endedNormally);
        for (const std::string& leak : result.leaks)
            EXPECT_TRUE(leak == "memory#1" || leak.starts_with("lost descriptor#")) << leak;
        EXPECT_THAT(result.doubleReleases, ::testing::IsEmpty());
        return result;
    }
    std::string log() const { return readFile(logFile()); }
};

TEST_F(LongRuns, AThousandProfiles) {
    constexpr int kProfiles = 1000;
    makeEnterpriseWorld(world);
    for (int i = 0; i < kProfiles; ++i) {
        const std::wstring number = std::to_wstring(i);
        const WorldUser user = {L"S-1-5-21-7-7-7-" + number, L"user" + number, Hive::ShellFolders};
        world.addUser(user);
        writeFile(world.oldPackage(user) + L"\\LocalState\\preferences.json", "preferences");
        makeFolder(world.newPackage(user) + L"\\LocalState");
    }

    run(kTypicalArguments + L" true");

    EXPECT_EQ(countOf(log(), "Wrote migration status file "), kProfiles + 3u);
}

TEST_F(LongRuns, AHundredThousandFilesOfOneUser) {
    constexpr int kFolders = 1000;
    constexpr int kFilesPerFolder = 100;
    makeTypicalWorld(world);
    const std::wstring source = world.oldPackage(kAnna) + L"\\LocalState\\many";
    makeFolder(source);
    runUnix("cd '" + unixPath(source) + "' && for f in $(seq " + std::to_string(kFolders) +
            "); do mkdir $f; for i in $(seq " + std::to_string(kFilesPerFolder) +
            "); do echo $f-$i > $f/$i.qk; done; done");

    run();

    const std::wstring target = world.newPackage(kAnna) + L"\\LocalState\\many";
    EXPECT_EQ(listTree(target), listTree(source));
    EXPECT_EQ(listTree(target).size(), static_cast<size_t>(kFolders * (kFilesPerFolder + 1)));
}

TEST_F(LongRuns, TenThousandContainersAndExemptEntries) {
    constexpr size_t kEntries = 10000;
    makeTypicalWorld(world);
    auto& network = *world.state.network;
    for (size_t i = 0; i < kEntries; ++i) {
        const std::wstring sid = L"S-1-15-2-1-" + std::to_wstring(i);
        network.containers.insert(network.containers.begin(),
                                  {L"app" + std::to_wstring(i), L"App", L"App", sid});
        network.exempt.push_back({sid});
    }
    const std::vector<standin::ExemptSid> before = network.exempt;

    run();

    std::vector<standin::ExemptSid> expected = before;
    expected.push_back({L"S-1-15-2-1-2-3-4-5-6-7"});
    EXPECT_EQ(world.state.network->exempt, expected);
}

TEST_F(LongRuns, AThousandPlugIns) {
    constexpr int kPlugIns = 1000;
    makeTypicalWorld(world);
    for (int i = 0; i < kPlugIns; ++i) {
        const std::wstring name = L"Tool" + std::to_wstring(i);
        const std::wstring localState = world.newPackage(kAnna) + L"\\LocalState\\";
        writeFile(localState + L"plugins\\" + name + L"\\main.js", "code");
        writeFile(localState + L"plugin_settings\\" + name + L"\\LocalStorage\\data.bin", "data");
    }

    run();

    const std::wstring rxp = world.roaming(kAnna) + L"\\Velta\\RXP\\";
    for (int i = 0; i < kPlugIns; ++i) {
        const std::wstring name = L"Tool" + std::to_wstring(i);
        EXPECT_EQ(readFile(rxp + L"Plugins\\External\\" + name + L"\\main.js"), "code");
        EXPECT_EQ(
            readFile(rxp + L"PluginsStorage\\ZRKL\\External\\" + name + L"\\LocalStorage\\data.bin"),
            "data");
    }
    EXPECT_FALSE(exists(world.newPackage(kAnna) + L"\\LocalState\\plugins"));
}

// About as many entries as an access list holds: its size is a number of 16 bits.
TEST_F(LongRuns, AnAccessListThatIsNearlyFull) {
    constexpr size_t kEntries = 1800;
    makeTypicalWorld(world);
    const std::wstring folder = world.roaming(kAnna) + L"\\Velta\\MeshSync";
    makeFolder(folder);
    standin::FileSecurity security = standin::securityOf(world.state.fileSecurity, folder);
    security.accessList.emplace();
    for (size_t i = 0; i < kEntries; ++i) {
        security.accessList->push_back({ACCESS_ALLOWED_ACE_TYPE, 0, FILE_GENERIC_READ,
                                        L"S-1-5-21-9-9-9-" + std::to_wstring(i)});
    }
    standin::setSecurity(world.state.fileSecurity, folder, security);

    run();

    const auto after = standin::securityOf(world.state.fileSecurity, folder).accessList;
    ASSERT_TRUE(after.has_value());
    EXPECT_EQ(after->size(), kEntries + 1);
    EXPECT_EQ(std::count_if(after->begin(), after->end(),
                            [](const auto& entry) { return entry.sid == L"S-1-15-2-1"; }),
              1);
}

TEST_F(LongRuns, AThousandRunsOnOneMachine) {
    constexpr size_t kRuns = 1000;
    makeTypicalWorld(world);
    // The log grows with every run; what is looked at here does not.
    const auto runWithNewLog = [&] {
        ::DeleteFileW(logFile().c_str());
        run();
    };
    run();
    runWithNewLog();
    const size_t exempt = world.state.network->exempt.size();
    const size_t calls = trace().size();
    const std::string before = describe(world);

    for (size_t i = 1; i <= kRuns; ++i) {
        runWithNewLog();
        ASSERT_EQ(world.state.network->exempt.size(), exempt + i) << "run " << i;
        // Each exempt entry is freed, by two calls.
        ASSERT_EQ(trace().size(), calls + 2 * i) << "run " << i;
        if (i % 100 == 0) std::printf("%zu runs\n", i);
    }

    world.state.network->exempt.resize(exempt);
    const auto withoutLog = [](std::string text) {
        const size_t begin = text.find("Installer\\lsdkConfiguratorLog.txt");
        return text.erase(begin, text.find('\n', begin) - begin);
    };
    EXPECT_EQ(withoutLog(describe(world)), withoutLog(before));
}

}  // namespace
