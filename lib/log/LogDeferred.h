#pragma once

#include "lib/log/LogLine.h"
#include "lib/log/LogRing.h"

#include <cstddef>

/// Messages of a signal handler that has interrupted its own thread inside the log.
///
/// Such a handler finds lock and rings half moved. Its message goes into one of a few static slots, which are claimed
/// and released by single atomic steps, and from there into the early ring, ahead of the next ordinary message. With
/// all slots taken, more than 16 such messages in one interruption, a message is lost. A slot holds the text that the
/// stack buffer of a log call holds; a longer one is cut. Owner: static. Threads: any thread, in a signal handler too.
/// Locks: none. Life cycle: static.

void LogDeferred_Put(const LogLineHeader &header, size_t length, char *text);

/// Moves finished messages into the ring, and returns at once when there are none. Under the log's lock.
void LogDeferred_MoveTo(LogRing *ring);

/// In the child of a fork: frees the slots that threads, which the child has not, were filling.
void LogDeferred_AbandonUnfinished();
