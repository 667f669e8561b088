// Calls handed on to the image library as they came.
//
// Not every argument list is fixed by the interface, so each of these is one jump: registers and stack reach the library
// untouched, whatever the framework passed.
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

#define PASS_THROUGH(operation, parameters) \
    __attribute__((naked)) int32_t stspi_##operation parameters { __asm__("jmp stsimg_" #operation "@PLT"); }

PASS_THROUGH(close_image, (sts_image_handle_t))
PASS_THROUGH(close_image_list, (sts_image_list_handle_t))
PASS_THROUGH(get_image_prop, (sts_image_handle_t, sts_image_info_t *))
PASS_THROUGH(list_image, (sts_image_list_handle_t, sts_image_definition_t *))
PASS_THROUGH(read_image, (sts_image_handle_t, void *, uint64_t, uint64_t, uint64_t *))
PASS_THROUGH(write_image, (sts_image_handle_t, const void *, const void *, uint64_t, uint64_t, uint64_t *))
