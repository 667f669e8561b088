// Where the image library is to keep images, as --image-root and STSIMAGE_ROOT say it.
#pragma once

#include <string>

// Whether a root names a store that many machines share ("rados:POOL/PREFIX", "s3://BUCKET/PREFIX") instead of a directory.
bool is_shared_store(const std::string &image_root);

// What the image library has for a root now; empty: its own.
std::string current_image_root();

// Whether images of an LSU that is a directory stay on this machine, though the library is to keep images in such a store.
bool keeps_directories_here(const std::string &image_root);

// The same root, so that it stays what it is in another working directory.
std::string lasting_image_root(const std::string &image_root);

// Lets the substitute image library look for images there, from its next call on; what is open stays where it is.
void use_image_root(const std::string &image_root);
