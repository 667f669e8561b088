// Where the image library is to keep images, as --image-root and STSIMAGE_ROOT say it.
#pragma once

#include <string>

// Whether a root names a store that many machines share ("rados:POOL/PREFIX", "s3://BUCKET/PREFIX") instead of a directory.
bool is_shared_store(const std::string &image_root);

// The same root, so that it stays what it is in another working directory.
std::string lasting_image_root(const std::string &image_root);

// Lets the substitute image library look for images there, from its next call on; what is open stays where it is.
void use_image_root(const std::string &image_root);
