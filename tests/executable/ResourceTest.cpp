#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "executable/Resources.h"
#include "stand-in/Text.h"
#include "support/Files.h"
#include "support/Programs.h"
#include "support/ScratchFolder.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

namespace {

constexpr wchar_t kConfigurator[] = L"LSDKConfigurator.exe";

class ResourceTest : public ::testing::TestWithParam<const wchar_t*> {
protected:
    std::wstring file = programBeside(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Products, ResourceTest,
                         ::testing::Values(kConfigurator, L"LSDKConfiguratorHelper.exe"),
                         [](const auto& product) {
                             return product.index == 0 ? "Configurator" : "Companion";
                         });

// Whoever adds to the manifest adds here: a switch for long paths, another code page, another heap
// or a scaling of windows would each change what the program does.
std::vector<std::string> manifestFindings(const std::string& manifest) {
    const std::string assembly = "{urn:schemas-microsoft-com:asm.v1}assembly";
    const std::string trust = assembly + "/{urn:schemas-microsoft-com:asm.v3}trustInfo";
    const std::string security = trust + "/{urn:schemas-microsoft-com:asm.v3}security";
    const std::string privileges = security +
                                   "/{urn:schemas-microsoft-com:asm.v3}requestedPrivileges";
    const std::string compatibility = assembly +
                                      "/{urn:schemas-microsoft-com:compatibility.v1}compatibility";
    const std::string application = compatibility +
                                    "/{urn:schemas-microsoft-com:compatibility.v1}application";
    const std::vector<std::string> expected = {
        assembly + " manifestVersion=1.0",
        trust,
        security,
        privileges,
        privileges +
            "/{urn:schemas-microsoft-com:asm.v3}requestedExecutionLevel"
            " level=asInvoker uiAccess=false",
        compatibility,
        application,
        application +
            "/{urn:schemas-microsoft-com:compatibility.v1}supportedOS"
            " Id={8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",
    };
    std::vector<std::string> findings;
    const std::vector<std::string> actual = elementsOf(manifest);
    for (const std::string& element : actual) {
        if (std::ranges::find(expected, element) == expected.end())
            findings.push_back("has " + element.substr(element.rfind('}') + 1));
    }
    for (const std::string& element : expected) {
        if (std::ranges::count(actual, element) != 1)
            findings.push_back("lacks " + element.substr(element.rfind("}", element.find(' ')) + 1));
    }
    return findings;
}

TEST_P(ResourceTest, VersionIsTheProjects) {
    const auto version = versionOf(file);
    std::string name = standin::toUtf8(GetParam());

    EXPECT_THAT(version, Contains(std::pair("FixedFileVersion", LSDK_VERSION ".0")));
    EXPECT_THAT(version, Contains(std::pair("FixedProductVersion", LSDK_VERSION ".0")));
    EXPECT_THAT(version, Contains(std::pair("FileVersion", LSDK_VERSION)));
    EXPECT_THAT(version, Contains(std::pair("ProductVersion", LSDK_VERSION)));
    EXPECT_THAT(version, Contains(std::pair("ProductName", "LSDKConfigurator")));
    EXPECT_THAT(version, Contains(std::pair("OriginalFilename", name)));
    EXPECT_THAT(version, Contains(std::pair("InternalName", name.substr(0, name.rfind('.')))));
    EXPECT_THAT(version.at("FileDescription"), Not(IsEmpty()));
}

std::string bytesOf(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

TEST_P(ResourceTest, VersionIsReadFromTheFile) {
    const ScratchFolder scratch;
    std::string bytes = readFile(file);
    const size_t at = bytes.find(bytesOf(GetParam()), bytes.find(bytesOf(L"OriginalFilename")));
    ASSERT_NE(at, std::string::npos);
    bytes[at] = 'X';
    writeFile(scratch / L"copy.exe", bytes);

    EXPECT_EQ(versionOf(scratch / L"copy.exe").at("OriginalFilename"),
              "X" + standin::toUtf8(GetParam()).substr(1));
}

TEST_P(ResourceTest, OneManifestAsksForNoRightsAndChangesNeitherPathLimitsNorCodePages) {
    const auto manifests = manifestsOf(file);

    ASSERT_THAT(manifests, SizeIs(1));
    EXPECT_THAT(manifestFindings(manifests.front()), IsEmpty());
}

class BrokenManifest : public ::testing::Test {
protected:
    // The configurator's manifest with a passage replaced.
    static std::string manifestWith(const std::string& passage, const std::string& replacement) {
        std::string text = manifestsOf(programBeside(kConfigurator)).at(0);
        const size_t at = text.find(passage);
        EXPECT_NE(at, std::string::npos) << passage;
        return text.replace(at, passage.size(), replacement);
    }
    static std::string withSettings(const std::string& settings) {
        return manifestWith(
            "</assembly>", "<application xmlns='urn:schemas-microsoft-com:asm.v3'><windowsSettings>" +
                               settings + "</windowsSettings></application></assembly>");
    }
};

TEST_F(BrokenManifest, ASwitchForLongPathsIsFoundOut) {
    const auto findings = manifestFindings(withSettings(
        "<longPathAware xmlns='http://schemas.microsoft.com/SMI/2016/WindowsSettings'>true"
        "</longPathAware>"));

    EXPECT_THAT(findings, ElementsAre("has application", "has windowsSettings", "has longPathAware",
                                      "has true"));
}

TEST_F(BrokenManifest, AnotherCodePageIsFoundOut) {
    const auto findings = manifestFindings(withSettings(
        "<ws:activeCodePage xmlns:ws='http://schemas.microsoft.com/SMI/2019/WindowsSettings'>UTF-8"
        "</ws:activeCodePage>"));

    EXPECT_THAT(findings, Contains("has activeCodePage"));
}

TEST_F(BrokenManifest, ElevationOfItsOwnIsFoundOut) {
    EXPECT_THAT(manifestFindings(manifestWith("asInvoker", "requireAdministrator")),
                ElementsAre("has requestedExecutionLevel level=requireAdministrator uiAccess=false",
                            "lacks requestedExecutionLevel level=asInvoker uiAccess=false"));
}

TEST_F(BrokenManifest, WhatStandsInACommentCountsForNothing) {
    const std::string level = "<requestedExecutionLevel level=\"asInvoker\" uiAccess=\"false\"/>";

    EXPECT_THAT(manifestFindings(manifestWith(level, "<!-- " + level + " -->")),
                ElementsAre("lacks requestedExecutionLevel level=asInvoker uiAccess=false"));
}

TEST_F(BrokenManifest, ASystemThatIsNotNamedIsFoundOut) {
    EXPECT_THAT(manifestFindings(manifestWith("8e0f7a12", "8e0f7a13")), SizeIs(2));
}

TEST_F(BrokenManifest, WhatIsNotWellFormedIsRefused) {
    EXPECT_THROW(elementsOf(manifestWith("</assembly>", "</other>")), std::invalid_argument);
}

}  // namespace
