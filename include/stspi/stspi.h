/* The entry points of a disk-storage plug-in.
 *
 * Conventions, which hold for every entry point unless it says otherwise:
 *
 *  1. An entry point is an unmangled C function. It returns a 32-bit status: 0 is success, anything else a code of
 *     sts_status.h.
 *  2. Each one is reached by its symbol or by its slot in one of the two tables; both lead to the same function. A slot
 *     is cast to the type of its entry point before the call.
 *  3. A pointer that an entry point does not explicitly allow to be null gives STS_E_INVALID_PARAMETER when it is null,
 *     before anything is done. No argument crashes the plug-in, save a pointer to memory that is not there.
 *  4. Texts are NUL-terminated bytes without an encoding. A text that is longer than the field it is put into is cut at
 *     the field's size less one; what stands behind the terminator in the field stays as it was. An LSU name is read
 *     from its 1024-byte field and never beyond it.
 *  5. Records and buffers belong to the caller. Handles belong to the caller from the moment they are stored until the
 *     call that closes them. A handle is stored through its out-argument as soon as it exists: a call that fails may
 *     have stored one, which close_server or close_lsu_list releases.
 *  6. Messages go to the log function of the session, one call a message, on the calling thread. Trace messages need
 *     mask bit 0x1 and carry level 3, error messages need bit 0x8 and carry level 4. An entry point that is traced sends
 *     "++++ Entering NAME\n" and "---- Leaving NAME\n" in the trace class. A session may be null: nothing is logged.
 *     What fails inside a simulator (an unknown pool, a directory or a link that cannot be made) is sent with level 4
 *     whatever the mask says, through the session of the latest stspi_open_server of that kind of server. So a session
 *     outlives not only its handles but every later call of the plug-in.
 *  7. A list or an image is used by one thread at a time. A server handle may be used by several threads at once, each
 *     with lists and images of its own, but for stspi_close_server, during and after which nothing uses it. Other calls
 *     may run at the same time on different threads, with two exceptions. Calls that open a disk array
 *     (stspi_open_server, stspi_create_server) read the configuration file with a tokenizer that the whole process
 *     shares: never two at once. Calls that tell device identifiers (stspi_list_lsu on a list of volumes,
 *     stspi_get_lsu_prop_byname on a disk) build them in one string of the process: two at once may tell each other's.
 *  8. No status stands for memory that runs out: std::bad_alloc, a C++ exception, passes out of the call. Nothing is lost
 *     or half done then: what was stored before (see 5) is released as after any failure, out-records hold what they
 *     held or a part, and the same call may be made again. A framework in C must be built to let exceptions pass
 *     (-fexceptions) and stand on a C++ caller that catches them; otherwise the process ends.
 *  9. An exception that a log function throws passes out of the call in the same way, leaving line included, except when
 *     it is thrown on the leaving line: there it is dropped, and the call ends as if the line had been sent.
 *
 * Life of a plug-in, in order:
 *
 *     stspi_init, stspi_init2                        register, hand over the tables
 *       stspi_claim                                  is this server name ours?
 *         stspi_open_server / stspi_create_server    -> server handle
 *           stspi_open_lsu_list, stspi_list_lsu ..., stspi_close_lsu_list
 *           stspi_get_lsu_prop_byname
 *           stspi_mount_lsu
 *             stspi_create_image / stspi_open_image  -> image handle
 *               stspi_write_image, stspi_read_image, stspi_copy_extent ...
 *             stspi_close_image
 *           stspi_unmount_lsu
 *         stspi_close_server
 *     stspi_terminate
 */
#ifndef STSPI_STSPI_H
#define STSPI_STSPI_H

#include "stspi/sts_status.h"
#include "stspi/sts_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* ==== tables ==================================================================================================== */

enum {
    STS_SLOT_ASYNC_FLUSH = 0,
    STS_SLOT_ASYNC_READ_IMAGE = 1,
    STS_SLOT_ASYNC_WAIT = 2,
    STS_SLOT_ASYNC_WRITE_IMAGE = 3,
    STS_SLOT_CLAIM = 4,
    STS_SLOT_CLOSE_EVCHANNEL = 5,
    STS_SLOT_CLOSE_IMAGE = 6,
    STS_SLOT_CLOSE_IMAGE_LIST = 7,
    STS_SLOT_CLOSE_LSU_LIST = 8,
    STS_SLOT_CLOSE_SERVER = 9,
    STS_SLOT_COPY_EXTENT = 10,
    STS_SLOT_CREATE_IMAGE = 11,
    STS_SLOT_DELETE_EVENT = 12,
    STS_SLOT_DELETE_FILES = 13,
    STS_SLOT_DELETE_IMAGE = 14,
    /* 15 is null */
    STS_SLOT_GET_IMAGE_GROUP = 16,
    STS_SLOT_GET_IMAGE_GROUP_BYNAME = 17,
    STS_SLOT_GET_IMAGE_PROP = 18,
    STS_SLOT_GET_IMAGE_PROP_BYNAME = 19,
    STS_SLOT_GET_LSU_PROP_BYNAME = 20,
    STS_SLOT_GET_SERVER_PROP = 21,
    STS_SLOT_GET_SERVER_PROP_BYNAME = 22,
    STS_SLOT_INCLUDE_IN_IMAGE = 23,
    STS_SLOT_IOCTL = 24,
    STS_SLOT_LIST_IMAGE = 25,
    STS_SLOT_LIST_LSU = 26,
    STS_SLOT_OPEN_EVCHANNEL = 27,
    STS_SLOT_OPEN_LSU_LIST = 28,
    STS_SLOT_OPEN_SERVER = 29,
    STS_SLOT_OPEN_TARGET_SERVER = 30,
    STS_SLOT_OPEN_IMAGE = 31,
    STS_SLOT_OPEN_IMAGE_GROUP_LIST = 32,
    STS_SLOT_OPEN_IMAGE_LIST = 33,
    STS_SLOT_READ_IMAGE = 34,
    STS_SLOT_TERMINATE = 35,
    STS_SLOT_WRITE_IMAGE = 36,
    /* 37 to 40 are null */
    STS_ENTRY_POINT_COUNT = 41
};

enum {
    STS_SLOT2_ACTIVATE_LSU = 0,
    STS_SLOT2_ADD_POOL_LSU = 1,
    STS_SLOT2_ALLOC_LSU = 2,
    STS_SLOT2_CLOSE_LSU = 3,
    STS_SLOT2_CREATE_LSU = 4,
    STS_SLOT2_CREATE_LSU_WITH_STOREL = 5,
    STS_SLOT2_CREATE_LSU_WITH_POOL = 6,
    STS_SLOT2_CREATE_SERVER = 7,
    STS_SLOT2_DEALLOC_LSU = 8,
    STS_SLOT2_DELETE_LSU = 9,
    STS_SLOT2_EXTRACT_FILES = 10,
    STS_SLOT2_GET_HOST = 11,
    STS_SLOT2_GET_LSU_PROP = 12,
    STS_SLOT2_GET_POOL_LSU = 13,
    STS_SLOT2_GET_STOREL = 14,
    STS_SLOT2_GET_STOREL_PROP = 15,
    STS_SLOT2_MOUNT_LSU = 16,
    STS_SLOT2_OPEN_DYNAMIC_LSU_LIST = 17,
    STS_SLOT2_OPEN_LSU = 18,
    STS_SLOT2_REMOVE_POOL_LSU = 19,
    STS_SLOT2_SHUTDOWN_SERVER = 20,
    STS_SLOT2_UNMOUNT_LSU = 21,
    STS_ENTRY_POINT_COUNT2 = 22
};

/* The tables that stspi_init and stspi_init2 hand over. Static, writable data of the library. */
extern sts_entry_point_t STSSanDiskEntryPoints[STS_ENTRY_POINT_COUNT];
extern sts_entry_point_t STSSANDiskEntryPoints2[STS_ENTRY_POINT_COUNT2];

/* ==== registration ============================================================================================== */

/* Registers the plug-in: fills registration, then initialises the image library with API version 9.
 *   api_version   offered by the framework; 7 or more
 *   ignored       may be anything
 *   registration  filled; its reserved bytes stay as they are
 * Returns STS_E_VERSION for a version below 7, with the record untouched, also when there is none: the version is looked
 * at before a null registration. Otherwise what stsimg_init returns.
 * Not traced. */
int32_t stspi_init(uint64_t api_version, const void *ignored, sts_registration_t *registration);

/* Hands over the second table.
 *   api_version   offered by the framework; 9 or more
 *   registration  filled
 * Returns STS_E_VERSION for a version below 9, with the record untouched, also when there is none. Not traced. */
int32_t stspi_init2(uint64_t api_version, sts_registration2_t *registration);

/* Tells whether a server name belongs to this plug-in: whether "/etc/quillmere/PREFIX.sim" opens for reading, where
 * PREFIX is the name up to its first ':' (the whole name without one).
 *   server_name   may be null
 * Returns 0, or STS_E_NOT_CLAIMED, also for a null or empty name. Not traced. */
int32_t stspi_claim(const char *server_name);

/* Shuts the image library down.
 * Returns STS_E_NOT_SUPPORTED always, also after a clean shutdown. Not traced. */
int32_t stspi_terminate(void);

/* Acknowledges control commands without acting on them.
 *   handle        ignored
 *   command       1 to 12; further arguments are ignored
 * Returns 0 for 1 to 7 and 9 to 12, STS_E_NOT_SUPPORTED for every other command. Not traced. */
int32_t stspi_ioctl(const void *handle, int32_t command, ...);

/* ==== servers =================================================================================================== */

/* Opens a server by name. "Kelvarpool:..." is a simulated disk array, every other claimed name a Copan array. When that
 * succeeds with a HOST, the session also becomes the session of all simulators of that kind, whose messages ignore its
 * mask.
 *   session       kept in the handle; outlives it and every later call of the plug-in, since simulators keep it; may be
 *                 null
 *   server_name   PREFIX:HOST; may be null, which is a name that is not claimed
 *   ignored_1, ignored_2   may be anything
 *   out_handle    receives the handle, also when the call fails later
 * Returns STS_E_INVALID_PARAMETER for a null out_handle, STS_E_INTERNAL when the name is not claimed or a Copan array
 * of that name is not in the file. An empty HOST gives a null-host handle (kind 2) and 0. Traced. */
int32_t stspi_open_server(const sts_session_def_v7_t *session, const char *server_name, const void *ignored_1,
                          const void *ignored_2, sts_server_handle_t *out_handle);

/* Opens a disk-array server for a list of hosts; only such a handle can list pools.
 *   session       kept in the handle; outlives it and every later call of the plug-in, since simulators keep it; may be
 *                 null
 *   server_name   "Kelvarpool:HOST"; may be null, which is a name that is not claimed
 *   ignored_1, ignored_2   may be anything
 *   hosts         host_count records, back to back, copied; may be null when host_count is not positive
 *   host_count    0 makes a single-host handle, any other a multi-host handle; a negative one holds no hosts
 *   out_handle    receives the handle, also when the call fails later
 * Returns STS_E_INTERNAL when the name is not claimed or is not a disk array's. An empty HOST gives a null-host handle
 * and 0. Traced. */
int32_t stspi_create_server(const sts_session_def_v7_t *session, const char *server_name, const void *ignored_1,
                            const void *ignored_2, const sts_host_t *hosts, int32_t host_count,
                            sts_server_handle_t *out_handle);

/* Opens a Copan server as the target of a copy, with the session of the source's handle. The simulators' session stays.
 *   source        an open server
 *   target_name   PREFIX:HOST
 *   ignored_1, ignored_2   may be anything
 *   out_handle    receives the handle
 * Returns STS_E_INTERNAL when the name is not claimed (a handle is stored, and not freed), has no HOST or is a disk
 * array's (what is stored is already freed: do not use it), or a Copan array of that name is not in the file (a handle is
 * stored). Traced. */
int32_t stspi_open_target_server(sts_server_handle_t source, const char *target_name, const void *ignored_1,
                                 const void *ignored_2, sts_server_handle_t *out_handle);

/* Tells a server's name and capabilities.
 *   info          server_name is written; capability bits are set by OR; server_type only for a Copan array
 * Returns STS_E_INVALID_PARAMETER for a handle without a server object (the common bits are set all the same),
 * STS_E_NOT_FOUND when the server has no name. Traced. */
int32_t stspi_get_server_prop(sts_server_handle_t handle, sts_server_info_t *info);

/* As stspi_get_server_prop, for a server that is not open.
 *   server_name   PREFIX:HOST
 * Returns STS_E_INVALID_PARAMETER for a name that is not claimed, STS_E_INTERNAL when a Copan array of that name is not
 * in the file. Traced. */
int32_t stspi_get_server_prop_byname(const sts_session_def_v7_t *session, const char *server_name,
                                     sts_server_info_t *info);

/* Releases a handle and all that hangs on it, LSU lists that are still open too: those must not be used or closed after.
 * Traced. */
int32_t stspi_close_server(sts_server_handle_t handle);

/* ==== LSU lists ================================================================================================= */

/* Opens a list of the pools that the handle's hosts may use, or of a Copan array's LSUs. Pools come in the reverse of
 * the order in which the file gives them. The handle must outlive the list. Threads may open and close lists of one
 * handle at the same time.
 *   handle        for a disk array: made by stspi_create_server with hosts
 *   ignored       may be anything
 *   out_list      receives the list, also when the call fails
 * Returns STS_E_INVALID_PARAMETER for a disk-array handle without hosts, STS_E_INTERNAL for a handle without a server
 * object. Traced. */
int32_t stspi_open_lsu_list(sts_server_handle_t handle, const void *ignored, sts_lsu_list_handle_t *out_list);

/* Opens a list of the volumes of one pool. The list yields unique device identifiers, not volume names.
 *   lsu           the disk-array handle, which must outlive the list, and the pool's name
 *   out_list      receives the list, also when the pool is unknown
 * Returns STS_E_INVALID_PARAMETER for a handle without a disk array, STS_E_NO_SERVER for an unknown pool. Not traced. */
int32_t stspi_open_dynamic_lsu_list(const stsp_lsu_v7_t *lsu, sts_lsu_list_handle_t *out_list);

/* Gives the next name of a list.
 *   out_name      1024 bytes; written only on success
 * Returns STS_E_NO_MORE_ENTRIES at the end, again and again; STS_E_INVALID_PARAMETER for a list whose opening failed.
 * Traced. */
int32_t stspi_list_lsu(sts_lsu_list_handle_t list, char *out_name);

/* Releases a list. Takes no memory, and no longer when many lists are open. Traced. */
int32_t stspi_close_lsu_list(sts_lsu_list_handle_t list);

/* ==== LSUs ====================================================================================================== */

/* Tells the properties of one LSU: a directory (name begins with "/", disk array only), an LSU of a Copan array, one
 * disk of a pool ("POOL:DISK", by disk name or unique device identifier), or a pool.
 *   lsu           the server's handle and the LSU's name
 *   info          cleared whole, reserved bytes included, and filled; for a directory not cleared: only server_name,
 *                 lsu_class, flags, block_size_bytes, capacity_bytes and used_bytes are written
 * Returns STS_E_NO_SERVER for an unknown LSU or a handle without a server object, STS_E_NOT_FOUND for a pool without a
 * HOSTS line, STS_E_INVALID_PARAMETER for a disk name that begins with ':' and for an LSU of a Copan array without a name
 * or a directory, STS_E_SYSTEM when the file system cannot be asked, and -2 for a directory name that is empty or longer
 * than 1024 bytes. Traced. */
int32_t stspi_get_lsu_prop_byname(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info);

/* Mounts a volume of a pool: makes its directory and turns the mount point into a link to it, or fails as the
 * configuration's MOUNT_BEHAVIOR says. Why a mount fails is sent to the session of the latest stspi_open_server of a disk
 * array, whatever its mask says.
 *   lsu           the disk-array handle and "POOL:VOLUME"; a plain POOL mounts the volume of the same name
 *   mount_point   path of the link; its parent directories are made
 *   mode          not 0; read and write mounts behave alike
 *   reserved      ignored
 *   out_result    1024 bytes; on success "LSU-NAME,MOUNT-POINT", otherwise untouched
 * Returns STS_E_INVALID_PARAMETER also for a name that begins with ':' and for a handle without a disk array,
 * STS_E_SYSTEM for every mount that fails. Traced. */
int32_t stspi_mount_lsu(const stsp_lsu_v7_t *lsu, const char *mount_point, uint32_t mode, uint64_t reserved,
                        char *out_result);

/* Returns 0 and does nothing, whatever it is given: a link stays where it is. Not traced. */
int32_t stspi_unmount_lsu(void);

/* ==== images ====================================================================================================
 *
 * Images are the image library's. The five calls that name an LSU hand the library the LSU's name (for a Copan array:
 * the LSU's directory), a null pointer, the HOST part of the server's name, and then their own arguments as they are.
 * They return STS_E_INVALID_PARAMETER for a null lsu or a null handle in it, STS_E_NO_SERVER for an unknown LSU of a
 * Copan array, and otherwise the library's status. Which of their other arguments may be null is the library's
 * business, save in stspi_create_image. All five are traced. */

/* Creates an image; definition and out_image must not be null. */
int32_t stspi_create_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags,
                           sts_image_handle_t *out_image);

/* Opens an image. */
int32_t stspi_open_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t mode,
                         sts_image_handle_t *out_image);

/* Deletes an image. */
int32_t stspi_delete_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags);

/* Opens a list of an LSU's images. */
int32_t stspi_open_image_list(const stsp_lsu_v7_t *lsu, uint32_t flags, sts_image_list_handle_t *out_list);

/* Tells the properties of an image. Traced as "stspi_delete_image". */
int32_t stspi_get_image_prop_byname(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                                    sts_image_info_t *out_info);

/* The next six hand all their arguments on to the stsimg_ function of the same operation and return its status: no
 * check, no trace. The image library decides what they take (see stsimg.h), so an argument more does no harm. */

/* Reads one extent: at most length bytes from byte offset. */
int32_t stspi_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                         uint64_t *out_bytes_read);

/* Writes one extent: length bytes at byte offset. */
int32_t stspi_write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                          uint64_t offset, uint64_t *out_bytes_written);

/* Tells the properties of an open image. */
int32_t stspi_get_image_prop(sts_image_handle_t image, sts_image_info_t *out_info);

/* Closes an image. */
int32_t stspi_close_image(sts_image_handle_t image);

/* Gives the next image of a list. */
int32_t stspi_list_image(sts_image_list_handle_t list, sts_image_definition_t *out_definition);

/* Closes a list of images. */
int32_t stspi_close_image_list(sts_image_list_handle_t list);

/* Copies length bytes from one open image to another, with one read and one write; a short read writes what was read.
 *   source        handed to the image library as it is, null too
 *   length        bytes; its low 32 bits must not be a negative number. The library gets it as it is. More than 2 GiB
 *                 take address space of that size, at most a terabyte, since the library may fill it, and memory only
 *                 where it does
 *   ignored       may be anything
 *   out_bytes_written   set when the read succeeded, also when the write then fails
 * Returns the status of the read, or of the write; STS_E_INVALID_PARAMETER when those 32 bits are negative. Not
 * traced. */
int32_t stspi_copy_extent(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                          uint64_t source_offset, uint64_t length, const void *ignored, uint64_t *out_bytes_written);

/* As stspi_copy_extent, without the count. */
int32_t stspi_include_in_image(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                               uint64_t source_offset, uint64_t length);

/* ==== not supported =============================================================================================
 *
 * Each takes whatever its slot passes, looks at none of it and returns STS_E_NOT_SUPPORTED. Not traced. */

int32_t stspi_async_flush(void);
int32_t stspi_async_read_image(void);
int32_t stspi_async_wait(void);
int32_t stspi_async_write_image(void);
int32_t stspi_close_evchannel(void);
int32_t stspi_delete_event(void);
int32_t stspi_delete_files(void);
int32_t stspi_get_image_group(void);
int32_t stspi_get_image_group_byname(void);
int32_t stspi_open_evchannel(void);
int32_t stspi_open_image_group_list(void);
int32_t stspi_activate_lsu(void);
int32_t stspi_add_pool_lsu(void);
int32_t stspi_alloc_lsu(void);
int32_t stspi_close_lsu(void);
int32_t stspi_create_lsu(void);
int32_t stspi_create_lsu_with_storel(void);
int32_t stspi_create_lsu_with_pool(void);
int32_t stspi_dealloc_lsu(void);
int32_t stspi_delete_lsu(void);
int32_t stspi_extract_files(void);
int32_t stspi_get_host(void);
int32_t stspi_get_lsu_prop(void);
int32_t stspi_get_pool_lsu(void);
int32_t stspi_get_storel(void);
int32_t stspi_get_storel_prop(void);
int32_t stspi_open_lsu(void);
int32_t stspi_remove_pool_lsu(void);
int32_t stspi_shutdown_server(void);

/* ==== helper ==================================================================================================== */

/* Runs a program and waits for it, and for no other child of the process. In no table; reached by its symbol.
 *   program, argument   joined without a separator and split at blanks: give argument its leading blank. What stands
 *                       between two " or two ' is one word, blanks included, and loses them. A program without a slash
 *                       is looked for along PATH. No shell, and '%' is text
 * Returns the raw wait status (exit code 1 is 256), or 0 when the program could not be started, for a null text and for
 * texts that hold nothing but blanks. */
int32_t load_process(const char *program, const char *argument);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
