// What leads into an engine, and what does not. Those that need one run where STSIMAGE_TEST_STORE names it.
#include <cstdlib>

#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

class Engine : public ImageTest {
protected:
    void SetUp() override {
        if (!is_in_engine())
            GTEST_SKIP() << "needs an engine";
    }
    ~Engine() override {
        unsetenv("STSIMAGE_ABSOLUTE");
        unsetenv("STSIMAGE_RADOS_TIMEOUT");
        unsetenv("STSIMAGE_S3_TIMEOUT");
    }

    static std::string engine_root() { return std::getenv("STSIMAGE_ROOT"); }
    static bool is_s3() { return engine_root().compare(0, 3, "s3:") == 0; }
};

using EngineLibrary = ImageTest;

TEST_F(EngineLibrary, ThatIsNotInstalledIsNamed) {
    if (fs::exists(fs::path(STSIMAGE_LIBRARY).parent_path() / "stsimage" / "rados.so"))
        GTEST_SKIP() << "it is there";
    setenv("STSIMAGE_ROOT", "rados:pool", 1);
    EXPECT_EQ(store("image", "data"), STS_E_SYSTEM);
    EXPECT_NE(std::string(stsimg_last_error()).find("stsimage/rados.so"), std::string::npos) << stsimg_last_error();
}

TEST_F(EngineLibrary, IsNotNeededForDirectoriesNamedByTheirPath) {
    setenv("STSIMAGE_ROOT", "rados:pool", 1);
    EXPECT_EQ(store("image", "data", root().c_str()), 0) << stsimg_last_error();
    EXPECT_TRUE(fs::exists(root() / "image.stsimg"));
}

TEST_F(Engine, BadLsuTextsAreRefused) {
    const std::string too_long(1024, 'x');
    for (const char *text : {"", "..", "a/../b", ".", "a\nb", "a//..", too_long.c_str()})
        EXPECT_EQ(store("image", "data", text), STSIMG_E_INVALID_LSU) << text;
}

TEST_F(Engine, SpellingsOfOneLsuLeadToIt) {
    ASSERT_EQ(store("image", "data", "a//b/"), 0) << stsimg_last_error();
    EXPECT_EQ(content("image", "a/b"), "data");
}

TEST_F(Engine, AbsoluteTextIsMappedWhenAskedFor) {
    setenv("STSIMAGE_ABSOLUTE", "store", 1);
    const std::string text = root() / "disk";
    ASSERT_EQ(store("image", "data", text.c_str()), 0) << stsimg_last_error();
    EXPECT_EQ(content("image", text.c_str()), "data");
    EXPECT_EQ(content("image", text.substr(1).c_str()), "status 2060022");
    EXPECT_FALSE(fs::exists(text));
    setenv("STSIMAGE_ABSOLUTE", "directory", 1);
    EXPECT_EQ(content("image", text.c_str()), "status 2060022");
    setenv("STSIMAGE_ABSOLUTE", "elsewhere", 1);
    EXPECT_EQ(store("image", "data", text.c_str()), STSIMG_E_INVALID_LSU);
}

TEST_F(Engine, RootsAreApart) {
    const std::string other = engine_root() + "-other";
    ASSERT_EQ(store("image", "data"), 0) << stsimg_last_error();
    setenv("STSIMAGE_ROOT", other.c_str(), 1);
    EXPECT_EQ(content("image"), "status 2060022");
}

TEST_F(Engine, PoolThatIsNotThereIsNotFound) {
    const bool in_s3 = is_s3();
    setenv("STSIMAGE_ROOT", in_s3 ? "s3://no-such-pool" : "rados:no-such-pool", 1);
    EXPECT_EQ(store("image", "data"), STS_E_NOT_FOUND);
    EXPECT_NE(std::string(stsimg_last_error()).find("no-such-pool"), std::string::npos) << stsimg_last_error();
    setenv("STSIMAGE_ROOT", in_s3 ? "s3:" : "rados:", 1);
    EXPECT_EQ(store("image", "data"), STSIMG_E_INVALID_LSU);
}

TEST_F(Engine, TimeOutThatIsNoNumberIsRefused) {
    const char *const variable = is_s3() ? "STSIMAGE_S3_TIMEOUT" : "STSIMAGE_RADOS_TIMEOUT";
    setenv("STSIMAGE_ROOT", (engine_root() + "-timed").c_str(), 1);
    for (const char *seconds : {"0", "-1", "soon", "5s", "99999"}) {
        setenv(variable, seconds, 1);
        EXPECT_EQ(store("image", "data"), STSIMG_E_INVALID_LSU) << seconds;
    }
}

TEST_F(Engine, ReaderOfAReplacedAndDeletedImageReadsOn) {
    const std::string data = pattern(9'000'000);
    ASSERT_EQ(store("image", data), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("image", STSIMG_MODE_READ, image), 0);
    ASSERT_EQ(store("image", "another"), 0);
    ASSERT_EQ(remove("image"), 0);
    std::string read_data;
    ASSERT_EQ(read(image, read_data, data.size()), 0) << stsimg_last_error();
    EXPECT_EQ(read_data, data);
    EXPECT_EQ(stsimg_close_image(image), 0);
    EXPECT_TRUE(names().empty());
}
