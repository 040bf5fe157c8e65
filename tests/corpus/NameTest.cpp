#include "corpus/CorpusFile.h"
#include "migration/AppDataMigrator.h"
#include "support/LogTest.h"

namespace {

// Names of items as they stand in a user's status file. Not each of them can be made on a disk.
class NameCases : public LogTest {};

TEST_F(NameCases, EachStandsInTheStatusFileAsWritten) {
    const nlohmann::json corpus = readCorpus("names");
    for (const CorpusCase& item : corpus.at("values")) {
        SCOPED_TRACE(item.at("name").get<std::string>());
        AppDataMigrator migrator(L"Velta.QK", false);
        migrator.copiedItems[L"S-1-5-21-1"] = {L"a", wideText(item.at("item")), L"b"};

        const std::string text = migrator.buildStatusText(L"S-1-5-21-1", true);

        EXPECT_EQ(text,
                  "{\n    \"status\":\"success\",\n    \"isEnterpriseDeployment\":\"false\",\n"
                  "    \"copied\": [\"a\" ,\"" +
                      bytesText(item.at("written")) + "\" ,\"b\"],\n    \"failed\": []\n}\n");
    }
}

}  // namespace
