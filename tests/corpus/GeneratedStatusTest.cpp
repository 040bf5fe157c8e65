#include <memory>

#include "corpus/GeneratedTest.h"
#include "corpus/Models.h"
#include "platform/PlatformException.h"
#include "run/ExecutablePermissions.h"
#include "stand-in/Text.h"

namespace {

using End = model::StatusVerdict::End;

// Status files that are right, or nearly, and what they are spoilt with.
const std::string kFiles[] = {
    R"({"OWN":{"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]}})",
    R"({"OWN":{"appVersion":"39.1.0","status":1,"migrated":["a"],"failed":["b"],"reason":""}})",
    R"({"ZRKLBE":{"appVersion":"38.0","status":0},"OWN":{"status":2}})",
    R"({"ZRKL":{"appVersion":"39.0.2","status":0},"ZRKLDV":{"appVersion":"40","status":0}})",
    R"({"ZRKL":{"appVersion":"38.0.2"},"OWN":{"status":0}})",
    R"({"ZRKLPR":{"appVersion":"x"},"ZRKLDV":{"appVersion":"99999999999.1"},"OWN":{"status":0.0}})",
    R"({"ZRKLPR":{"appVersion":"-1.0"},"OWN":{"status":0e5,"n":[1.5,-2e3,null,true]}})",
    R"({"a":{"b":[[],{},"\"\\\/\b\f\n\r\t"]},"OWN":{"status":-0}})",
    R"({"ZRKL":{"appVersion":"\t +39"},"ZRKLDV":{"appVersion":" -"},"OWN":{"reason":"\ud83d"}})",
};
const std::string kPieces[] = {"0",
                               "1",
                               "-",
                               ".",
                               "e",
                               "\"",
                               "\\",
                               "{",
                               "}",
                               "[",
                               "]",
                               ",",
                               ":",
                               " ",
                               "\r\n",
                               "\t",
                               "null",
                               "true",
                               "OWN",
                               "ZRKL",
                               "{}",
                               "[]",
                               "\"\"",
                               "0.0",
                               "1e400",
                               "1e-400",
                               "status",
                               "39",
                               "38",
                               "x",
                               "\x1A",
                               "\x7F",
                               "\xC3\xA9",
                               "\xE4\xB8",
                               "\xE4\xB8\xAD",
                               "\xFF",
                               "\x80",
                               "\x1F",
                               "\xC0\xAF",
                               "\xED\xA0\x80",
                               "\xEF\xBB\xBF",
                               "\xF0\x9F\x98\x80",
                               "\xF4\x90\x80\x80"};

std::string spoilt(Chance& chance) {
    std::string bytes = chance.of(kFiles);
    for (size_t count = chance.below(4); count > 0; --count) {
        const size_t at = chance.below(bytes.size() + 1);
        const size_t length = chance.below(std::min<size_t>(bytes.size() - at, 8) + 1);
        switch (chance.below(5)) {
            case 0:
                bytes.erase(at, length);
                break;
            case 1:
                bytes.insert(at, chance.of(kPieces));
                break;
            case 2:
                bytes.replace(at, length, chance.of(kPieces));
                break;
            case 3:
                bytes.resize(at);
                break;
            default:
                // A value, or whatever stands there, a second time.
                bytes.insert(at, bytes.substr(chance.below(bytes.size() + 1), 1 + chance.below(12)));
        }
    }
    return bytes;
}

std::shared_ptr<model::Json> json(const char16_t* text) {
    return model::parsed(text);
}

class GeneratedStatusTest : public GeneratedTest {
protected:
    // As the step does it for a build that has nothing to move.
    End step() {
        isDeleted = false;
        ExecutablePermissions permissions;
        permissions.m_migrationStatusFileFullPath = file;
        permissions.m_version = Platform::String(L"39.1.0");
        permissions.m_sapCode = Platform::String(L"OWN");
        try {
            permissions.discardStaleMigrationStatus();
            isDeleted = !exists(file);
            if (!permissions.isMigrationNeeded()) return End::Done;
            permissions.writeMigrationStatus(0);
            return End::Migrates;
        } catch (const Platform::Exception&) {
            return End::PlatformException;
        } catch (const std::range_error&) {
            return End::StandardException;
        }
    }

    // The file behind a migration: what there was, and the own entry.
    void expectRecord(const model::StatusVerdict& verdict) {
        model::Json expected;
        expected.content = verdict.document ? *verdict.document->members() : model::JsonMembers();
        std::get<model::JsonMembers>(expected.content)[u"OWN"] = json(
            uR"({"appVersion":"39.1.0","status":0,"migrated":[],"failed":[]})");
        const std::string bytes = readFile(file);
        if (model::hasLoneSurrogate(expected)) {
            EXPECT_EQ(bytes, "");
            return;
        }
        const auto text = model::decoded(bytes);
        ASSERT_TRUE(text.has_value()) << bytes;
        const auto actual = model::parsed(*text);
        ASSERT_NE(actual, nullptr) << bytes;
        EXPECT_TRUE(model::isSame(*actual, expected)) << bytes;
    }

    const std::wstring file = scratch / L"status.json";
    bool isDeleted = false;
};

TEST_F(GeneratedStatusTest, StatusFilesAreJudgedAsTheModelJudgesThem) {
    forEachCase([&](Chance& chance) {
        const std::string bytes = spoilt(chance);
        SCOPED_TRACE(bytes);
        const model::StatusVerdict verdict = model::judge(bytes);
        writeFile(file, bytes);

        const End end = step();

        EXPECT_EQ(end, verdict.end);
        EXPECT_EQ(isDeleted, verdict.isDeleted);
        EXPECT_EQ(newLines(), verdict.badVersions);
        if (end == End::Migrates) {
            expectRecord(verdict);
        } else {
            EXPECT_EQ(readFile(file), bytes);
        }
    });
}

}  // namespace
