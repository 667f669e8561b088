// Memory for ACE's strings and containers.
#pragma once

class ACE_Allocator;

// Without memory an ACE string becomes empty and a container stays as it was, and neither says a word. With this
// allocator they let std::bad_alloc pass instead. It takes its memory from operator new and is never destroyed.
ACE_Allocator *throwing_allocator();
