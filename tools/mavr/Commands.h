#pragma once

#include <CLI/App.hpp>

#include <functional>

namespace mavr {

/// What a parsed command line runs; its result is the exit status.
using Action = std::function<int()>;

/// Each adds one command with its options to `app` and, when the user has given that command, sets `*action`. The
/// action runs after parsing; it throws ToolError for what the user must hear. Command X lives in XCommand.cpp.
void AddBagCommand(CLI::App &app, Action *action);
void AddDevicesCommand(CLI::App &app, Action *action);
void AddPreferredCommand(CLI::App &app, Action *action);
void AddPreferCommand(CLI::App &app, Action *action);
void AddOptionCommand(CLI::App &app, Action *action);
void AddStatusCommand(CLI::App &app, Action *action);
void AddDoctorCommand(CLI::App &app, Action *action);
void AddDumpCommand(CLI::App &app, Action *action);
void AddFormatsCommand(CLI::App &app, Action *action);
void AddRedirectCommand(CLI::App &app, Action *action);
void AddRecordCommand(CLI::App &app, Action *action);

} // namespace mavr
