#pragma once

#include "tools/mavr/CommandLine.h"

namespace mavr {

/// Each adds one command with its options to `app`. Command X lives in XCommand.cpp.
void AddBagCommand(const Command &app);
void AddDevicesCommand(const Command &app);
void AddPreferredCommand(const Command &app);
void AddPreferCommand(const Command &app);
void AddOptionCommand(const Command &app);
void AddStatusCommand(const Command &app);
void AddDoctorCommand(const Command &app);
void AddDumpCommand(const Command &app);
void AddFormatsCommand(const Command &app);
void AddRedirectCommand(const Command &app);
void AddRecordCommand(const Command &app);

} // namespace mavr
