/** @file
 * mmdr.h - cameras and microphones of the user's machine, and which of them the user wants in a remote session.
 *
 * The whole interface of libmavrCliLib. A program that lists the cameras and prefers the first one:
 *
 * @code
 *    #include <mmdr/mmdr.h>
 *    #include <stdio.h>
 *    #include <stdlib.h>
 *
 *    int main(void) {
 *       MmdrHandle *handle = NULL;
 *       MmdrDevEntry *entries = NULL;
 *       uint32_t count = 0;
 *       int32_t code = Mmdr_Init(1, &handle);
 *       if (code != MMDR_OK) {
 *          fprintf(stderr, "Mmdr_Init: %d\n", (int)code);
 *          return EXIT_FAILURE;
 *       }
 *       // Ask how many there are, make room, ask again; a camera plugged in meanwhile makes another round.
 *       while ((code = Mmdr_EnumDevices(handle, MMDR_DEV_VIDEO, (uint32_t)(count * sizeof *entries), (char *)entries,
 *                                       &count)) == MMDR_ERR_BUFFER_TOO_SMALL) {
 *          free(entries);
 *          entries = calloc(count, sizeof *entries); // zeroed: see MmdrDevEntry
 *          if (entries == NULL) {
 *             break;
 *          }
 *       }
 *       if (code == MMDR_OK && count > 0) {
 *          for (uint32_t i = 0; i < count; ++i) {
 *             printf("%s\n", entries[i].name);
 *          }
 *          code = Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, entries[0].userId, entries[0].name);
 *       }
 *       free(entries);
 *       Mmdr_Uninit(handle);
 *       return code == MMDR_OK ? EXIT_SUCCESS : EXIT_FAILURE;
 *    }
 * @endcode
 *
 * Order. Mmdr_Init first, then anything with the handle, Mmdr_Uninit last. Mmdr_GetLibVersion may come at any time.
 *
 * Threads. Calls may come from any thread, and the library makes none of its own for them. Listing devices and all that
 * touches the settings works on process-wide state without a lock: let one call finish before the next begins.
 * Mmdr_GetLibVersion and Mmdr_IsValid are free of this.
 *
 * Text. UTF-8 as the platform delivers it; a device may have any name, also an empty one, or an ill-formed one.
 *
 * Time. Listing devices and asking for a preferred one asks the platform afresh, so that a camera plugged in a moment
 * ago is there. It may take some milliseconds, and up to 2 seconds for each kind when the platform does not answer;
 * there are no devices then. Storing a text or a number waits up to 2 seconds while another process holds the settings;
 * a preferred device is two texts. Reading waits as long only when the settings file is damaged.
 *
 * Failures. Faults in the arguments are told by the code alone. What goes wrong below (no answer of the platform, a
 * settings file that cannot be written) is a line in the log, and gives the result that is stated with each function.
 *
 * Memory. Where it lacks below a call that starts the library, lists devices or touches the settings, std::bad_alloc
 * passes through it, with the output as it was; the next call works. Only on a damaged configuration file the parser
 * ends the process then. The log goes on without.
 */
#ifndef MMDR_MMDR_H
#define MMDR_MMDR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Codes. 9 and 10 are not assigned. -------------------------------------------------------------------------- */

#define MMDR_OK 0                   /**< done */
#define MMDR_ERR_BUFFER_TOO_SMALL 1 /**< no buffer, or one that cannot hold all entries; the count was written */
#define MMDR_ERR_INVALID_HANDLE 2   /**< null, not a handle, or released */
#define MMDR_ERR_INVALID_ARG 3      /**< Mmdr_Init: null pointer. Mmdr_EnumDevices: no such device type */
#define MMDR_ERR_INVALID_DEV_TYPE 4 /**< Mmdr_GetPrefDev, Mmdr_SetPrefDev: no such device type */
#define MMDR_ERR_INVALID_SELECT 5   /**< neither MMDR_SELECT_NAME nor MMDR_SELECT_USER_ID */
#define MMDR_ERR_NO_MEMORY 6        /**< the handle found no memory */
#define MMDR_ERR_STORE_FAILED 7     /**< the settings layer reports failure, or a stored number is out of range */
#define MMDR_ERR_INVALID_MODE 8     /**< a mode other than 1 and 2 */
#define MMDR_ERR_NO_DATA 11         /**< null output pointer, or no present device is preferred */

/* ---- Numbers ---------------------------------------------------------------------------------------------------- */

/* Device types. */
#define MMDR_DEV_VIDEO 1 /**< cameras */
#define MMDR_DEV_AUDIO 2 /**< microphones */

/* What Mmdr_GetPrefDev gives of a device. */
#define MMDR_SELECT_NAME 0    /**< the name to show */
#define MMDR_SELECT_USER_ID 1 /**< the persistent id */

/* ---- Types ------------------------------------------------------------------------------------------------------ */

/** Opaque; made by Mmdr_Init, released by Mmdr_Uninit. */
typedef struct MmdrHandle MmdrHandle;

/** One device in a list, 520 bytes; entries follow each other without gaps.
 *
 * A text of up to 258 bytes is followed by zeros up to byte 258 of its field. A longer one fills bytes 0 to 258, cut at
 * the byte. Byte 259 of a field is never written: zero the buffer before the call and every text is terminated. */
typedef struct MmdrDevEntry {
   char userId[260]; /**< persistent id for Mmdr_SetPrefDev: the raw name, '#', the platform's id of the device */
   char name[260];   /**< name to show: of devices with the same name the second has " 2" behind it, the third " 3" */
} MmdrDevEntry;

#if defined(__GNUC__)
#define MMDR_API __attribute__((visibility("default"))) /**< on each function: it is exported */
#else
#define MMDR_API /**< on each function: it is exported */
#endif

/* ---- Functions -------------------------------------------------------------------------------------------------- */

/** Version of this interface.
 *
 * @return 2
 *
 * Any thread, at any time, without a handle.
 *
 * @code
 *    if (Mmdr_GetLibVersion() != 2) { ... }
 * @endcode
 */
MMDR_API uint32_t Mmdr_GetLibVersion(void);

/** Makes a handle and, at the first call in the process, starts the log and opens the settings.
 *
 * @param mode   1 or 2. Kept with the handle; both behave alike.
 * @param out    where to put the handle; as it was after a failure. Release it with Mmdr_Uninit.
 *
 * @retval MMDR_OK                  the handle is in *out
 * @retval MMDR_ERR_INVALID_ARG     out is null, whatever the mode
 * @retval MMDR_ERR_INVALID_MODE    mode is neither 1 nor 2
 * @retval MMDR_ERR_NO_MEMORY       the handle found no memory; nothing was started
 *
 * Settings are opened once in the life of the process. After an Mmdr_Uninit a new handle works, but every setting reads
 * as its default and every write is dropped: keep the handle until the program ends. Threads: one call at a time.
 *
 * @code
 *    MmdrHandle *handle = NULL;
 *    int32_t code = Mmdr_Init(1, &handle);
 * @endcode
 */
MMDR_API int32_t Mmdr_Init(int32_t mode, MmdrHandle **out);

/** Releases a handle and closes the settings, for other handles of the process too. The log stays open.
 *
 * @param handle   from Mmdr_Init; null or a pointer to anything else does nothing. A released handle must not be used
 *                 again: its memory is gone.
 *
 * Threads: one call at a time, and none with this handle meanwhile.
 *
 * @code
 *    Mmdr_Uninit(handle);
 * @endcode
 */
MMDR_API void Mmdr_Uninit(MmdrHandle *handle);

/** Whether a pointer is a live handle.
 *
 * @param handle   may be null, or point to at least 4 readable bytes; not a released handle.
 *
 * @retval MMDR_OK                    it is
 * @retval MMDR_ERR_INVALID_HANDLE    it is null, or no handle
 *
 * Threads: any, while no other releases the handle.
 *
 * @code
 *    if (Mmdr_IsValid(handle) == MMDR_OK) { ... }
 * @endcode
 */
MMDR_API int32_t Mmdr_IsValid(const MmdrHandle *handle);

/** Lists the devices of a kind that are there now, ordered by the platform's id.
 *
 * @param handle   live
 * @param type     MMDR_DEV_VIDEO or MMDR_DEV_AUDIO
 * @param size     bytes that buffer has
 * @param buffer   receives *count entries of 520 bytes; may be null. Zero it first, see MmdrDevEntry.
 * @param count    must not be null; receives the number of devices in every case but the two codes 2 and 3
 *
 * @retval MMDR_OK                      all entries are in the buffer. Without any device *count is 0 and the buffer,
 *                                      which may be null, is untouched
 * @retval MMDR_ERR_INVALID_ARG         no such type; this is tested before the handle
 * @retval MMDR_ERR_INVALID_HANDLE      the handle is not live
 * @retval MMDR_ERR_BUFFER_TOO_SMALL    buffer is null, or size is below *count * 520; the buffer is untouched
 *
 * Call once with a null buffer for the count, and again with the room. Between the two calls devices may come and go;
 * the second lists afresh. Threads: one call at a time.
 *
 * @code
 *    uint32_t count = 0;
 *    if (Mmdr_EnumDevices(handle, MMDR_DEV_AUDIO, 0, NULL, &count) == MMDR_ERR_BUFFER_TOO_SMALL) {
 *       MmdrDevEntry *entries = calloc(count, sizeof *entries);
 *       code = Mmdr_EnumDevices(handle, MMDR_DEV_AUDIO, count * 520, (char *)entries, &count);
 *    }
 * @endcode
 */
MMDR_API int32_t Mmdr_EnumDevices(MmdrHandle *handle, int32_t type, uint32_t size, char *buffer, uint32_t *count);

/** Which of the devices that are there now the stored preference selects.
 *
 * This does not tell what was stored. The stored id is looked for first, whole and then as a piece of a user id; then
 * the stored name. There is no fallback on another device. A stored text of 128 bytes or more reads as empty at first:
 * each read doubles the room for it once, so such a preference counts from the second or third call in a process on.
 *
 * @param handle   live
 * @param type     MMDR_DEV_VIDEO or MMDR_DEV_AUDIO
 * @param select   MMDR_SELECT_NAME for the device's name, MMDR_SELECT_USER_ID for its user id
 * @param out      room for 259 bytes; is filled like a field of MmdrDevEntry, so give 260 zeroed ones for a terminated
 *                 text. As it was after a failure
 *
 * @retval MMDR_OK                      the text is in out
 * @retval MMDR_ERR_INVALID_HANDLE      the handle is not live
 * @retval MMDR_ERR_NO_DATA             out is null; or nothing is stored, no such device is there, or the text is empty
 * @retval MMDR_ERR_INVALID_DEV_TYPE    no such type
 * @retval MMDR_ERR_INVALID_SELECT      no such select
 *
 * The arguments are tested in this order. Threads: one call at a time.
 *
 * @code
 *    char name[260] = {0};
 *    if (Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME, name) == MMDR_OK) { puts(name); }
 * @endcode
 */
MMDR_API int32_t Mmdr_GetPrefDev(MmdrHandle *handle, int32_t type, int32_t select, char *out);

/** Stores the preferred device of a kind.
 *
 * @param handle   live
 * @param type     MMDR_DEV_VIDEO or MMDR_DEV_AUDIO
 * @param id       user id, terminated, of any length; null and empty clear it
 * @param name     name, terminated, of any length; null and empty clear it. A microphone's name is stored only together
 *                 with an id; without one, the empty text is stored for both. A camera's name is stored in any case
 *
 * @retval MMDR_OK                      stored. Also when the settings file could not be written: the log tells, and
 *                                      what was stored before stays
 * @retval MMDR_ERR_INVALID_HANDLE      the handle is not live
 * @retval MMDR_ERR_INVALID_DEV_TYPE    no such type; nothing is stored
 * @retval MMDR_ERR_STORE_FAILED        the settings layer reports failure; on macOS and Linux it never does
 *
 * The texts of an MmdrDevEntry serve as they are: one that ends inside a character is stored without that character's
 * bytes. Other ill-formed UTF-8 has no place in a settings file. The device need not be there.
 * Threads: one call at a time.
 *
 * @code
 *    Mmdr_SetPrefDev(handle, MMDR_DEV_AUDIO, entry.userId, entry.name);
 *    Mmdr_SetPrefDev(handle, MMDR_DEV_AUDIO, NULL, NULL); // no preference any more
 * @endcode
 */
MMDR_API int32_t Mmdr_SetPrefDev(MmdrHandle *handle, int32_t type, const char *id, const char *name);

/** Stores which microphones are redirected.
 *
 * @param handle   live
 * @param option   0 all, 1 the default ones, 2 the preferred one. Any other number is stored too, and refused when read
 *
 * @retval MMDR_OK                    stored. Also when the settings file could not be written: the log tells, and what
 *                                    was stored before stays
 * @retval MMDR_ERR_INVALID_HANDLE    the handle is not live
 * @retval MMDR_ERR_STORE_FAILED      the settings layer reports failure; on macOS and Linux it never does
 *
 * Threads: one call at a time.
 *
 * @code
 *    Mmdr_SetAudioInSelectOption(handle, 2);
 * @endcode
 */
MMDR_API int32_t Mmdr_SetAudioInSelectOption(MmdrHandle *handle, uint32_t option);

/** Reads which microphones are redirected.
 *
 * @param handle   live
 * @param option   receives the stored number, 0 when none is stored
 *
 * @retval MMDR_OK                    *option is 0, 1 or 2
 * @retval MMDR_ERR_INVALID_HANDLE    the handle is not live; *option is as it was
 * @retval MMDR_ERR_NO_DATA           option is null
 * @retval MMDR_ERR_STORE_FAILED      the stored number is above 2; it is in *option all the same
 *
 * Threads: one call at a time.
 *
 * @code
 *    uint32_t option = 0;
 *    if (Mmdr_GetAudioInSelectOption(handle, &option) == MMDR_OK) { ... }
 * @endcode
 */
MMDR_API int32_t Mmdr_GetAudioInSelectOption(MmdrHandle *handle, uint32_t *option);

/** Whether the user has redirection switched on.
 *
 * @param handle    live
 * @param enabled   must not be null; receives 1 or 0
 *
 * @retval MMDR_OK                    *enabled is written
 * @retval MMDR_ERR_INVALID_HANDLE    the handle is not live; *enabled is as it was
 *
 * The administrator's policy is not part of the answer. Threads: one call at a time.
 *
 * @code
 *    uint8_t enabled = 0;
 *    Mmdr_IsEnabled(handle, &enabled);
 * @endcode
 */
MMDR_API int32_t Mmdr_IsEnabled(MmdrHandle *handle, uint8_t *enabled);

#ifdef __cplusplus
}
#endif
#endif
