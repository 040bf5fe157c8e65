#pragma once

#include "support/LogTest.h"

#include <shlobj.h>

#include <string>
#include <vector>

#include "users/UserProfiles.h"

// A test with user accounts: their entries in the profile list, their hives, and who is logged on.
class ProfilesTest : public LogTest {
protected:
    static constexpr wchar_t kProfileList[] =
        L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";
    static constexpr wchar_t kLogonUi[] =
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\LogonUI";
    static constexpr wchar_t kAnn[] = L"S-1-5-21-10-20-30-1001";
    static constexpr wchar_t kBob[] = L"S-1-5-21-10-20-30-1002";
    static constexpr wchar_t kCarol[] = L"S-1-5-21-10-20-30-1003";

    // An account whose profile folder is that folder of the scratch folder, which is made.
    void addProfile(const std::wstring& sid, const std::wstring& folder) {
        makeFolder(scratch / folder);
        setProfilePath(sid, scratch / folder);
    }
    void setProfilePath(const std::wstring& sid, const std::wstring& path, DWORD type = REG_SZ) {
        registry.setText(HKEY_LOCAL_MACHINE, profileKey(sid), L"ProfileImagePath", path, type);
    }
    static std::wstring profileKey(const std::wstring& sid) {
        return std::wstring(kProfileList) + L"\\" + sid;
    }

    // A value of the user's hive, which is loaded with it.
    void setFolder(const std::wstring& sid, const wchar_t* keySuffix, const std::wstring& valueName,
                   const std::wstring& path, DWORD type = REG_SZ) {
        registry.loadHive(sid);
        registry.setText(HKEY_USERS, sid + keySuffix, valueName, path, type);
    }

    void logOn(const std::wstring& sid) {
        registry.setText(HKEY_LOCAL_MACHINE, kLogonUi, L"SelectedUserSID", sid);
    }

    // The folder of the account that runs the program, or the failure to tell it.
    void setOwnProfile(const std::wstring& path, HRESULT error = S_OK) {
        machine.state.folders[CSIDL_PROFILE] = {path, error};
    }

    // Texts in which "~" stands for the scratch folder.
    std::string shortened(std::string text) const {
        const std::string folder(scratch.path().begin(), scratch.path().end());
        for (size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, at))
            text.replace(at, folder.size(), "~");
        return text;
    }
    std::string shortLog() { return shortened(logText()); }

    // What was logged since this was last asked.
    std::string newLog() {
        const std::string text = shortLog();
        const std::string added = text.substr(m_logSeen);
        m_logSeen = text.size();
        return added;
    }

    std::vector<std::string> shortCalls(std::initializer_list<std::string_view> names) const {
        std::vector<std::string> lines = machine.calls(names);
        for (std::string& line : lines)
            line = shortened(line);
        return lines;
    }

private:
    size_t m_logSeen = 0;
};
