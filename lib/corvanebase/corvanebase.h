/* corvanebase: the small base library that the log, the device records and the set-up stand on.
 *
 * A library of its own behind plain C linkage, so that another build of it can take its place. Nothing in it logs.
 * Out of memory, a function that makes a text, a dictionary or a digest, or reads the configuration, throws
 * std::bad_alloc and has changed nothing; what tells failures by its result does so here too. Nothing else is thrown.
 * Texts are UTF-8 and end in a zero byte. "Heap string" means: the caller releases it with free(). Unless a function
 * says otherwise it may be called on any thread.
 */
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

#define CORVANE_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))

/* ---- Strings ---------------------------------------------------------------------------------------------------- */

/// Formats into `buffer` of `size` bytes, never beyond it, always terminated when size > 0. Returns the length written,
/// terminator not counted; a text that does not fit is cut, on a UTF-8 boundary.
size_t Str_Sprintf(char *buffer, size_t size, const char *format, ...) CORVANE_PRINTF(3, 4);

/// Formats into `buffer`. Returns the length, or -1 when the text and its terminator did not fit; the buffer then holds
/// as much as fits, terminated. `args` is used up, as by vsnprintf.
int Str_Vsnprintf(char *buffer, size_t size, const char *format, va_list args) CORVANE_PRINTF(3, 0);

/// Formats into a new heap string, never null; `outLength`, when not null, receives its length. Arguments that cannot
/// be formatted (a wide string that is no text) give the empty string.
char *Str_SafeAsprintf(size_t *outLength, const char *format, ...) CORVANE_PRINTF(2, 3);

/// Copies `source` with its terminator to `target` of `size` bytes; Panic when it does not fit. Returns `target`.
char *Str_Strcpy(char *target, const char *source, size_t size);

/// Heap copy of `text`; null for null.
char *UtilSafeStrdup0(const char *text);

/// The same for text that is known to be Unicode.
char *Unicode_Duplicate(const char *text);

/// Heap copy of `text` in which a leading "~" or "~/" became the home folder and each "$PID" the process id in decimal.
/// Null with errno set when there is no home folder for the "~".
char *Util_ExpandString(const char *text);

/* ---- Files by name ---------------------------------------------------------------------------------------------- */

/// Splits `path` at its last '/': heap strings, each out-pointer may be null. "a/b/c" -> "a/b", "c"; "c" -> "", "c";
/// "/c" -> "/", "c"; "a/" -> "a", "".
void File_GetPathName(const char *path, char **outFolder, char **outName);

/// Heap string: folder, '/' unless the folder is empty or ends in one, name.
char *File_PathJoin(const char *folder, const char *name);

/// True when the folder exists or could be made with all its parents, each with mode 0700. `reserved` is 0.
int File_CreateDirectoryHierarchy(const char *path, int reserved);

/// Names in `folder` without "." and "..", in no order: their count, and in `*outNames` a heap array of heap strings
/// (File_FreeNames). -1 with errno set on failure.
int File_ListDirectory(const char *folder, char ***outNames);
void File_FreeNames(char **names, int count);

/// Times of a file in nanoseconds since 1970, and its mode bits, without following a symbolic link. Every out-pointer
/// may be null. A time that the system does not tell (on Linux that of creation) is -1, all ones; so are all of them,
/// with mode 0, when the file cannot be read, and the result is 0. Otherwise the result is 1.
int File_GetTimes(const char *path, int64_t *outCreate, int64_t *outAccess, int64_t *outWrite, uint32_t *outAttr);

/// Removes a name; the file a symbolic link points to stays. 0 on success, else -1 with errno set.
int File_Unlink(const char *path);

/// Moves the file at `path` aside so that a new one can be opened there, and keeps `keepCount` older ones.
///
/// With path "dir/NAME.log" the older files are "dir/NAME-0.log" (newest) to "dir/NAME-<keepCount-1>.log". Each step is
/// a rename, so that no moment exists at which a kept file has two names or none, and whoever ends the process in the
/// middle loses nothing; the next rotation carries on. Gaps in the numbers are tolerated and filled. What would get the
/// number keepCount is overwritten; higher numbers from an earlier, larger keep count are removed unless `fast`. `fast`
/// looks at no other name than those from 0 to the first gap. With a keep count of 0 the file at `path` is removed; a
/// negative one is refused (EINVAL). `reserved` is 0. A missing file at `path` is a success, and nothing is touched.
/// 0 on success, else -1 with errno set; the file is then still at `path`.
int File_Rotate(const char *path, int keepCount, int fast, int reserved);

/* ---- File descriptors ------------------------------------------------------------------------------------------- */

/// Access bits of FileIO_Open.
enum {
   FILEIO_ACCESS_READ = 1,
   FILEIO_ACCESS_WRITE = 2,
   FILEIO_ACCESS_NOFOLLOW = 16 ///< a symbolic link as last component is refused (ELOOP), its target never touched
};
/// Actions of FileIO_Open.
enum {
   FILEIO_OPEN = 0,        ///< the file must exist
   FILEIO_OPEN_EMPTY = 1,  ///< the file must exist and is emptied
   FILEIO_OPEN_CREATE = 2, ///< opened as it is, created when absent
   FILEIO_CREATE_SAFE = 3, ///< created; must not exist
   FILEIO_CREATE_EMPTY = 4 ///< created, or emptied
};
/// Status of the FileIO calls. errno tells more and is what Err_ErrString reads.
enum {
   FILEIO_SUCCESS = 0,
   FILEIO_ERROR = 2,
   FILEIO_NOT_FOUND = 3,
   FILEIO_NO_PERMISSION = 4,
   FILEIO_READ_EOF = 5, ///< end of file before anything, or before all, was read
   FILEIO_EXISTS = 6,
   FILEIO_NO_SPACE = 7,
   FILEIO_TOO_MANY_OPEN = 8
};
/// Whence of FileIO_Seek.
enum { FILEIO_SEEK_BEGIN = 0, FILEIO_SEEK_CURRENT = 1, FILEIO_SEEK_END = 2 };

/// One open file, or none. Owner: whoever declared it. Threads: one at a time.
typedef struct FileIODescriptor {
   int posix;  ///< -1: none
   char *path; ///< as it was opened; owned
} FileIODescriptor;

void FileIO_Invalidate(FileIODescriptor *descriptor);
int FileIO_IsValid(const FileIODescriptor *descriptor);

/// Opens `path`, close-on-exec, mode 0600 for a new file. On failure the descriptor is invalid. Never waits: a FIFO is
/// opened at once or not at all, and then gives EAGAIN where it would block. What the descriptor held is not looked at.
int FileIO_Open(FileIODescriptor *descriptor, const char *path, int access, int action);

/// The same with the permission bits of `mode`, less the process's umask, for a new file, tried again for up to
/// `retryMs` milliseconds while the failure is one that passes by itself (interrupted, busy, stale, would block). Other
/// failures, a full descriptor table among them, end it at once.
int FileIO_CreateRetry(FileIODescriptor *descriptor, const char *path, int access, int action, int mode,
                       uint32_t retryMs);

/// Reads until `size` bytes are there, end of file (FILEIO_READ_EOF) or an error; `*outActual` says how many came.
int FileIO_Read(FileIODescriptor *descriptor, void *buffer, size_t size, size_t *outActual);

/// Writes with one call of the system, repeated only where it was interrupted before it wrote anything. A short write
/// is FILEIO_SUCCESS with `*outActual` below `size`.
int FileIO_Write(FileIODescriptor *descriptor, const void *buffer, size_t size, size_t *outActual);

/// The new position from the file's start, or -1.
int64_t FileIO_Seek(FileIODescriptor *descriptor, int64_t offset, int whence);
int FileIO_Truncate(FileIODescriptor *descriptor, int64_t size); ///< true on success
int FileIO_Sync(FileIODescriptor *descriptor);                   ///< 0 on success
int FileIO_Close(FileIODescriptor *descriptor);                  ///< 0 on success; the descriptor is invalid either way
/// Closes, and removes the name if it still is this file; another file of that name stays. 0 on success.
int FileIO_CloseAndUnlink(FileIODescriptor *descriptor);
const char *FileIO_ErrorEnglish(int status); ///< never null

/* ---- Host ------------------------------------------------------------------------------------------------------- */

uint64_t Hostinfo_SystemTimerNS(void);  ///< monotonic nanoseconds, osal::Clock
int Hostinfo_GetSystemBitness(void);    ///< 32 or 64
char *Hostinfo_GetOSDetailedData(void); ///< heap string: system, release, distribution, architecture; or null

typedef struct HostinfoProcessSnapshot HostinfoProcessSnapshot;
HostinfoProcessSnapshot *Hostinfo_AcquireProcessSnapshot(void);
/// 0 when no process has the id `pid` now, 1 when one has or it cannot be told.
int Hostinfo_QueryProcessSnapshot(const HostinfoProcessSnapshot *snapshot, uint32_t pid);
void Hostinfo_ReleaseProcessSnapshot(HostinfoProcessSnapshot *snapshot);

/* ---- Locks and threads ------------------------------------------------------------------------------------------ */

/// Recursive lock. The child of a fork that was made by the holder may release it.
typedef struct MXUserRecLock MXUserRecLock;
MXUserRecLock *MXUser_CreateRecLock(const char *name, uint32_t rank); ///< null when out of memory
void MXUser_DestroyRecLock(MXUserRecLock *lock);                      ///< null is allowed; must not be held
void MXUser_AcquireRecLock(MXUserRecLock *lock);
void MXUser_ReleaseRecLock(MXUserRecLock *lock);
int MXUser_IsCurThreadHoldingRecLock(const MXUserRecLock *lock);

/// Name of the present thread as the system has it now; empty when it has none. Valid until the thread's next call.
/// One call of the system: anyone may rename a thread at any moment, so that no copy could be trusted.
const char *VThreadBase_CurName(void);
/// Whether the present thread has said that it runs a signal handler.
int VThreadBase_IsInSignal(void);
/// Says so, or takes it back; returns what was said before. A signal handler that logs brackets its calls with it.
int VThreadBase_SetIsInSignal(int inSignal);

/* ---- Dictionary ------------------------------------------------------------------------------------------------- */

/// Text keys, case-sensitive, with a text, long or boolean value each. Threads: one at a time.
typedef struct Dictionary Dictionary;
Dictionary *Dictionary_Create(void);
void Dictionary_Free(Dictionary *dictionary);
void Dict_SetString(Dictionary *dictionary, const char *value, const char *key); ///< null: the key is absent again
void Dict_SetLong(Dictionary *dictionary, int32_t value, const char *key);
void Dict_SetBool(Dictionary *dictionary, int value, const char *key);
/// Heap string; copy of `defaultValue` (null for null) when the key is absent. A long or boolean reads as its text.
char *Dict_GetString(const Dictionary *dictionary, const char *defaultValue, const char *key);
/// A text that is a whole decimal number counts as a long; anything else gives the default.
int32_t Dict_GetLong(const Dictionary *dictionary, int32_t defaultValue, const char *key);
/// A text "true"/"false", "yes"/"no", "on"/"off", "1"/"0" in any case counts as a boolean.
int Dict_GetBool(const Dictionary *dictionary, int defaultValue, const char *key);

/* ---- Configuration files ---------------------------------------------------------------------------------------- */

/// Reads the configuration files (TOML, at most 1 MiB each) afresh. Called once at set-up; until then every key is
/// absent. A file that is damaged, too large, no plain file or unreadable counts as empty; a missing one is no trouble.
/// The parser makes the word on a damaged file where it may not throw: out of memory there ends the process.
void Preference_Init(void);
/// What was wrong with the files at the last Preference_Init: one line for people that names file, place and reason, or
/// null. Valid until the next one.
const char *Preference_Trouble(void);

/// The value of the key that `keyFormat` and its arguments make: first as one quoted key, then as a dotted path, in the
/// user's file, then the same in the machine's. The key's type must fit: a text, an integer in the 32-bit range, a
/// boolean; a text is also accepted for the other two by the rules of Dict_GetLong and Dict_GetBool, and an integer or
/// boolean as text. Anything else counts as absent in its place: the next place is asked, and the default comes last.
char *Config_GetString(const char *defaultValue, const char *keyFormat, ...) CORVANE_PRINTF(2, 3); ///< heap, or null
int32_t Config_GetLong(int32_t defaultValue, const char *keyFormat, ...) CORVANE_PRINTF(2, 3);
int Config_GetBool(int defaultValue, const char *keyFormat, ...) CORVANE_PRINTF(2, 3);
/// True when no configuration file has the key, whatever its type.
int Config_NotSet(const char *keyFormat, ...) CORVANE_PRINTF(1, 2);

/* ---- Product ---------------------------------------------------------------------------------------------------- */

const char *ProductState_GetName(void);              ///< "MAVR client library"
const char *ProductState_GetVersion(void);           ///< "2.0.0"
const char *ProductState_GetBuildNumberString(void); ///< "build-0" unless the build was given a number
const char *ProductState_GetCompilationOption(void); ///< "Release" or "Debug"

/* ---- Panic ------------------------------------------------------------------------------------------------------ */

/// Called with the finished text before the process ends, to keep it somewhere.
typedef void (*PanicSink)(const char *text);
void Panic_Init(void);              ///< makes the report ready; safe to call again
void Panic_SetSink(PanicSink sink); ///< the log's; null for none
/// Reports the text to the sink and to standard error, then ends the process with SIGABRT. A panic inside the report,
/// or on a second thread, ends the process at once.
__attribute__((noreturn)) void Panic_Panic(const char *format, va_list args) CORVANE_PRINTF(1, 0);
__attribute__((noreturn)) void Panic(const char *format, ...) CORVANE_PRINTF(1, 2);

/* ---- SHA-256 (FIPS 180-4) --------------------------------------------------------------------------------------- */

enum { CRYPTOHASH_SHA256_SIZE = 32 };
/// A digest on its way: Init, any number of Updates, Final.
typedef struct CryptoHashSHA256 {
   void *state; ///< null: cleared
} CryptoHashSHA256;
void CryptoHash_InitSHA256(CryptoHashSHA256 *context);
void CryptoHash_UpdateSHA256(CryptoHashSHA256 *context, const void *data, size_t size);
/// Writes the digest and releases the context.
void CryptoHash_FinalSHA256(CryptoHashSHA256 *context, uint8_t outDigest[CRYPTOHASH_SHA256_SIZE]);

/* ---- The rest --------------------------------------------------------------------------------------------------- */

/// Growing byte buffer.
typedef struct DynBuf {
   char *data;
   size_t size;
   size_t allocated;
} DynBuf;
void DynBuf_Init(DynBuf *buffer);
int DynBuf_Append(DynBuf *buffer, const void *data, size_t size); ///< false when out of memory; the buffer is as it was
void *DynBuf_Detach(DynBuf *buffer);                              ///< hands the bytes to the caller (free), empties
void DynBuf_Destroy(DynBuf *buffer);

const char *Err_ErrString(void);                      ///< text of errno; valid until the thread's next call
const char *CodeSet_GetCurrentCodeSet(void);          ///< "UTF-8"
int Unicode_GetCurrentEncoding(void);                 ///< 0 is UTF-8
const char *Unicode_EncodingEnumToName(int encoding); ///< "UTF-8"; "Unknown" for any other number

/// Whether the count-th event of a kind is worth a log line: all up to 100, each 100th up to 10000, then each 10000th.
int Util_Throttle(uint32_t count);

struct LogConfigSource;
/// Begins the record of how the log's levels are configured, and forgets a former one. Safe to call again.
void LogLevel_UserExtensionCreate(void);
/// Remembers through which source the log was configured, for LogLevel_ConfiguredBy.
void LogLevel_Configure(const struct LogConfigSource *source);
const struct LogConfigSource *LogLevel_ConfiguredBy(void); ///< null before the first LogLevel_Configure

#ifdef __cplusplus
}
#endif
