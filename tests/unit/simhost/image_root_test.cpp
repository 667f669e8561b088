#include "simhost/host/image_root.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace fs = std::filesystem;

TEST(LastingImageRoot, IsAbsoluteForADirectory) {
    EXPECT_EQ(lasting_image_root("images"), (fs::current_path() / "images").string());
    EXPECT_EQ(lasting_image_root("./rados:pool"), (fs::current_path() / "./rados:pool").string());
    EXPECT_EQ(lasting_image_root("/srv/images"), "/srv/images");
}

TEST(LastingImageRoot, IsLeftAloneForASharedStore) {
    for (const char *root : {"rados:pool", "rados:pool/prefix/more", "rados:"})
        EXPECT_EQ(lasting_image_root(root), root);
}
