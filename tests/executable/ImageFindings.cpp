#include "executable/ImageFindings.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

// Windows takes each of these from its own folder, whatever lies beside the executable: the first
// are what it calls known DLLs, the others are sets of functions that it resolves without looking
// for a file. For any other DLL a file of its name beside an elevated program would be its end.
constexpr const char* kSystemDlls[] = {
    "advapi32.dll",                            // registry, tokens, security
    "kernel32.dll",                            // files, processes, memory
    "msvcrt.dll",                              // the C runtime that comes with Windows
    "ole32.dll",                               // COM
    "oleaut32.dll",                            // texts of COM errors
    "shell32.dll",                             // special folders, copying and deleting of folders
    "shlwapi.dll",                             // paths
    "user32.dll",                              // the desktop's shell window
    "api-ms-win-core-path-l1-1-0.dll",         // paths
    "api-ms-win-core-winrt-error-l1-1-0.dll",  // errors of the Windows Runtime
    "api-ms-win-core-winrt-error-l1-1-1.dll",
    "api-ms-win-core-winrt-l1-1-0.dll",         // activation
    "api-ms-win-core-winrt-string-l1-1-0.dll",  // strings
};

bool isSystemDll(const std::string& name) {
    return std::any_of(std::begin(kSystemDlls), std::end(kSystemDlls),
                       [&](const char* dll) { return ::_stricmp(dll, name.c_str()) == 0; });
}

// The names in a table of imports, which ends with an entry without a name.
template <typename Descriptor>
std::vector<std::string> importedDlls(const PeFile& file, unsigned directory,
                                      DWORD Descriptor::*name) {
    std::vector<std::string> names;
    const DWORD table = file.directory(directory).VirtualAddress;
    if (table == 0) return names;
    for (size_t i = 0; file.at<Descriptor>(table, i).*name != 0; ++i) {
        names.push_back(file.textAt(file.at<Descriptor>(table, i).*name));
    }
    return names;
}

bool hasRelocations(const PeFile& file) {
    const IMAGE_DATA_DIRECTORY table = file.directory(IMAGE_DIRECTORY_ENTRY_BASERELOC);
    if (table.VirtualAddress == 0 || table.Size < sizeof(IMAGE_BASE_RELOCATION)) return false;
    return file.at<IMAGE_BASE_RELOCATION>(table.VirtualAddress).SizeOfBlock >
           sizeof(IMAGE_BASE_RELOCATION);
}

// Each function that has a stack frame, by the table for unwinding. The linker leaves an empty
// entry for one that it left out.
std::vector<RUNTIME_FUNCTION> functionsOf(const PeFile& file) {
    const IMAGE_DATA_DIRECTORY table = file.directory(IMAGE_DIRECTORY_ENTRY_EXCEPTION);
    std::vector<RUNTIME_FUNCTION> functions;
    for (size_t i = 0; i < table.Size / sizeof(RUNTIME_FUNCTION); ++i) {
        const auto function = file.at<RUNTIME_FUNCTION>(table.VirtualAddress, i);
        if (function.EndAddress != 0) functions.push_back(function);
    }
    return functions;
}

// The functions with a call whose operand, which is relative to what follows it, leads to `target`.
std::vector<RUNTIME_FUNCTION> callersOf(const PeFile& file, DWORD target) {
    constexpr char kCall = '\xE8';
    const IMAGE_SECTION_HEADER code = file.section(".text");
    const std::string text = file.bytes().substr(code.PointerToRawData, code.SizeOfRawData);
    constexpr size_t kOperandSize = 4;
    const auto leads = [&](const RUNTIME_FUNCTION& function) {
        const std::string body = text.substr(function.BeginAddress - code.VirtualAddress,
                                             function.EndAddress - function.BeginAddress);
        for (size_t at = body.find(kCall); at != std::string::npos && at + kOperandSize < body.size();
             at = body.find(kCall, at + 1)) {
            DWORD distance = 0;
            std::memcpy(&distance, body.data() + at + 1, kOperandSize);
            const DWORD next = static_cast<DWORD>(at + 1 + kOperandSize);
            if (function.BeginAddress + next + distance == target) return true;
        }
        return false;
    };
    std::vector<RUNTIME_FUNCTION> found;
    std::ranges::copy_if(functionsOf(file), std::back_inserter(found), leads);
    return found;
}

}  // namespace

Findings importFindings(const PeFile& file) {
    std::vector<std::string> dlls = importedDlls(file, IMAGE_DIRECTORY_ENTRY_IMPORT,
                                                 &IMAGE_IMPORT_DESCRIPTOR::Name);
    Findings findings;
    if (dlls.empty()) findings.push_back("imports nothing");
    const auto late = importedDlls(file, IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT,
                                   &IMAGE_DELAYLOAD_DESCRIPTOR::DllNameRVA);
    dlls.insert(dlls.end(), late.begin(), late.end());
    for (const std::string& dll : dlls) {
        if (!isSystemDll(dll)) findings.push_back("imports " + dll);
    }
    return findings;
}

Findings protectionFindings(const PeFile& file) {
    const IMAGE_NT_HEADERS64 headers = file.headers();
    Findings findings;
    const auto expectFlag = [&](WORD flag, const char* name) {
        if ((headers.OptionalHeader.DllCharacteristics & flag) == 0) {
            findings.push_back(std::string("without ") + name);
        }
    };
    expectFlag(IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA, "HIGH_ENTROPY_VA");
    expectFlag(IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, "DYNAMIC_BASE");
    expectFlag(IMAGE_DLLCHARACTERISTICS_NX_COMPAT, "NX_COMPAT");
    if ((headers.FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED) != 0 ||
        !hasRelocations(file)) {
        findings.push_back("without relocations");
    }
    // Below 4 GiB Windows leaves the upper half of the address as it is.
    if (headers.OptionalHeader.ImageBase >> 32 == 0) findings.push_back("with a low image base");
    if (headers.OptionalHeader.Subsystem != IMAGE_SUBSYSTEM_WINDOWS_GUI) {
        findings.push_back("not of the GUI subsystem");
    }
    constexpr DWORD kWritableCode = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
    for (const IMAGE_SECTION_HEADER& section : file.sections()) {
        if ((section.Characteristics & kWritableCode) == kWritableCode) {
            findings.push_back("with a section that is writable and executable");
        }
    }
    return findings;
}

Findings unwindFindings(const PeFile& file) {
    const IMAGE_SECTION_HEADER code = file.section(".text");
    const DWORD codeEnd = code.VirtualAddress + code.Misc.VirtualSize;
    const IMAGE_DATA_DIRECTORY table = file.directory(IMAGE_DIRECTORY_ENTRY_EXCEPTION);
    Findings findings;
    DWORD end = 0;
    for (size_t i = 0; i < table.Size / sizeof(RUNTIME_FUNCTION); ++i) {
        const auto function = file.at<RUNTIME_FUNCTION>(table.VirtualAddress, i);
        const bool isEmpty = function.BeginAddress == 0 && function.EndAddress == 0;
        if (!isEmpty &&
            (function.BeginAddress < code.VirtualAddress ||
             function.EndAddress <= function.BeginAddress || function.EndAddress > codeEnd)) {
            findings.push_back("unwinds what is no code");
        }
        if (function.BeginAddress < end) findings.push_back("with an unsorted table for unwinding");
        end = function.EndAddress;
    }
    if (end == 0) findings.push_back("unwinds nothing");
    return findings;
}

std::vector<RUNTIME_FUNCTION> guardedFunctions(const PeFile& file) {
    const DWORD alarm = file.find(file.section(".text"), kStackAlarm);
    return alarm == 0 ? std::vector<RUNTIME_FUNCTION>() : callersOf(file, alarm);
}

// Nothing of the libraries that are linked in was compiled with the protector: each function that
// can end in the alarm is one of the product's own.
Findings stackProtectorFindings(const PeFile& file, size_t fewest) {
    const size_t guarded = guardedFunctions(file).size();
    if (guarded >= fewest) return {};
    return {"only " + std::to_string(guarded) + " functions check their frame"};
}

Findings originFindings(const PeFile& file, const std::vector<std::string>& places) {
    Findings findings;
    if (file.headers().FileHeader.TimeDateStamp != 0) findings.push_back("with a time stamp");
    const DWORD resources = file.directory(IMAGE_DIRECTORY_ENTRY_RESOURCE).VirtualAddress;
    if (file.at<IMAGE_RESOURCE_DIRECTORY>(resources).TimeDateStamp != 0) {
        findings.push_back("with a time stamp in its resources");
    }
    for (const std::string& place : places) {
        const std::wstring wide(place.begin(), place.end());
        const std::string wideBytes(reinterpret_cast<const char*>(wide.data()),
                                    wide.size() * sizeof(wchar_t));
        for (const std::string& text : {place, wideBytes}) {
            if (file.bytes().find(text) != std::string::npos) findings.push_back("names " + place);
        }
    }
    return findings;
}
