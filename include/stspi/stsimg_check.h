/* Looking through what the substitute image library keeps: for administrators' programs. Plug-ins have no need of it, and
 * frameworks' own image libraries do not have it: look the function up by name.
 *
 * The conventions are those of stsimg.h.
 */
#ifndef STSPI_STSIMG_CHECK_H
#define STSPI_STSIMG_CHECK_H

#include "stspi/sts_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* What to do; may be added up. */
enum {
    STSIMG_CHECK_REMOVE = 1, /* remove what belongs to no image and nobody needs any more */
    STSIMG_CHECK_VERIFY = 2  /* read all of every image, and check it */
};

/* What a finding is about. */
enum {
    STSIMG_FOUND_LSU = 1, /* an LSU. status: whether it could be looked through. Told after all that was found in it */
    STSIMG_FOUND_IMAGE = 2,   /* an image that was verified. status: whether it is whole; size_bytes: its own */
    STSIMG_FOUND_DRAFT = 3,   /* what was written for a name that it has not got */
    STSIMG_FOUND_DELETED = 4, /* what is left of an image that was replaced or deleted */
    STSIMG_FOUND_ORPHAN = 5   /* data in nobody's notes: it cannot be said of which LSU and image it was */
};

/* A finding. The texts are the library's, and good until the function that gets it returns. */
typedef struct sts_image_finding {
    const char *lsu;     /* its text; "" when that is not known */
    const char *name;    /* the image's; likewise */
    const char *path;    /* where it lies, for messages; "" for an LSU and an image */
    const char *failure; /* what a status other than 0 is about, "" otherwise */
    uint64_t size_bytes; /* room that it takes, as far as that is known */
    int32_t kind;        /* STSIMG_FOUND_... */
    int32_t status;
    int32_t in_use;  /* not 0: a live writer or reader of some host needs it, or it is not known that nobody does */
    int32_t removed; /* not 0: it was there and has been removed */
} sts_image_finding_t;

/* Gets a finding, on the thread of the call. Anything but 0 ends the call, which returns it. */
typedef int32_t (*stsimg_finding_function)(const sts_image_finding_t *finding, void *context);

/* Looks through an LSU, or all that lies below the root and what is in no LSU's notes. It may run on any number of hosts at
 * once, and while images are written and read; what is in use it never removes. Writers and readers do not wait for it.
 *   lsu     its text; null for all
 *   flags   STSIMG_CHECK_...; 0 tells what is there and changes nothing
 *   tell    gets each finding
 *   context handed to it
 * Returns 0 when everything could be looked through, whatever was found; otherwise what stopped it: trouble with one LSU is
 * a finding, with the root a failure. An image that is damaged, or gone when its turn comes, does not stop it. */
int32_t stsimg_check(const char *lsu, uint32_t flags, stsimg_finding_function tell, void *context);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
