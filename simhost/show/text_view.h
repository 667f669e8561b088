#pragma once

#include <string>

#include "simhost/show/view.h"

// A tree for people. Texts of the file are made safe for a terminal.
std::string text_of(const View &view);

// What becomes of mounts, in words.
std::string mount_words(const View &view);
