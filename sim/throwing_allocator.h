// Memory for ACE's strings and containers.
#pragma once

class ACE_Allocator;

// Without memory an ACE string becomes empty and a container stays as it was, and neither says a word. With this
// allocator they let std::bad_alloc pass instead. It takes its memory from operator new and is never destroyed.
// Every string that is made asks for it, hundreds in one map: the attributes let a loop ask once, and never for null.
[[gnu::const, gnu::returns_nonnull]] ACE_Allocator *throwing_allocator() noexcept;
