/* The image library: what a plug-in needs of it, and the records of the substitute library.
 *
 * The thirteen stsimg_* functions that a plug-in calls are a platform interface. The plug-in links against libstsimage.so
 * and calls them with the arguments below; it never looks into the two records, which are the substitute library's own.
 *
 * An image is a sequence of bytes with a name, kept in a directory that an LSU text names. Its life:
 *
 *     stsimg_create_image -> stsimg_write_image ... -> stsimg_close_image     now the image is there, durably
 *     stsimg_open_image   -> stsimg_read_image ...  -> stsimg_close_image
 *     stsimg_open_image_list -> stsimg_list_image ... -> stsimg_close_image_list
 *     stsimg_get_image_prop_byname, stsimg_delete_image
 *
 * Conventions, for every call:
 *
 *  1. Status 0 is success. The library answers with a code of sts_status.h where one fits and with one of STSIMG_E_*
 *     otherwise; stsimg_last_error then says what was wrong with what.
 *  2. A null pointer gives STS_E_INVALID_PARAMETER before anything is done, save for arguments named reserved, which are
 *     ignored. So are flags.
 *  3. lsu: a text that begins with '/' is the directory itself, which must exist. Any other lies below a root directory,
 *     the environment variable STSIMAGE_ROOT or else /var/lib/stsimage; it is made when an image is created in it. Such a
 *     text is at most 1023 bytes of components without "." and "..", and no link may lead it out of the root. No text at
 *     all may lead into a directory of unfinished images, .stsimg-unfinished. When STSIMAGE_ROOT is
 *     "rados:POOL[/PREFIX]" or "s3://BUCKET[/PREFIX]", a text without "/" in front names an LSU in that pool or bucket
 *     instead; one with "/" in front does so too where STSIMAGE_ABSOLUTE is "store". A text that is refused gives
 *     STSIMG_E_INVALID_LSU, a directory that does not exist STS_E_NOT_FOUND.
 *  4. server_name: the host part of the server's name, at most 511 bytes, perhaps empty. It is recorded in a new image and
 *     has no part in finding one.
 *  5. definition: the image's name, 1 to STSIMG_NAME_MAX bytes without '/' and control characters, terminated within its
 *     field, and neither "." nor "..". Any other gives STSIMG_E_INVALID_NAME.
 *  6. Handles are checked: one that is closed, of another kind or made up gives STSIMG_E_INVALID_HANDLE. The value of a
 *     handle is never used again within a process. Out-handles are set to null when the call fails.
 *  7. Any call may be made on any thread. Calls on different handles, and reads on one handle, run side by side; writes on
 *     one handle take turns.
 *  8. Trouble with the file system, or with a cluster that keeps the images, gives STSIMG_E_NO_SPACE, STSIMG_E_NO_ACCESS,
 *     STSIMG_E_NO_MEMORY, STSIMG_E_TOO_LARGE or else STS_E_SYSTEM.
 */
#ifndef STSPI_STSIMG_H
#define STSPI_STSIMG_H

#include "stspi/sts_status.h"
#include "stspi/sts_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* X(name, number, meaning) for every code of the substitute library's own, in ascending order. */
#define STSIMG_STATUS_LIST(X)                                                                           \
    X(STSIMG_E_INVALID_NAME, 2061101, "the image name is not acceptable")                               \
    X(STSIMG_E_INVALID_LSU, 2061102, "the LSU text is not acceptable, or leads to no directory")        \
    X(STSIMG_E_INVALID_HANDLE, 2061103, "the handle is closed, of another kind or unknown")             \
    X(STSIMG_E_WRONG_MODE, 2061104, "the image was not opened for this, or the mode is unknown")        \
    X(STSIMG_E_BUSY, 2061105, "another writer has the image")                                           \
    X(STSIMG_E_TOO_LARGE, 2061106, "the offset is beyond what the library or the file system can hold") \
    X(STSIMG_E_NO_SPACE, 2061107, "the file system or the quota is full")                               \
    X(STSIMG_E_NO_ACCESS, 2061108, "the file system does not permit it")                                \
    X(STSIMG_E_NO_MEMORY, 2061109, "out of memory")                                                     \
    X(STSIMG_E_NOT_AN_IMAGE, 2061110, "the file of that name is no image")                              \
    X(STSIMG_E_UNKNOWN_VERSION, 2061111, "the image's format is of a version that is not known here")   \
    X(STSIMG_E_TRUNCATED, 2061112, "the image's file is shorter than it was written")                   \
    X(STSIMG_E_DAMAGED, 2061113, "a checksum of the image's file does not match its content")           \
    X(STSIMG_E_OUTCOME_UNKNOWN, 2061114, "what was asked for may have been done or not")

#define STSIMG_STATUS_ENUMERATOR(name, number, meaning) name = number,
enum { STSIMG_STATUS_LIST(STSIMG_STATUS_ENUMERATOR) };
#undef STSIMG_STATUS_ENUMERATOR

enum {
    STSIMG_API_VERSION = 9,
    STSIMG_NAME_SIZE = 1024, /* the field's size */
    STSIMG_NAME_MAX = 240    /* the longest name that is accepted, in bytes: it becomes part of a file name */
};

/* Names an image. */
struct sts_image_definition {
    char name[STSIMG_NAME_SIZE];
};
STS_SIZE(struct sts_image_definition, 1024);

/* Describes an image. */
struct sts_image_info {
    char name[STSIMG_NAME_SIZE];
    uint64_t size_bytes;   /* one past the last byte written */
    int64_t creation_time; /* seconds since 1970-01-01 00:00 UTC */
    uint8_t reserved[240]; /* written as zero */
};
STS_OFFSET(struct sts_image_info, name, 0);
STS_OFFSET(struct sts_image_info, size_bytes, 1024);
STS_OFFSET(struct sts_image_info, creation_time, 1032);
STS_OFFSET(struct sts_image_info, reserved, 1040);
STS_SIZE(struct sts_image_info, 1280);

/* Modes of stsimg_open_image; both together are the same as STSIMG_MODE_WRITE, which may read too. */
enum { STSIMG_MODE_READ = 1, STSIMG_MODE_WRITE = 2 };

/* ==== start and end ============================================================================================= */

/* Initialises the library; further calls count.
 *   api_version   STSIMG_API_VERSION; any other gives STS_E_VERSION */
int32_t stsimg_init(uint64_t api_version);

/* Undoes one stsimg_init. The last one gives up whatever is still open: lists and images are closed, and what was being
 * written is discarded. Returns 0. When the process ends by exit or a return from main, the same is done by itself; after
 * an image in a cluster or a bucket, that is before exit handlers which had been registered earlier. */
int32_t stsimg_terminate(void);

/* Says why a call failed: the text of the latest failure on this thread, "" when there was none. A call that succeeds
 * leaves it as it is. Names in it are quoted, with bytes that cannot be printed as \xNN.
 * The text belongs to the library and is overwritten by this thread's next failure. */
const char *stsimg_last_error(void);

/* ==== images ==================================================================================================== */

/* Creates an image for writing and reading. Nothing of it is visible before stsimg_close_image. When there is an image of
 * that name already, it stays until then and is replaced as a whole.
 *   out_image     receives the handle
 * Returns STSIMG_E_BUSY while another handle, in whatever process, writes an image of that name, and
 * STSIMG_E_NOT_AN_IMAGE when something that is no regular file bears the image's file name. */
int32_t stsimg_create_image(const char *lsu, const void *reserved, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t flags, sts_image_handle_t *out_image);

/* Opens an image. For reading it is opened as it is now: neither a replacement nor a deletion changes what the handle
 * reads. For writing a private copy is made, which replaces the image at stsimg_close_image; its creation time stays.
 *   mode          STSIMG_MODE_READ, STSIMG_MODE_WRITE or both; any other gives STSIMG_E_WRONG_MODE
 *   out_image     receives the handle
 * Returns STS_E_NOT_FOUND for an unknown image, STSIMG_E_BUSY as stsimg_create_image, and STSIMG_E_NOT_AN_IMAGE,
 * STSIMG_E_UNKNOWN_VERSION, STSIMG_E_TRUNCATED or STSIMG_E_DAMAGED for a file that does not hold what was written. */
int32_t stsimg_open_image(const char *lsu, const void *reserved, const char *server_name,
                          const sts_image_definition_t *definition, uint32_t mode, sts_image_handle_t *out_image);

/* Deletes an image, durably. Handles that read it are not disturbed; a writer of that name is neither, and its
 * stsimg_close_image makes the image anew. A damaged image can be deleted too.
 * Returns STSIMG_E_OUTCOME_UNKNOWN when a file server, a cluster or a service did not answer, and may have done it all the same,
 * or when the image is gone but a disk that fails may bring it back,
 * STS_E_NOT_FOUND for an unknown image, STSIMG_E_NOT_AN_IMAGE for something that is no regular file. */
int32_t stsimg_delete_image(const char *lsu, const void *reserved, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t flags);

/* Tells the properties of an image.
 *   out_info      written only on success
 * Returns the codes of stsimg_open_image for reading. The data is not checked. */
int32_t stsimg_get_image_prop_byname(const char *lsu, const void *reserved, const char *server_name,
                                     const sts_image_definition_t *definition, sts_image_info_t *out_info);

/* Tells the properties of an open image. The size is what has been written up to now.
 *   out_info      written only on success */
int32_t stsimg_get_image_prop(sts_image_handle_t image, sts_image_info_t *out_info);

/* Reads at most length bytes from byte offset. Bytes that were never written are zero.
 *   out_bytes_read   less than length at the end of the image, 0 past it; 0 when the call fails
 * Returns STSIMG_E_DAMAGED or STSIMG_E_TRUNCATED for a part of the file that does not hold what was written; what is in
 * the buffer then means nothing. */
int32_t stsimg_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                          uint64_t *out_bytes_read);

/* Writes length bytes at byte offset, in any order. Bytes that are skipped take no room.
 *   out_bytes_written   length, or 0 when the call fails
 * Returns STSIMG_E_WRONG_MODE for an image that was opened for reading, STSIMG_E_TOO_LARGE for a range that ends past
 * 2^62. A call that fails otherwise, once it has reached the file system, spoils the image, and so does a read of an image
 * that is being written: every further read and write and stsimg_close_image return the same status, and the image does
 * not appear. */
int32_t stsimg_write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                           uint64_t offset, uint64_t *out_bytes_written);

/* Closes an image. One that was written appears under its name, as a whole, when and only when 0 is returned; its data
 * and its name are on stable storage by then. When it fails, what was there before under that name is still there, but for
 * one status: STSIMG_E_OUTCOME_UNKNOWN says that a file server, a cluster, a service or a disk that fails left open whether the
 * image appeared. It is there as a whole, or what was there before is; the next look tells, though only a close that returns 0
 * makes it last, and a service that speaks S3 may do what it did not answer after that look.
 * The handle is gone afterwards, whatever the status. */
int32_t stsimg_close_image(sts_image_handle_t image);

/* ==== lists ===================================================================================================== */

/* Opens a list of the images of an LSU.
 *   out_list      receives the list */
int32_t stsimg_open_image_list(const char *lsu, const void *reserved, const char *server_name, uint32_t flags,
                               sts_image_list_handle_t *out_list);

/* Gives the next image of a list, in no particular order. An image that is there all the time is given once; one that is
 * created or deleted meanwhile may be given or not.
 *   out_definition   written only on success, the whole field
 * Returns STS_E_NO_MORE_ENTRIES at the end, again and again. */
int32_t stsimg_list_image(sts_image_list_handle_t list, sts_image_definition_t *out_definition);

/* Closes a list. */
int32_t stsimg_close_image_list(sts_image_list_handle_t list);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
