#pragma once

namespace standin {

// Each makes the machine answer for one group of Windows functions.
void serveFiles();         // path limits, hidden and read-only targets
void serveFileSecurity();  // owner, access list and label of files
void serveFolders();       // special folders
void serveShell();         // what the shell cannot copy or delete
void serveHandles();       // the ledger's entries for handles
void serveRegistry();      // what may be created, how values are read
void serveMemory();        // LocalAlloc memory, also of functions that allocate it
void serveStrings();       // HSTRING
void serveLibraries();     // libraries and late-bound functions
void serveTokens();        // the user of the token
void serveText();          // bounded copies of the C runtime, the clock
void serveCom();           // COM security
void serveErrorInfo();     // restricted error information, fail-fast
void serveDesktop();       // the shell, its window and its process
void serveProcesses();     // programs that are started
void serveHeap();          // blocks of the process heap
void serveActivation();    // classes of the Windows Runtime

}  // namespace standin
