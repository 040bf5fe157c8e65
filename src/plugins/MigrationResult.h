#pragma once

// The outcome of a step of the plug-in migration, as the status file records it.
enum MigrationResult : int {
    MigrationSucceeded = 0,
    PluginCopyFailed = 1,
    PluginSettingsFailed = 2
};
