/* The exported functions.
 *
 * Not every argument list is fixed by the interface, and what is not known cannot be copied by a compiler. So each
 * function is one jump, and what it leads to keeps every register and the stack of the caller:
 *
 *     watched   looks at the time, and jumps on into the wrapped plug-in
 *     hooked    asks filter_dispatch, which may answer, call the wrapped plug-in itself, or let the jump go on
 *
 * r10 and r11 are nobody's at a call; r11 carries the function's number.
 */
#include "filter/rules/exported_functions.h"

#if !defined(__x86_64__) || !defined(__linux__)
#error "the filter passes calls on in the machine's own language, and so far speaks that of x86-64 Linux alone"
#endif

#define FRAME_SIZE   208
#define FRAME_STACK  192
#define FRAME_VECTOR 64

    .text

    .set number, 0
    .macro EXPORTED name
    .globl \name
    .type \name, @function
    .p2align 4
\name:
    .cfi_startproc
    endbr64
    movl $number, %r11d
    jmp *filter_targets+8*number(%rip)
    .cfi_endproc
    .size \name, . - \name
    .set number, number + 1
    .endm

#define EXPORTED_FUNCTION(name) EXPORTED name;
    FILTER_EXPORTED_FUNCTIONS(EXPORTED_FUNCTION)

    .globl filter_exported_count
    .hidden filter_exported_count
    .set filter_exported_count, number

/* ---- watched ---- */

    .globl filter_watched
    .hidden filter_watched
    .type filter_watched, @function
    .p2align 4
filter_watched:
    .cfi_startproc
    push %rax
    push %rdi
    push %rsi
    push %rdx
    push %rcx
    push %r8
    push %r9
    push %r11
    sub $8, %rsp
    .cfi_def_cfa_offset 80
    call filter_is_time_to_look
    movl %eax, %r10d
    add $8, %rsp
    pop %r11
    pop %r9
    pop %r8
    pop %rcx
    pop %rdx
    pop %rsi
    pop %rdi
    pop %rax
    .cfi_def_cfa_offset 8
    testl %r10d, %r10d
    jnz filter_hooked
    leaq filter_next(%rip), %r10
    jmp *(%r10, %r11, 8)
    .cfi_endproc
    .size filter_watched, . - filter_watched

/* ---- hooked ---- */

    .macro SAVE_VECTORS base
    movups %xmm0, FRAME_VECTOR(\base)
    movups %xmm1, FRAME_VECTOR+16(\base)
    movups %xmm2, FRAME_VECTOR+32(\base)
    movups %xmm3, FRAME_VECTOR+48(\base)
    movups %xmm4, FRAME_VECTOR+64(\base)
    movups %xmm5, FRAME_VECTOR+80(\base)
    movups %xmm6, FRAME_VECTOR+96(\base)
    movups %xmm7, FRAME_VECTOR+112(\base)
    .endm

    /* base must not be one of the registers of arguments. */
    .macro LOAD_ARGUMENTS base
    movq 8(\base), %rax
    movq 16(\base), %rdi
    movq 24(\base), %rsi
    movq 32(\base), %rdx
    movq 40(\base), %rcx
    movq 48(\base), %r8
    movq 56(\base), %r9
    movups FRAME_VECTOR(\base), %xmm0
    movups FRAME_VECTOR+16(\base), %xmm1
    movups FRAME_VECTOR+32(\base), %xmm2
    movups FRAME_VECTOR+48(\base), %xmm3
    movups FRAME_VECTOR+64(\base), %xmm4
    movups FRAME_VECTOR+80(\base), %xmm5
    movups FRAME_VECTOR+96(\base), %xmm6
    movups FRAME_VECTOR+112(\base), %xmm7
    .endm

    .globl filter_hooked
    .hidden filter_hooked
    .type filter_hooked, @function
    .p2align 4
filter_hooked:
    .cfi_startproc
    push %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register %rbp
    sub $FRAME_SIZE, %rsp
    movq %r11, (%rsp)
    movq %rax, 8(%rsp)
    movq %rdi, 16(%rsp)
    movq %rsi, 24(%rsp)
    movq %rdx, 32(%rsp)
    movq %rcx, 40(%rsp)
    movq %r8, 48(%rsp)
    movq %r9, 56(%rsp)
    SAVE_VECTORS %rsp
    leaq 16(%rbp), %rax
    movq %rax, FRAME_STACK(%rsp)
    movq %rsp, %rdi
    call filter_dispatch
    testl %edx, %edx
    jz 1f
    leave
    .cfi_remember_state
    .cfi_def_cfa %rsp, 8
    ret
1:  .cfi_restore_state
    movq (%rsp), %r11
    movq %rsp, %r10
    LOAD_ARGUMENTS %r10
    leave
    .cfi_def_cfa %rsp, 8
    leaq filter_next(%rip), %r10
    jmp *(%r10, %r11, 8)
    .cfi_endproc
    .size filter_hooked, . - filter_hooked

/* int64_t filter_call(const CallFrame *frame, function, uint64_t stack_words): calls with the frame's registers and a
 * copy of stack_words, an even number, of the caller's stack. Exceptions pass. */
    .globl filter_call
    .hidden filter_call
    .type filter_call, @function
    .p2align 4
filter_call:
    .cfi_startproc
    push %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    movq %rsp, %rbp
    .cfi_def_cfa_register %rbp
    movq %rdi, %r10
    movq %rsi, %r11
    testq %rdx, %rdx
    jz 1f
    leaq (, %rdx, 8), %rax
    subq %rax, %rsp
    movq FRAME_STACK(%r10), %rsi
    movq %rsp, %rdi
    movq %rdx, %rcx
    rep movsq
1:  LOAD_ARGUMENTS %r10
    call *%r11
    leave
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc
    .size filter_call, . - filter_call

    .section .note.GNU-stack, "", @progbits
