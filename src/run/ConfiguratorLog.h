#pragma once

#include <ostream>

#include "run/LogStream.h"

// The run's one log, "lsdkConfiguratorLog.txt" beside the executable, and the owner of COM, which lives as long.
class ConfiguratorLog {
public:
    // Opens the log for appending, makes it `g_configuratorLog`, and starts COM (multi-threaded)
    // and COM security. A log that cannot be opened swallows all text; a failed COM start is logged
    // and leaves m_comReady false.
    ConfiguratorLog();
    ConfiguratorLog(const ConfiguratorLog&) = delete;
    ConfiguratorLog& operator=(const ConfiguratorLog&) = delete;
    // Calls CoUninitialize, also when COM did not start, then closes the log.
    ~ConfiguratorLog();

    // Starts a line with the local time in brackets. The caller adds the text and ends the line
    // with std::endl, which also brings it to the disk.
    std::wostream& beginLine();

    bool m_comReady = false;
    LogStream m_stream;

private:
    void startCom();
};

// Null until the log has been constructed; not reset when it ends.
extern ConfiguratorLog* g_configuratorLog;
