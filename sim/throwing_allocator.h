// Memory for ACE's strings and containers.
#pragma once

class ACE_Allocator;

// Makes what throwing_allocator gives.
ACE_Allocator *new_throwing_allocator();

// Without memory an ACE string becomes empty and a container stays as it was, and neither says a word. With this
// allocator they let std::bad_alloc pass instead. It takes its memory from operator new and is never destroyed.
// Inline, since every string that is made asks for it, hundreds in one map.
inline ACE_Allocator *throwing_allocator() {
    static ACE_Allocator *const allocator = new_throwing_allocator();
    return allocator;
}
