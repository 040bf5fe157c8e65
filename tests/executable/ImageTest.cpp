#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

#include "executable/ImageFindings.h"
#include "executable/ImportedFunctions.h"
#include "support/Files.h"
#include "support/Programs.h"

using ::testing::Contains;
using ::testing::IsEmpty;

namespace {

// With what the build says of itself: the folders that it reads from and writes to.
const std::vector<std::string> kBuildPlaces = {LSDK_SOURCE_FOLDER, LSDK_BINARY_FOLDER};

struct Product {
    const wchar_t* file;
    size_t guardedFunctions;  // a little fewer than it has
};

class ImageTest : public ::testing::TestWithParam<Product> {
protected:
    PeFile file{readFile(programBeside(GetParam().file))};
};

INSTANTIATE_TEST_SUITE_P(Products, ImageTest,
                         ::testing::Values(Product{L"LSDKConfigurator.exe", 105},
                                           Product{L"LSDKConfiguratorHelper.exe", 8}),
                         [](const auto& product) {
                             return product.index == 0 ? "Configurator" : "Companion";
                         });

TEST_P(ImageTest, ImportsOnlyWhatWindowsTakesFromItsOwnFolder) {
    EXPECT_THAT(importFindings(file), IsEmpty());
}

TEST_P(ImageTest, IsLaidOutAtRandomAndNeverExecutesData) {
    EXPECT_THAT(protectionFindings(file), IsEmpty());
}

// What the linker leaves out leaves its entry there, empty and before all others.
TEST_P(ImageTest, TableForUnwindingIsSortedAndHoldsCode) {
    EXPECT_THAT(unwindFindings(file), IsEmpty());
}

#ifdef NDEBUG
TEST_P(ImageTest, ImportsOnlyWhatATraceShowsAndWhatItsRuntimeNeeds) {
    EXPECT_THAT(unwatchedImports(file), IsEmpty());
}

// The release executable, whose symbols lie in a file beside it: runtime and all in a megabyte.
TEST_P(ImageTest, IsAMillionBytesAtMost) {
    EXPECT_LE(file.bytes().size(), 1'000'000U);
}
#endif

TEST_P(ImageTest, FunctionsCheckTheirStackFrame) {
    EXPECT_THAT(stackProtectorFindings(file, GetParam().guardedFunctions), IsEmpty());
}

TEST_P(ImageTest, SaysNeitherWhenNorWhereItWasBuilt) {
    EXPECT_THAT(originFindings(file, kBuildPlaces), IsEmpty());
}

// A way to break an executable, and what is found then.
struct Damage {
    const char* name;
    std::function<void(PeFile&)> breakFile;
    Findings (*findingsOf)(const PeFile&);
    std::string finding;
};

void PrintTo(const Damage& damage, std::ostream* out) {
    *out << damage.name;
}

Findings stackFindings(const PeFile& file) {
    return stackProtectorFindings(file, 80);
}
Findings placeFindings(const PeFile& file) {
    return originFindings(file, kBuildPlaces);
}

auto withoutFlag(WORD flag) {
    return [flag](PeFile& file) {
        IMAGE_NT_HEADERS64 headers = file.headers();
        headers.OptionalHeader.DllCharacteristics &= static_cast<WORD>(~flag);
        file.setHeaders(headers);
    };
}

auto withHeaders(void (*change)(IMAGE_NT_HEADERS64&)) {
    return [change](PeFile& file) {
        IMAGE_NT_HEADERS64 headers = file.headers();
        change(headers);
        file.setHeaders(headers);
    };
}

void importAnother(PeFile& file) {
    const IMAGE_DATA_DIRECTORY imports = file.directory(IMAGE_DIRECTORY_ENTRY_IMPORT);
    file.writeText(file.at<IMAGE_IMPORT_DESCRIPTOR>(imports.VirtualAddress).Name,
                   std::string("version.dll", sizeof("version.dll")));
}

void importAnotherFunction(PeFile& file) {
    file.writeText(file.find(file.section(".idata"), "CopyFileW"), "MoveFileW");
}

// A table for late binding with one entry, in place of other data.
void bindAnotherLate(PeFile& file) {
    const IMAGE_SECTION_HEADER section = file.section(".rdata");
    const DWORD table = section.VirtualAddress;
    IMAGE_DELAYLOAD_DESCRIPTOR descriptor = {};
    descriptor.DllNameRVA = table + 2 * sizeof(descriptor);
    file.write(table, descriptor);
    file.write(table + sizeof(descriptor), IMAGE_DELAYLOAD_DESCRIPTOR{});
    file.writeText(descriptor.DllNameRVA, std::string("late.dll", sizeof("late.dll")));
    IMAGE_NT_HEADERS64 headers = file.headers();
    headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT] = {table, 0x40};
    file.setHeaders(headers);
}

void makeCodeWritable(PeFile& file) {
    IMAGE_SECTION_HEADER code = file.section(".text");
    code.Characteristics |= IMAGE_SCN_MEM_WRITE;
    file.setSection(code);
}

void writeFunction(PeFile& file, size_t index, RUNTIME_FUNCTION function) {
    const DWORD table = file.directory(IMAGE_DIRECTORY_ENTRY_EXCEPTION).VirtualAddress;
    file.write(table + static_cast<DWORD>(index * sizeof(function)), function);
}

size_t lastFunction(const PeFile& file) {
    return file.directory(IMAGE_DIRECTORY_ENTRY_EXCEPTION).Size / sizeof(RUNTIME_FUNCTION) - 1;
}

void emptyLastFunction(PeFile& file) {
    writeFunction(file, lastFunction(file), RUNTIME_FUNCTION{});
}

void leadLastFunctionOutOfCode(PeFile& file) {
    const DWORD data = file.section(".rdata").VirtualAddress;
    RUNTIME_FUNCTION function = {};
    function.BeginAddress = data;
    function.EndAddress = data + 1;
    writeFunction(file, lastFunction(file), function);
}

void unguardFunctions(PeFile& file) {
    for (const RUNTIME_FUNCTION& function : guardedFunctions(file)) {
        constexpr char kNoOperation = '\x90';
        const size_t size = function.EndAddress - function.BeginAddress;
        file.writeText(function.BeginAddress, std::string(size, kNoOperation));
    }
}

void silenceAlarm(PeFile& file) {
    file.writeText(file.find(file.section(".text"), kStackAlarm), "no");
}

void stampResources(PeFile& file) {
    const DWORD resources = file.directory(IMAGE_DIRECTORY_ENTRY_RESOURCE).VirtualAddress;
    auto root = file.at<IMAGE_RESOURCE_DIRECTORY>(resources);
    root.TimeDateStamp = 1;
    file.write(resources, root);
}

void namePlace(PeFile& file) {
    file.writeText(file.section(".rdata").VirtualAddress, LSDK_SOURCE_FOLDER "/src");
}

class BrokenImage : public ::testing::TestWithParam<Damage> {};

INSTANTIATE_TEST_SUITE_P(
    Damages, BrokenImage,
    ::testing::Values(
        Damage{"ForeignImport", importAnother, importFindings, "imports version.dll"},
        Damage{"ForeignFunction", importAnotherFunction, unwatchedImports, "imports MoveFileW"},
        Damage{"ForeignLateImport", bindAnotherLate, importFindings, "imports late.dll"},
        Damage{"NoImports", withHeaders([](IMAGE_NT_HEADERS64& headers) {
                   headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT] = {};
               }),
               importFindings, "imports nothing"},
        Damage{"NoHighEntropy", withoutFlag(IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA),
               protectionFindings, "without HIGH_ENTROPY_VA"},
        Damage{"NoRandomBase", withoutFlag(IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE),
               protectionFindings, "without DYNAMIC_BASE"},
        Damage{"ExecutableData", withoutFlag(IMAGE_DLLCHARACTERISTICS_NX_COMPAT),
               protectionFindings, "without NX_COMPAT"},
        Damage{"RelocationsStripped", withHeaders([](IMAGE_NT_HEADERS64& headers) {
                   headers.FileHeader.Characteristics |= IMAGE_FILE_RELOCS_STRIPPED;
               }),
               protectionFindings, "without relocations"},
        Damage{"NoRelocations", withHeaders([](IMAGE_NT_HEADERS64& headers) {
                   headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC] = {};
               }),
               protectionFindings, "without relocations"},
        Damage{"LowBase", withHeaders([](IMAGE_NT_HEADERS64& headers) {
                   headers.OptionalHeader.ImageBase = 0x400000;
               }),
               protectionFindings, "with a low image base"},
        Damage{"Console", withHeaders([](IMAGE_NT_HEADERS64& headers) {
                   headers.OptionalHeader.Subsystem = IMAGE_SUBSYSTEM_WINDOWS_CUI;
               }),
               protectionFindings, "not of the GUI subsystem"},
        Damage{"WritableCode", makeCodeWritable, protectionFindings,
               "with a section that is writable and executable"},
        Damage{"UnsortedFunctions", emptyLastFunction, unwindFindings,
               "with an unsorted table for unwinding"},
        Damage{"FunctionOfData", leadLastFunctionOutOfCode, unwindFindings, "unwinds what is no code"},
        Damage{"NoFunctions", withHeaders([](IMAGE_NT_HEADERS64& headers) {
                   headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXCEPTION] = {};
               }),
               unwindFindings, "unwinds nothing"},
        Damage{"UnguardedFunctions", unguardFunctions, stackFindings,
               "only 0 functions check their frame"},
        Damage{"NoAlarm", silenceAlarm, stackFindings, "only 0 functions check their frame"},
        Damage{"TimeStamp",
               withHeaders([](IMAGE_NT_HEADERS64& headers) { headers.FileHeader.TimeDateStamp = 1; }),
               placeFindings, "with a time stamp"},
        Damage{"TimeStampOfResources", stampResources, placeFindings,
               "with a time stamp in its resources"},
        Damage{"Place", namePlace, placeFindings, "names " LSDK_SOURCE_FOLDER}),
    [](const auto& damage) { return damage.param.name; });

TEST_P(BrokenImage, IsFoundOut) {
    PeFile file(readFile(programBeside(L"LSDKConfigurator.exe")));
    ASSERT_THAT(GetParam().findingsOf(file), ::testing::Not(Contains(GetParam().finding)));

    GetParam().breakFile(file);

    EXPECT_THAT(GetParam().findingsOf(file), Contains(GetParam().finding));
}

TEST(PeFileTest, OnlyExecutablesFor64BitWindowsAreRead) {
    std::string bytes = readFile(programBeside(L"LSDKConfigurator.exe"));

    EXPECT_THROW(PeFile(bytes.substr(0, 100)), std::out_of_range);
    bytes[0] = 'X';
    EXPECT_THROW(PeFile{bytes}, std::invalid_argument);
}

}  // namespace
