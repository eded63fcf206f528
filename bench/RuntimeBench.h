#pragma once

#include "bench/Harness.h"

/// The rows of bench_runtime, a file for each area.
void EventRows(bench::Report &report);
void StringRows(bench::Report &report);
void TimerRows(bench::Report &report);
void QueueRows(bench::Report &report);
