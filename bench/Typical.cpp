#include "Typical.h"

#include <filesystem>
#include <stdexcept>

#include "Replay.h"
#include "Slices.h"
#include "run/RunConfigurator.h"

namespace {

constexpr wchar_t kLists[] =
    L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\Velta.LC.QK_kt83f9rd2xj6a";
constexpr wchar_t kNewPackage[] = L"\\users\\0\\AppData\\Local\\Packages\\Velta.LC.QK_kt83f9rd2xj6a";

constexpr size_t kFiles = 12;  // and folders beside them

}  // namespace

void sliceTypicalRun(const std::wstring& root, int rounds) {
    Platform::Array arguments;
    for (const wchar_t* text :
         {L"LSDKConfigurator.exe", L"40.1.0.0", L"Velta.LC.QK", L"QK.exe", L"ZRKL"})
        arguments.emplace_back(text);
    const std::vector<RecordedCall> calls = readTable(root + L"\\table.txt");
    bool isFirst = true;
    const auto removeResult = [&] {
        const bool isDone = std::filesystem::remove_all(root + kNewPackage) > kFiles;
        if (!isDone && !isFirst) throw std::runtime_error("nothing was migrated");
        isFirst = false;
        ::RegDeleteTreeW(HKEY_CLASSES_ROOT, kLists);
        const std::wstring user = L"S-1-5-21-1000-2000-3000-0\\SOFTWARE\\Classes\\";
        ::RegDeleteTreeW(HKEY_USERS, (user + kLists).c_str());
    };
    runSlices(rounds, 1,
              {[&](int, int) { runConfigurator(arguments); }, [&](int, int) { replay(calls); },
               removeResult});
}
