#include <stdexcept>

#include "corpus/CorpusFile.h"
#include "platform/PlatformException.h"
#include "plugins/PluginTest.h"

namespace {

// How a step left, as the code with which the process then ends. The cases that run the executable
// show the same codes from outside.
constexpr unsigned long kGoesOn = 0;
constexpr unsigned long kStandardException = 0xC0000409;
constexpr unsigned long kPlatformException = 0xC000027B;

// Status files of the plug-in migration, each met by a step of its own with no plug-in to move.
class StatusFileCases : public PluginTest {
protected:
    void check(const CorpusCase& item) {
        SCOPED_TRACE(item.at("name").get<std::string>());
        const std::string before = bytesText(item.at("bytes"));
        if (exists(statusFile)) setAttributes(statusFile, FILE_ATTRIBUTE_NORMAL);
        writeStatus(before);
        const size_t logBefore = logText().size();

        const unsigned long exit = exitOfRun();

        EXPECT_EQ(exit, codeOf(item.at("exit")));
        const bool isMigrated = item.at("migrates");
        EXPECT_EQ(logText().substr(logBefore), expectedLog(item, isMigrated));
        EXPECT_EQ(statusText(), isMigrated ? bytesText(item.value("after", success(""))) : before);
        EXPECT_EQ((attributesOf(statusFile) & FILE_ATTRIBUTE_HIDDEN) != 0, isMigrated);
    }

private:
    unsigned long exitOfRun() {
        try {
            run();
            return kGoesOn;
        } catch (const Platform::Exception&) {
            return kPlatformException;
        } catch (const std::exception&) {
            return kStandardException;
        }
    }

    std::string expectedLog(const CorpusCase& item, bool isMigrated) const {
        std::string text = "migrationStatusFileFullPath = " + narrow(statusFile) + "\n";
        for (const std::string& line : item.value("log", std::vector<std::string>()))
            text += line + "\n";
        if (!isMigrated) return text;
        return text + "pluginsOldLocation = " + narrow(oldPlugins) + "\\\n" +
               "pluginsNewLocation = " + narrow(newPlugins) + "\\\n" +
               "pluginSettingsOldLocation = " + narrow(oldSettings) + "\\\n" +
               "pluginSettingsNewLocation = " + narrow(newSettings) + "\\\n" +
               "Migration succeeded, delete old plugins and plugin settings folders\n";
    }
};

TEST_F(StatusFileCases, EachLeadsToItsEndAndItsLog) {
    const nlohmann::json corpus = readCorpus("status_files");
    for (const CorpusCase& item : corpus.at("values"))
        check(item);
}

}  // namespace
