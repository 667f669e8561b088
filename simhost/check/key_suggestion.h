// Which key was meant by one that is unknown.
#pragma once

#include <string>
#include <vector>

// Where an unknown key stands. The key that is suggested has an effect there.
enum class KeyContext { array_file, array_enclosure, array_diskgroup, copan_file };

// All keys of a kind of file.
const std::vector<std::string> &known_keys(KeyContext context);

// The key that was probably meant: one that differs by a few letters, or the format's word for the same thing. "" when
// none is near.
std::string suggested_key(const std::string &key, KeyContext context);

// A sentence that lists the keys of the kind of file.
std::string keys_help(KeyContext context);

// The key without what cannot be seen of it: blanks of other kinds, marks.
std::string visible_key(const std::string &key);
