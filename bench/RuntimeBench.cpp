#include "bench/RuntimeBench.h"

#include "lib/mfw/common/logger.h"

int main(int argc, char **argv) {
   // A round that the machine has interrupted makes timers late, which they report; the table is no place for it.
   logger::Init([](const char *, int) {});
   logger::SetDropBelow(logger::FATAL);
   bench::Report report(argc, argv);
   EventRows(report);
   StringRows(report);
   TimerRows(report);
   QueueRows(report);
   return report.Finish();
}
