#pragma once

#include <cstddef>

/// The table of calls through which the log reads its configuration, so that it depends on no settings module.
///
/// The places of the slots are fixed: the table is also handed to LogLevel_Configure, which knows them. A reserved slot
/// is null, and so may be any of the others: what it would read then counts as not set. A call may throw
/// std::bad_alloc. Owner: static. Threads: any thread. Life cycle: constant.
struct LogConfigSource {
   using Reserved = void (*)();

   Reserved empty[2];
   char *(*getString)(const char *defaultValue, const char *key); ///< slot 2; a heap string or null
   Reserved reserved3[6];
   long (*getLong)(long defaultValue, const char *key); ///< slot 9
   Reserved reserved10[3];
   bool (*getBool)(bool defaultValue, const char *key); ///< slot 13
   Reserved reserved14[8];
   bool (*notSet)(const char *key); ///< slot 22
   Reserved reserved23[5];
};

static_assert(sizeof(LogConfigSource) == 28 * sizeof(void *));
static_assert(offsetof(LogConfigSource, getString) == 2 * sizeof(void *));
static_assert(offsetof(LogConfigSource, getLong) == 9 * sizeof(void *));
static_assert(offsetof(LogConfigSource, getBool) == 13 * sizeof(void *));
static_assert(offsetof(LogConfigSource, notSet) == 22 * sizeof(void *));
