#include "run/ExecutablePermissions.h"

#include <optional>
#include <type_traits>

#include "platform/PlatformException.h"
#include "support/MachineTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The literals that the record makes strings of, in order.
constexpr const char* kStrings[] = {"status", "sapCode", "appVersion", "migrated", "failed",
                                    "reason", "ZRKL",    "ZRKLDV",     "ZRKLPR",   "ZRKLBE"};

static_assert(std::has_virtual_destructor_v<ExecutablePermissions>);

#pragma GCC diagnostic push
// A COM interface must not have a virtual destructor: it would take places in the table.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A document that notes when it is let go.
struct Document final : IJsonObject {
    explicit Document(standin::Machine& itsMachine) : machine(itsMachine) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override {
        callsBeforeRelease = machine.calls();
        ++releases;
        return 0;
    }
    HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused6() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetNamedValue(HSTRING, IJsonValue*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNamedObject(HSTRING, IJsonObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unused9() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNamedString(HSTRING, HSTRING*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNamedNumber(HSTRING, double*) override { return E_NOTIMPL; }

    standin::Machine& machine;
    std::vector<std::string> callsBeforeRelease;
    int releases = 0;
};

#pragma GCC diagnostic pop

// The log does not exist here: using it would end the test.
class ExecutablePermissionsTest : public MachineTest {};

TEST_F(ExecutablePermissionsTest, StartsWithItsConstants) {
    const ExecutablePermissions record;

    EXPECT_EQ(record.m_pluginsMigrationStatusFileName, L".pluginsMigrationStatus.json");
    EXPECT_EQ(record.m_localStorageFolderName, L"LocalStorage");
    EXPECT_EQ(record.m_secureStorageFolderName, L"SecureStorage");
    EXPECT_EQ(record.m_statusKey.str(), L"status");
    EXPECT_EQ(record.m_sapCodeKey.str(), L"sapCode");
    EXPECT_EQ(record.m_appVersionKey.str(), L"appVersion");
    EXPECT_EQ(record.m_migratedKey.str(), L"migrated");
    EXPECT_EQ(record.m_failedKey.str(), L"failed");
    EXPECT_EQ(record.m_reasonKey.str(), L"reason");
    EXPECT_EQ(record.m_sapCodeRelease.str(), L"ZRKL");
    EXPECT_EQ(record.m_sapCodeDev.str(), L"ZRKLDV");
    EXPECT_EQ(record.m_sapCodePrerelease.str(), L"ZRKLPR");
    EXPECT_EQ(record.m_sapCodeBeta.str(), L"ZRKLBE");
    EXPECT_EQ(record.m_minimumMajorVersion, 39);
}

TEST_F(ExecutablePermissionsTest, StartsEmptyOtherwise) {
    const ExecutablePermissions record;

    EXPECT_EQ(record.m_token, nullptr);
    EXPECT_TRUE(record.m_productName.isEmpty());
    EXPECT_TRUE(record.m_packageFamilyName.isEmpty());
    EXPECT_TRUE(record.m_packageInstallPath.isEmpty());
    EXPECT_TRUE(record.m_version.isEmpty());
    EXPECT_TRUE(record.m_executableName.isEmpty());
    EXPECT_TRUE(record.m_sapCode.isEmpty());
    EXPECT_FALSE(record.m_isEnterpriseDeployment);
    EXPECT_THAT(record.m_tokenUserBuffer, IsEmpty());
    EXPECT_EQ(record.m_tokenUser, nullptr);
    for (const std::wstring* text :
         {&record.m_currentUserSidString, &record.m_rxpAppDataPath,
          &record.m_migrationStatusFileFullPath, &record.m_pluginsOldLocation,
          &record.m_pluginsNewLocation, &record.m_pluginSettingsOldLocation,
          &record.m_pluginSettingsNewLocation, &record.m_migrationFailureReason}) {
        EXPECT_EQ(*text, L"");
    }
    for (const std::vector<std::wstring>* list :
         {&record.m_plugins, &record.m_migratedPlugins, &record.m_pluginSettings,
          &record.m_migratedPluginSettings}) {
        EXPECT_THAT(*list, IsEmpty());
    }
    EXPECT_FALSE(record.m_migrationStatus);
}

TEST_F(ExecutablePermissionsTest, MakesItsStringsInOrderAndNothingElse) {
    std::vector<std::string> expected;
    for (const std::string text : kStrings) {
        const std::string quoted = '"' + text + '"';
        expected.push_back("WindowsCreateStringReference(" + quoted + ", " +
                           std::to_string(text.size()) + ", out, " + quoted + ") = 0");
        expected.push_back("WindowsDuplicateString(" + quoted + ", " + quoted + ") = 0");
    }

    const ExecutablePermissions record;

    EXPECT_EQ(machine.calls(), expected);
}

TEST_F(ExecutablePermissionsTest, AStringThatCannotBeMadeThrowsAndReleasesTheOnesBefore) {
    for (size_t n = 1; n <= std::size(kStrings); ++n) {
        SCOPED_TRACE(kStrings[n - 1]);
        machine.trace.clear();
        machine.faults.clear();
        machine.failNth("WindowsDuplicateString", n, 0x8007000E);

        EXPECT_THROW(ExecutablePermissions(), Platform::OutOfMemoryException);

        EXPECT_EQ(machine.trace.count("WindowsDuplicateString"), n);
        EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
    }
}

TEST_F(ExecutablePermissionsTest, EndWithoutATokenClosesNothing) {
    { const ExecutablePermissions record; }

    EXPECT_EQ(machine.trace.count("CloseHandle"), 0U);
}

TEST_F(ExecutablePermissionsTest, EndClosesTheTokenThenTheDocumentThenTheRestFromTheLast) {
    Document document(machine);
    std::optional<ExecutablePermissions> record(std::in_place);
    ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &record->m_token);
    record->m_productName = Platform::String(L"Velta.QK");
    record->m_packageFamilyName = Platform::String(L"family");
    record->m_packageInstallPath = Platform::String(L"path");
    record->m_version = Platform::String(L"40.1.0.0");
    record->m_executableName = Platform::String(L"QK.exe");
    record->m_sapCode = Platform::String(L"code");
    record->m_migrationStatus = ComPointer<IJsonObject>::adopt(&document);
    machine.trace.clear();

    record.reset();

    EXPECT_EQ(document.releases, 1);
    EXPECT_THAT(document.callsBeforeRelease, ElementsAre("CloseHandle(token#1) = 1"));
    EXPECT_THAT(
        machine.calls(),
        ElementsAre("CloseHandle(token#1) = 1", "WindowsDeleteString(\"code\") = 0",
                    "WindowsDeleteString(\"ZRKLBE\") = 0", "WindowsDeleteString(\"ZRKLPR\") = 0",
                    "WindowsDeleteString(\"ZRKLDV\") = 0", "WindowsDeleteString(\"ZRKL\") = 0",
                    "WindowsDeleteString(\"reason\") = 0", "WindowsDeleteString(\"failed\") = 0",
                    "WindowsDeleteString(\"migrated\") = 0",
                    "WindowsDeleteString(\"appVersion\") = 0", "WindowsDeleteString(\"sapCode\") = 0",
                    "WindowsDeleteString(\"status\") = 0", "WindowsDeleteString(\"QK.exe\") = 0",
                    "WindowsDeleteString(\"40.1.0.0\") = 0", "WindowsDeleteString(\"path\") = 0",
                    "WindowsDeleteString(\"family\") = 0", "WindowsDeleteString(\"Velta.QK\") = 0"));
}

}  // namespace
