#pragma once

#include <optional>
#include <string>
#include <vector>

#include "FileSecurity.h"
#include "Windows.h"

namespace standin {

// The text of a SID; none if it is not one.
std::optional<std::wstring> textOfSid(PSID sid);
// The SID as Windows lays it out; empty if the text is not one.
std::vector<BYTE> sidOf(const std::wstring& text);

// A list as Windows lays it out, read or made. None: it is damaged, or has entries of other kinds than these.
std::optional<AccessList> entriesOf(const ACL* list);
std::vector<BYTE> listOf(const AccessList& entries);

// Merges one change into the list in the way of SetEntriesInAclW. A Win32 status; after a failure
// the list is as it was.
DWORD mergeEntry(AccessList& list, const EXPLICIT_ACCESS_W& change);

}  // namespace standin
