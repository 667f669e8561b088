/* The image library: what a plug-in needs of it, and the records of the substitute library.
 *
 * The thirteen stsimg_* functions are a platform interface. The plug-in links against libstsimage.so and calls them with
 * the arguments below; it never looks into the two records, which are the substitute library's own.
 *
 * An image is a sequence of bytes with a name, kept under an LSU text. Status 0 is success; the library answers with the
 * codes of sts_status.h where one fits and with STSIMG_E_* otherwise.
 */
#ifndef STSPI_STSIMG_H
#define STSPI_STSIMG_H

#include "stspi/sts_status.h"
#include "stspi/sts_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

enum {
    STSIMG_API_VERSION = 9,
    STSIMG_NAME_SIZE = 1024 /* the field's size; see stsimg_create_image for the names that are accepted */
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
STS_OFFSET(struct sts_image_info, size_bytes, 1024);
STS_OFFSET(struct sts_image_info, creation_time, 1032);
STS_SIZE(struct sts_image_info, 1280);

/* Modes of stsimg_open_image. */
enum { STSIMG_MODE_READ = 1, STSIMG_MODE_WRITE = 2 };

/* Initialises the library. */
int32_t stsimg_init(uint64_t api_version);

/* Shuts the library down. */
int32_t stsimg_terminate(void);

/* Creates an image for writing. */
int32_t stsimg_create_image(const char *lsu, const void *reserved, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t flags, sts_image_handle_t *out_image);

/* Opens an image. */
int32_t stsimg_open_image(const char *lsu, const void *reserved, const char *server_name,
                          const sts_image_definition_t *definition, uint32_t mode, sts_image_handle_t *out_image);

/* Deletes an image. */
int32_t stsimg_delete_image(const char *lsu, const void *reserved, const char *server_name,
                            const sts_image_definition_t *definition, uint32_t flags);

/* Opens a list of the images of an LSU. */
int32_t stsimg_open_image_list(const char *lsu, const void *reserved, const char *server_name, uint32_t flags,
                               sts_image_list_handle_t *out_list);

/* Tells the properties of an image. */
int32_t stsimg_get_image_prop_byname(const char *lsu, const void *reserved, const char *server_name,
                                     const sts_image_definition_t *definition, sts_image_info_t *out_info);

/* Tells the properties of an open image. */
int32_t stsimg_get_image_prop(sts_image_handle_t image, sts_image_info_t *out_info);

/* Reads at most length bytes from byte offset. */
int32_t stsimg_read_image(sts_image_handle_t image, void *buffer, uint64_t length, uint64_t offset,
                          uint64_t *out_bytes_read);

/* Writes length bytes at byte offset. */
int32_t stsimg_write_image(sts_image_handle_t image, const void *reserved, const void *buffer, uint64_t length,
                           uint64_t offset, uint64_t *out_bytes_written);

/* Closes an image; a written one appears under its name now. */
int32_t stsimg_close_image(sts_image_handle_t image);

/* Gives the next image of a list, STS_E_NO_MORE_ENTRIES at its end. */
int32_t stsimg_list_image(sts_image_list_handle_t list, sts_image_definition_t *out_definition);

/* Closes a list. */
int32_t stsimg_close_image_list(sts_image_list_handle_t list);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
