#pragma once

#include <string>

#include "migration/MigratorTest.h"

// A test with paths about as long as a path may be.
class LongPathsTest : public MigratorTest {
protected:
    // A folder whose path has that length. Windows itself refuses more than 247 characters unless
    // a program asks for more.
    std::wstring folderOfLength(size_t length) {
        const std::wstring path = pathOfLength(scratch / L"s", length);
        makeFolder(path);
        return path;
    }

    // The scratch folder of the process that started the test, also in the one that is to die for it.
    std::wstring sharedFolder() {
        if (!::testing::internal::InDeathTestChild()) {
            ::SetEnvironmentVariableW(L"LONG_PATHS_TEST", scratch.path().c_str());
            return scratch.path();
        }
        wchar_t folder[MAX_PATH] = {};
        ::GetEnvironmentVariableW(L"LONG_PATHS_TEST", folder, MAX_PATH);
        return folder;
    }

    // No call was given a path of 260 characters or more.
    void expectShortPaths() const {
        for (const standin::Call& call : machine.trace.all()) {
            if (call.name == "PathCchAppend" || call.name == "_write") continue;
            for (const std::string& argument : call.arguments)
                EXPECT_LT(argument.size(), 260u + 2u) << call.text();
        }
    }
};
