#pragma once

namespace standin {

// How the launcher tells the injected library what to do.
constexpr wchar_t kTraceVariable[] = L"STANDIN_TRACE";      // path of the trace file
constexpr wchar_t kMachineVariable[] = L"STANDIN_MACHINE";  // path of the machine file, may be missing
constexpr wchar_t kUserVariable[] = L"STANDIN_USER";  // SID as whom the process runs, may be missing
constexpr wchar_t kFaultsVariable[] = L"STANDIN_FAULTS";  // texts of faults, joined by semicolons

}  // namespace standin
