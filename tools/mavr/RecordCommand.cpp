#include "tools/mavr/Record.h"

#include "osal/Clock.h"

namespace mavr {

double NowSeconds() {
   return static_cast<double>(osal::Clock::current().monotonicNs()) / 1e9;
}

void AddRecordCommand(CLI::App &app, Action *action) {
   CLI::App *const record = app.add_subcommand("record", "Record from a device through the recorder");
   record->require_subcommand(1);
   AddRecordVideoCommand(*record, action);
   AddRecordAudioCommand(*record, action);
}

} // namespace mavr
