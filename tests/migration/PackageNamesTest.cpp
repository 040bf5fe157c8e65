#include "migration/MigratorTest.h"

namespace {

class PackageNamesTest : public MigratorTest {};

TEST_F(PackageNamesTest, VeryEndOfTheNameTellsTheBuild) {
    const struct {
        const wchar_t* name;
        BuildType build;
    } rows[] = {
        {L"Velta.LC.QK.Dev", BuildTypeDev},
        {L"Velta.LC.QK.PreRelease", BuildTypePreRelease},
        {L"Velta.LC.QK.Beta", BuildTypeBeta},
        {L"Velta.LC.QK", BuildTypeRelease},
        {L".Dev", BuildTypeDev},
        {L".PreRelease", BuildTypePreRelease},
        {L".Beta", BuildTypeBeta},
        {L"Velta.LC.QK.Beta.Dev", BuildTypeDev},
        {L"Velta.LC.QK.Dev.Beta", BuildTypeBeta},
        {L"Velta.LC.QK.Dev.PreRelease", BuildTypePreRelease},
        {L"Velta.LC.QK.beta", BuildTypeRelease},
        {L"Velta.LC.QK.DEV", BuildTypeRelease},
        {L"Velta.LC.QK.Prerelease", BuildTypeRelease},
        {L"Velta.LC.QK.Beta ", BuildTypeRelease},
        {L"Velta.LC.QK.Beta.", BuildTypeRelease},
        {L"Velta.LC.QKBeta", BuildTypeRelease},
        {L"Dev", BuildTypeRelease},
        {L"eta", BuildTypeRelease},
        {L"", BuildTypeRelease},
    };
    const AppDataMigrator& migrator = start();
    for (const auto& row : rows) {
        EXPECT_EQ(migrator.detectBuildType(row.name), row.build) << std::wstring(row.name);
    }
}

TEST_F(PackageNamesTest, OldNameIsMadeOfTheBaseTheBuildAndThePublisher) {
    const AppDataMigrator& migrator = start();

    EXPECT_EQ(migrator.composeOldPackageName(BuildTypeDev, L"Base", L"id"), L"Base.Dev_id");
    EXPECT_EQ(migrator.composeOldPackageName(BuildTypePreRelease, L"Base", L"id"),
              L"Base.PreRelease_id");
    EXPECT_EQ(migrator.composeOldPackageName(BuildTypeBeta, L"Base", L"id"), L"Base.Beta_id");
    EXPECT_EQ(migrator.composeOldPackageName(BuildTypeRelease, L"Base", L"id"), L"Base_id");
}

TEST_F(PackageNamesTest, BothNamesAreSettledAndLogged) {
    const struct {
        const wchar_t* argument;
        const wchar_t* oldName;
        const wchar_t* newName;
        const char* lines;
    } rows[] = {
        {L"Velta.LC.QK.Beta", L"Velta.LC.QK.Beta_qzw4mhtrvb2ne", L"Velta.LC.QK.Beta_kt83f9rd2xj6a",
         "Build Type '2\n"
         "old package name 'Velta.LC.QK.Beta_qzw4mhtrvb2ne' new package name "
         "'Velta.LC.QK.Beta_kt83f9rd2xj6a\n"},
        {L"Velta.LC.QK.beta", L"Velta.LC.QK_qzw4mhtrvb2ne", L"Velta.LC.QK.beta_kt83f9rd2xj6a",
         "Build Type '3\n"
         "old package name 'Velta.LC.QK_qzw4mhtrvb2ne' new package name "
         "'Velta.LC.QK.beta_kt83f9rd2xj6a\n"},
        {L"Other.PreRelease", L"Velta.LC.QK.PreRelease_qzw4mhtrvb2ne",
         L"Other.PreRelease_kt83f9rd2xj6a",
         "Build Type '1\n"
         "old package name 'Velta.LC.QK.PreRelease_qzw4mhtrvb2ne' new package name "
         "'Other.PreRelease_kt83f9rd2xj6a\n"},
        {L"Velta.LC.QK.Beta.Dev", L"Velta.LC.QK.Dev_qzw4mhtrvb2ne",
         L"Velta.LC.QK.Beta.Dev_kt83f9rd2xj6a",
         "Build Type '0\n"
         "old package name 'Velta.LC.QK.Dev_qzw4mhtrvb2ne' new package name "
         "'Velta.LC.QK.Beta.Dev_kt83f9rd2xj6a\n"},
        {L"", L"Velta.LC.QK_qzw4mhtrvb2ne", L"_kt83f9rd2xj6a",
         "Build Type '3\n"
         "old package name 'Velta.LC.QK_qzw4mhtrvb2ne' new package name '_kt83f9rd2xj6a\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.lines);
        newLog();

        const AppDataMigrator migrator(row.argument, false);

        EXPECT_EQ(migrator.oldPackageName, row.oldName);
        EXPECT_EQ(migrator.newPackageName, row.newName);
        EXPECT_THAT(newLog(), ::testing::StartsWith(row.lines));
    }
}

}  // namespace
