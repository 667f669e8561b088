// What can go wrong, by name.
#pragma once

#include <cstddef>
#include <cstdint>

// X(name, word, what it means) for every kind.
#define BROKEN_PROMISES(X)                                                                               \
    X(lost_image, "lost image", "an image that was acknowledged is not there")                           \
    X(lost_block, "lost block", "a part of an image was acknowledged and is not there")                  \
    X(stale_block, "stale block", "an image holds what it held before it was replaced")                  \
    X(mixed_generations, "mixed generations", "an image holds parts of two backups")                     \
    X(torn_block, "torn block", "a block holds parts of two blocks")                                     \
    X(misplaced_block, "misplaced block", "a block lies at another offset than it was written to")       \
    X(foreign_block, "foreign block", "a block is of another image, or nobody's")                        \
    X(flipped_bits, "flipped bits", "a block is what was written but for some bits")                     \
    X(unfilled, "unfilled buffer", "a read told more bytes than it brought")                             \
    X(short_count, "short count", "a call that succeeded moved fewer bytes than it must")                \
    X(visible_early, "visible early", "an image was there before it was closed")                         \
    X(visible_failed, "visible after failure", "an image was there although it failed before its close") \
    X(came_back, "came back", "an image that was deleted is there")                                      \
    X(list_skips, "list skips", "a list lacks an image that is there")                                   \
    X(list_repeats, "list repeats", "a list gave an image twice")                                        \
    X(list_ghost, "list ghost", "a list gave an image that is not there")                                \
    X(wrong_property, "wrong property", "a property is not what it must be")                             \
    X(wrong_mount, "wrong mount", "a mount succeeded and left no link, or one that leads elsewhere")     \
    X(refusal, "refusal", "a call failed with a status that is not expected")                            \
    X(exception, "exception", "a C++ exception passed out of a call")                                    \
    X(hang, "hang", "a call did not come back")                                                          \
    X(death, "death", "a process died")                                                                  \
    X(leak, "leak", "the use of something grows")

enum class PromiseKind : uint8_t {
#define PROMISE_ENUMERATOR(name, word, what) name,
    BROKEN_PROMISES(PROMISE_ENUMERATOR)
#undef PROMISE_ENUMERATOR
        count
};
constexpr size_t promise_kinds = static_cast<size_t>(PromiseKind::count);
const char *promise_word(PromiseKind kind);
const char *promise_meaning(PromiseKind kind);
