#include "contract/BothSystems.h"

namespace {

// A path of exactly `length` characters below `folder`, in names of at most 100 characters; the folders above it exist.
std::wstring pathOfLength(const std::wstring& folder, size_t length) {
    std::wstring path = folder;
    while (length - path.size() > 102)
        path += L"\\" + std::wstring(99, L'd');
    makeFolder(path);
    return path + L"\\" + std::wstring(length - path.size() - 1, L'f');
}

DWORD errorOf(BOOL result) {
    return result ? 0 : ::GetLastError();
}

DWORD errorOfCreating(const std::wstring& path) {
    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return ::GetLastError();
    ::CloseHandle(file);
    return 0;
}

DWORD errorOfListing(const std::wstring& pattern) {
    WIN32_FIND_DATAW found = {};
    const HANDLE search = ::FindFirstFileW(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return ::GetLastError();
    ::FindClose(search);
    return 0;
}

DWORD errorOfAttributes(const std::wstring& path) {
    return errorOf(::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES);
}

class FilesOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(FilesOnBothSystems);

TEST_P(FilesOnBothSystems, AttributesOfWhatIsMissingFailWithTheDocumentedErrors) {
    EXPECT_EQ(errorOfAttributes(scratch / L"missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(errorOfAttributes(scratch / L"missing\\file"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOfAttributes(L""), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOfAttributes(scratch.path()), 0u);
}

TEST_P(FilesOnBothSystems, CopyFailsWithTheDocumentedErrors) {
    const std::wstring file = scratch / L"file";
    writeFile(file, "text");
    makeFolder(scratch / L"folder");
    const auto copy = [&](const wchar_t* from, const wchar_t* to, BOOL failIfExists) {
        return errorOf(::CopyFileW((scratch / from).c_str(), (scratch / to).c_str(), failIfExists));
    };

    EXPECT_EQ(copy(L"missing", L"new", FALSE), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(copy(L"file", L"missing\\new", FALSE), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(copy(L"file", L"folder", FALSE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(copy(L"folder", L"new", FALSE), ERROR_ACCESS_DENIED);
    EXPECT_EQ(copy(L"file", L"file", TRUE), ERROR_FILE_EXISTS);
    EXPECT_EQ(copy(L"file", L"new", TRUE), 0u);
    EXPECT_EQ(readFile(scratch / L"new"), "text");
}

TEST_P(FilesOnBothSystems, ANewCopyHasTheAttributesOfItsSource) {
    writeFile(scratch / L"file", "text");
    setAttributes(scratch / L"file", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE);

    ::CopyFileW((scratch / L"file").c_str(), (scratch / L"new").c_str(), FALSE);

    EXPECT_EQ(attributesOf(scratch / L"new"), DWORD{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE});
}

TEST_P(FilesOnBothSystems, FilesHeldOpenAreSharingViolations) {
    writeFile(scratch / L"held", "text");
    writeFile(scratch / L"other", "text");
    const std::wstring held = scratch / L"held";
    const std::wstring other = scratch / L"other";
    const HeldOpen holder(held);

    EXPECT_EQ(errorOf(::CopyFileW(held.c_str(), (scratch / L"new").c_str(), FALSE)),
              ERROR_SHARING_VIOLATION);
    EXPECT_EQ(errorOf(::CopyFileW(other.c_str(), held.c_str(), FALSE)), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(errorOf(::DeleteFileW(held.c_str())), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(errorOfCreating(held), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(errorOfAttributes(held), 0u);
}

TEST_P(FilesOnBothSystems, FoldersFailWithTheDocumentedErrors) {
    writeFile(scratch / L"file", "text");
    makeFolder(scratch / L"full\\sub");
    const auto make = [&](const wchar_t* path) {
        return errorOf(::CreateDirectoryW((scratch / path).c_str(), nullptr));
    };
    const auto remove = [&](const wchar_t* path) {
        return errorOf(::RemoveDirectoryW((scratch / path).c_str()));
    };

    EXPECT_EQ(make(L"full"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(make(L"file"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(make(L"missing\\new"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(remove(L"full"), ERROR_DIR_NOT_EMPTY);
    EXPECT_EQ(remove(L"missing"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(remove(L"full\\sub"), 0u);
    EXPECT_EQ(errorOfCreating(scratch / L"full"), ERROR_ACCESS_DENIED);
}

TEST_P(FilesOnBothSystems, PathsJustBelowTheLimitsWork) {
    const std::wstring folder = pathOfLength(scratch.path(), 247);
    const std::wstring file = pathOfLength(scratch / L"2", 259);

    EXPECT_EQ(errorOf(::CreateDirectoryW(folder.c_str(), nullptr)), 0u);
    EXPECT_EQ(errorOfCreating(file), 0u);
    EXPECT_EQ(errorOfAttributes(file), 0u);
    EXPECT_EQ(errorOfListing(file), 0u);
    EXPECT_EQ(errorOf(::DeleteFileW(file.c_str())), 0u);
    EXPECT_EQ(errorOf(::RemoveDirectoryW(folder.c_str())), 0u);
}

class FilesTest : public MachineTest {};

TEST_F(FilesTest, AFolderPathOf248CharactersIsTooLong) {
    const std::wstring folder = pathOfLength(scratch.path(), 248);

    EXPECT_EQ(errorOf(::CreateDirectoryW(folder.c_str(), nullptr)), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_FALSE(exists(folder));
}

TEST_F(FilesTest, AFilePathOf260CharactersIsNotFound) {
    const std::wstring tooLong = pathOfLength(scratch.path(), 260);
    writeFile(tooLong, "text");
    writeFile(scratch / L"short", "text");
    const std::wstring shortPath = scratch / L"short";

    EXPECT_EQ(errorOfAttributes(tooLong), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOf(::SetFileAttributesW(tooLong.c_str(), FILE_ATTRIBUTE_NORMAL)),
              ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOfCreating(tooLong), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOf(::CopyFileW(tooLong.c_str(), shortPath.c_str(), FALSE)), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOf(::CopyFileW(shortPath.c_str(), tooLong.c_str(), FALSE)), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOf(::DeleteFileW(tooLong.c_str())), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOf(::RemoveDirectoryW(tooLong.c_str())), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(errorOfListing(tooLong), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(::_wfopen(tooLong.c_str(), L"r"), nullptr);
}

TEST_F(FilesTest, TheLimitCountsTheFullPath) {
    std::wstring roundabout = scratch.path();
    while (roundabout.size() < 300)
        roundabout += L"\\.";
    writeFile(scratch / L"file", "text");

    EXPECT_EQ(errorOfAttributes(roundabout + L"\\file"), 0u);
}

TEST_F(FilesTest, WithoutPathLimitsLongPathsWork) {
    machine.state.hasPathLimits = false;
    const std::wstring folder = pathOfLength(scratch.path(), 300);

    EXPECT_EQ(errorOf(::CreateDirectoryW(folder.c_str(), nullptr)), 0u);
    EXPECT_EQ(errorOfAttributes(folder), 0u);
}

TEST_F(FilesTest, ThePrefixForLongPathsLiftsTheLimits) {
    const std::wstring folder = L"\\\\?\\" + pathOfLength(scratch.path(), 300);

    EXPECT_EQ(errorOf(::CreateDirectoryW(folder.c_str(), nullptr)), 0u);
}

TEST_F(FilesTest, AHiddenOrReadOnlyFileIsNotReplaced) {
    for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_HIDDEN}, DWORD{FILE_ATTRIBUTE_SYSTEM},
                                  DWORD{FILE_ATTRIBUTE_READONLY}}) {
        SCOPED_TRACE(attribute);
        const std::wstring path = scratch / std::to_wstring(attribute);
        writeFile(path, "before");
        setAttributes(path, attribute);

        EXPECT_EQ(errorOfCreating(path), ERROR_ACCESS_DENIED);
        EXPECT_EQ(readFile(path), "before");
    }
}

TEST_F(FilesTest, AHiddenFileIsReplacedByAHiddenOne) {
    const std::wstring path = scratch / L"file";
    writeFile(path, "before");
    setAttributes(path, FILE_ATTRIBUTE_HIDDEN);

    const HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_HIDDEN, nullptr);
    ::CloseHandle(file);

    EXPECT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(readFile(path), "");
}

TEST_F(FilesTest, NothingIsCopiedOntoAHiddenOrReadOnlyFile) {
    writeFile(scratch / L"source", "after");
    for (const DWORD attribute : {DWORD{FILE_ATTRIBUTE_HIDDEN}, DWORD{FILE_ATTRIBUTE_READONLY}}) {
        SCOPED_TRACE(attribute);
        const std::wstring target = scratch / std::to_wstring(attribute);
        writeFile(target, "before");
        setAttributes(target, attribute);

        EXPECT_EQ(errorOf(::CopyFileW((scratch / L"source").c_str(), target.c_str(), FALSE)),
                  ERROR_ACCESS_DENIED);
        EXPECT_EQ(readFile(target), "before");
    }
}

TEST_F(FilesTest, ACopyOntoAnExistingFileGivesItTheAttributesOfTheSource) {
    writeFile(scratch / L"source", "after");
    setAttributes(scratch / L"source", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE);
    writeFile(scratch / L"target", "before");

    ::CopyFileW((scratch / L"source").c_str(), (scratch / L"target").c_str(), FALSE);

    EXPECT_EQ(readFile(scratch / L"target"), "after");
    EXPECT_EQ(attributesOf(scratch / L"target"),
              DWORD{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE});
}

TEST_F(FilesTest, AStreamDoesNotReplaceAHiddenFileButMayReadAndExtendIt) {
    const std::wstring path = scratch / L"file";
    writeFile(path, "before");
    setAttributes(path, FILE_ATTRIBUTE_HIDDEN);

    errno = 0;
    FILE* const written = ::_wfopen(path.c_str(), L"w");
    const int error = errno;
    FILE* const read = ::_wfopen(path.c_str(), L"r");
    if (read != nullptr) std::fclose(read);
    FILE* const extended = ::_wfopen(path.c_str(), L"a");
    if (extended != nullptr) std::fclose(extended);

    EXPECT_EQ(written, nullptr);
    EXPECT_EQ(error, EACCES);
    EXPECT_NE(read, nullptr);
    EXPECT_NE(extended, nullptr);
    EXPECT_EQ(readFile(path), "before");
}

}  // namespace
