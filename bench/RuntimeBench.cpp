#include "bench/RuntimeBench.h"

int main(int argc, char **argv) {
   bench::Report report(argc, argv);
   EventRows(report);
   StringRows(report);
   TimerRows(report);
   QueueRows(report);
   return report.Finish();
}
