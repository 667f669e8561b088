// Paths, words and tokens: what a person would find wrong in them that the plug-in takes as it stands.
#pragma once

#include "simhost/check/value.h"

// Characters that cannot be seen, and quotes.
void check_characters(const Value &value, Findings &findings);

// A storage directory, as the plug-in has it: what is not expanded, relative paths, and components that can be no
// directories or that the image library refuses.
//   makes_image_texts   the paths of images begin with it, as they do for a Copan array
void check_storage_dir(const Value &value, const std::string &path, bool makes_image_texts, Findings &findings);
