#include <stdexcept>

#include "platform/PlatformException.h"
#include "plugins/PluginTest.h"

using ::testing::IsEmpty;

namespace {

constexpr HRESULT kWrongType = static_cast<HRESULT>(0x8000000E);

// Status files that nobody should have written.
class BadStatusFileTest : public PluginTest {
protected:
    BadStatusFileTest() {
        addPlugin(L"a");
        addSettings(L"a");
        m_before = listTree(localState);
    }

    // The file counts as none: the run migrates and its record alone is left.
    void expectMigrated() {
        EXPECT_EQ(statusText(),
                  R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]}})");
        EXPECT_EQ(readFile(newPlugins + L"\\a\\main.js"), "code");
        EXPECT_EQ(readFile(newSettings + L"\\a\\PluginData\\settings.json"), "settings");
        EXPECT_THAT(listTree(localState), IsEmpty());
    }

    void expectUntouched(const std::string& bytes) {
        EXPECT_EQ(statusText(), bytes);
        EXPECT_EQ(listTree(localState), m_before);
        EXPECT_FALSE(exists(newPlugins + L"\\a"));
    }

    void restore() {
        if (exists(newPlugins + L"\\a")) removeTree(newPlugins + L"\\a");
        if (exists(rxp + L"\\PluginsStorage")) removeTree(rxp + L"\\PluginsStorage");
        setAttributes(statusFile, FILE_ATTRIBUTE_NORMAL);
        addPlugin(L"a");
        addSettings(L"a");
    }

private:
    std::map<std::wstring, std::string> m_before;
};

TEST_F(BadStatusFileTest, TextThatIsNoObjectCountsAsNone) {
    const std::string rows[] = {
        "",
        " \r\n\t",
        "{",
        "{\"OWN\":{\"status\":0}",
        "{\"OWN\":{\"status\":0}}}",
        "{\"OWN\":{\"status\":0},}",
        "{'OWN':{'status':0}}",
        "[{\"OWN\":{\"status\":0}}]",
        "\"OWN\"",
        "0",
        "null",
        "true",
        "\xEF\xBB\xBF{\"OWN\":{\"status\":0}}",
        "{\"OWN\":{\"status\":0},\"n\":1e999}",
        "{\"OWN\":{\"status\":0},\"n\":-1e999}",
        "{\"OWN\":{\"status\":0},\"s\":\"\\uD8\"}",
        "{\"OWN\":{\"status\":00}}",
        std::string("\0\0\0\0", 4),
        std::string("{\"OWN\":{\"status\":0}}\0", 22),
        "MZ\x01\x02\x03\x7F",
    };
    for (const std::string& bytes : rows) {
        SCOPED_TRACE(bytes);
        writeStatus(bytes);

        run();

        expectMigrated();
        restore();
    }
}

TEST_F(BadStatusFileTest, BytesThatAreNoUtf8LeaveAsARangeErrorAndNothingIsTouched) {
    for (const std::string bytes :
         {"\xFF\xFE{\0", "{\"OWN\":\"\xE9\"}", "{\"OWN\":\"\xC0\xAF\"}", "{\"OWN\":\"\xE4\xB8"}) {
        SCOPED_TRACE(bytes);
        writeStatus(bytes);

        EXPECT_THROW(run(), std::range_error);

        expectUntouched(bytes);
    }
}

TEST_F(BadStatusFileTest, BytesBehindTheFirstWhiteSpaceMayBeAnything) {
    writeStatus("{\"OWN\":{\"status\":0}} \xFF\xFE");
    const std::string bytes = statusText();

    run();

    expectUntouched(bytes);
}

TEST_F(BadStatusFileTest, AWrongTypeAtAnyPlaceLeavesAsAPlatformExceptionAndNothingIsTouched) {
    const char* const rows[] = {
        // An entry that is no object: of a code that is tested for age, or of this build.
        R"({"ZRKL":null})",
        R"({"ZRKL":true})",
        R"({"ZRKL":0})",
        R"({"ZRKL":"0"})",
        R"({"ZRKL":[]})",
        R"({"ZRKLDV":[{}]})",
        R"({"ZRKLPR":"39"})",
        R"({"OWN":null})",
        R"({"OWN":false})",
        R"({"OWN":0})",
        R"({"OWN":"0"})",
        R"({"OWN":[]})",
        // A version that is no text.
        R"({"ZRKL":{"appVersion":null}})",
        R"({"ZRKL":{"appVersion":39.0}})",
        R"({"ZRKL":{"appVersion":true}})",
        R"({"ZRKLDV":{"appVersion":["39.0"]}})",
        R"({"ZRKLPR":{"appVersion":{"major":39}}})",
        // A status that is no number.
        R"({"OWN":{"status":null}})",
        R"({"OWN":{"status":"0"}})",
        R"({"OWN":{"status":false}})",
        R"({"OWN":{"status":[0]}})",
        R"({"OWN":{"status":{}}})",
        // The last of several counts.
        R"({"OWN":{"status":0},"OWN":0})",
        R"({"OWN":{"status":0,"status":"0"}})",
    };
    for (const char* bytes : rows) {
        SCOPED_TRACE(bytes);
        writeStatus(bytes);
        try {
            run();
            ADD_FAILURE() << "no exception";
        } catch (const Platform::COMException& exception) {
            EXPECT_EQ(exception.hresult(), kWrongType);
        }
        expectUntouched(bytes);
    }
}

TEST_F(BadStatusFileTest, WrongTypesWhereNobodyLooksAreKept) {
    const std::string other =
        R"("ZRKLBE":[0],"ZRKL":{"status":"x","migrated":1,"failed":null,"reason":[]},)"
        R"("ZRKLDV":{"appVersion":"39","status":{}},"":7,"own":{"status":"0"})";
    writeStatus("{" + other + "}");

    run();

    EXPECT_EQ(
        statusText(),
        "{" + other + R"(,"OWN":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]}})");
    EXPECT_THAT(listTree(localState), IsEmpty());
}

TEST_F(BadStatusFileTest, OfDuplicateKeysTheLastCounts) {
    const std::string bytes = R"({"OWN":7,"OWN":{"status":1,"status":0}})";
    writeStatus(bytes);

    run();

    expectUntouched(bytes);
}

TEST_F(BadStatusFileTest, AFileOfTenMebibytesIsRead) {
    const std::string padding(10 * 1024 * 1024, 'x');
    writeStatus(R"({"pad":")" + padding + R"(","OWN":{"status":1}})");

    run();

    EXPECT_EQ(statusText(),
              R"({"pad":")" + padding +
                  R"(","OWN":{"appVersion":"39.1.0","status":0,"migrated":["a"],"failed":[]}})");
    EXPECT_THAT(listTree(localState), IsEmpty());
}

TEST_F(BadStatusFileTest, TenMebibytesThatAreNoJsonCountAsNone) {
    writeStatus(std::string(10 * 1024 * 1024, 'x'));

    run();

    expectMigrated();
}

TEST_F(BadStatusFileTest, NestingUpToThePlatformsLimitIsKeptAndBeyondItCountsAsNone) {
    const auto nested = [](size_t depth) {
        return R"({"deep":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    writeStatus(nested(1000));
    run();
    EXPECT_TRUE(statusText().starts_with(R"({"deep":[[[[)"));
    restore();

    writeStatus(nested(100000));
    run();

    expectMigrated();
}

TEST_F(BadStatusFileTest, EveryFailingJsonCallLeavesAsAnExceptionAndLosesNoPlugin) {
    writeStatus(R"({"ZRKL":{"appVersion":"39","status":0},"OWN":{"appVersion":"39","status":1}})");
    const std::string bytes = statusText();
    run();
    std::map<std::string, size_t> counts;  // of a whole run, by call
    for (const standin::Call& call : machine.trace.all()) {
        if (call.name.find("::") != std::string::npos || call.name == "RoGetActivationFactory")
            ++counts[call.name];
    }
    ASSERT_GT(counts.size(), 10u);

    for (const auto& [name, count] : counts) {
        for (size_t n = 1; n <= count; ++n) {
            SCOPED_TRACE(name + ":" + std::to_string(n));
            restore();
            writeStatus(bytes);
            machine.faults.clear();
            machine.failNth(name, n, static_cast<DWORD>(E_ACCESSDENIED));

            EXPECT_THROW(run(), Platform::AccessDeniedException);

            EXPECT_THAT(machine.faults.unfired(), IsEmpty());
            EXPECT_EQ(readFile(oldPlugins + L"\\a\\main.js"), "code");
            EXPECT_EQ(readFile(oldSettings + L"\\a\\settings.json"), "settings");
        }
    }
}

}  // namespace
