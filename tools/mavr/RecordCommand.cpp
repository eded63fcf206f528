#include "tools/mavr/Record.h"

#include "osal/Clock.h"

namespace mavr {

double NowSeconds() {
   return static_cast<double>(osal::Clock::current().monotonicNs()) / 1e9;
}

void AddRecordCommand(const Command &app) {
   const Command record = app.AddCommand("record", "Record from a device through the recorder");
   record.RequireCommand();
   AddRecordVideoCommand(record);
   AddRecordAudioCommand(record);
}

} // namespace mavr
