// Calls handed on to the image library as they came.
//
// Not every argument list is fixed by the interface, so each of these is one jump: registers and stack reach the library
// untouched, whatever the framework passed, and the library returns to the framework.
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

#ifdef __x86_64__

#define PASS_THROUGH(operation, parameters) \
    __attribute__((naked)) int32_t stspi_##operation parameters { __asm__("jmp stsimg_" #operation "@PLT"); }

#else

#if defined(__aarch64__)
// The hint is "bti c", where a guarded indirect call may arrive. The way into another library changes x16 and x17 only,
// which hold no arguments.
#define JUMP_TO(function) "hint #34\nb " function
#elif defined(__s390x__)
// The way into another library changes r0 and r1 only, which hold no arguments.
#define JUMP_TO(function) "jg " function "@PLT"
#else
#error "Calls cannot be passed on for this processor yet: write a jump that keeps every argument register and the stack"
#endif

// The compilers for these processors put a frame into every function that they write.
#define FUNCTION(name, body)                                                                    \
    __asm__(".pushsection .text\n.balign 16\n.globl " name "\n.type " name ", @function\n" name \
            ":\n.cfi_startproc\n" body "\n.cfi_endproc\n.size " name ", . - " name "\n.popsection")
#define PASS_THROUGH(operation, parameters) FUNCTION("stspi_" #operation, JUMP_TO("stsimg_" #operation));

#endif

PASS_THROUGH(close_image, (sts_image_handle_t))
PASS_THROUGH(close_image_list, (sts_image_list_handle_t))
PASS_THROUGH(get_image_prop, (sts_image_handle_t, sts_image_info_t *))
PASS_THROUGH(list_image, (sts_image_list_handle_t, sts_image_definition_t *))
PASS_THROUGH(read_image, (sts_image_handle_t, void *, uint64_t, uint64_t, uint64_t *))
PASS_THROUGH(write_image, (sts_image_handle_t, const void *, const void *, uint64_t, uint64_t, uint64_t *))
