// The containers of names that the disk-array model is made of.
#pragma once

#include <ace/Containers_T.h>
#include <ace/Map_Manager.h>
#include <ace/RW_Thread_Mutex.h>
#include <ace/SString.h>

#include <string>

using Name = ACE_String_Base<char>;
using NameList = ACE_Array<Name>;
// A set of host names; every value is 1. The most recently added name comes first in iteration.
using HostSet = ACE_Map_Manager<Name, int, ACE_RW_Thread_Mutex>;

// Text from a file keeps its full length with a NUL in place of its last character, so only its C-string form means
// anything: use these two and never length() or ==.
inline const char *c_text(const Name &text) { return text.c_str() != nullptr ? text.c_str() : ""; }
inline bool is_empty_text(const Name &text) { return *c_text(text) == '\0'; }
