#include "tools/mavr/Record.h"

#include <csignal>

namespace mavr {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;

}

void WatchForInterrupt() {
   std::signal(SIGINT, [](int) { gInterrupted = 1; });
   std::signal(SIGTERM, [](int) { gInterrupted = 1; });
}

bool IsInterrupted() {
   return gInterrupted != 0;
}

void AddRecordCommand(CLI::App &app, Action *action) {
   CLI::App *const record = app.add_subcommand("record", "Record from a device through the recorder");
   record->require_subcommand(1);
   AddRecordVideoCommand(*record, action);
   AddRecordAudioCommand(*record, action);
}

} // namespace mavr
