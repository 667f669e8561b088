// Names, texts, handles and directories that no well-meaning caller would hand over.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

using ImageName = ImageTest;
using LsuText = ImageTest;
using NullPointer = ImageTest;
using Handle = ImageTest;
using ForeignEntry = DirectoryTest;
using LastError = ImageTest;

namespace {

bool message_has(const std::string &part) { return std::string(stsimg_last_error()).find(part) != std::string::npos; }

// Runs part of a test as an ordinary user, for whom permissions count. The part returns whether all was as expected.
bool as_ordinary_user(const std::function<bool()> &part) {
    if (geteuid() != 0)
        return part();
    const pid_t child = fork();
    if (child == 0)
        _exit(setgid(65534) == 0 && setuid(65534) == 0 && part() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
}

}  // namespace

TEST_F(ImageName, BadNamesAreRefusedEverywhere) {
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string("/"), std::string("a/b"),
          std::string("../escape"), std::string("/etc/passwd"), std::string("a/"), std::string("line\nbreak"),
          std::string("tab\t"), std::string("\x7f"), std::string("\x01"), std::string(241, 'x'), std::string(1023, 'x'),
          std::string(1024, 'x')}) {
        sts_image_handle_t image = &image;
        EXPECT_EQ(create(name, image), STSIMG_E_INVALID_NAME) << name;
        EXPECT_EQ(image, nullptr);
        EXPECT_TRUE(message_has("the image name \"")) << stsimg_last_error();
        EXPECT_EQ(open(name, STSIMG_MODE_READ, image), STSIMG_E_INVALID_NAME) << name;
        EXPECT_EQ(remove(name), STSIMG_E_INVALID_NAME) << name;
        sts_image_info_t properties;
        EXPECT_EQ(info(name, properties), STSIMG_E_INVALID_NAME) << name;
    }
    EXPECT_TRUE(fs::is_empty(root()));
}

TEST_F(ImageName, UnterminatedFieldIsRefused) {
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create(std::string(4000, 'x'), image), STSIMG_E_INVALID_NAME);
    EXPECT_TRUE(message_has("not terminated")) << stsimg_last_error();
}

TEST_F(ImageName, UnusualButHarmlessNamesWork) {
    const std::vector<std::string> unusual{std::string(240, 'n'),
                                           "..x",
                                           ".hidden",
                                           ".stsimg-unfinished",
                                           ".stsimg-lock",
                                           "-rf",
                                           "a b  c ",
                                           "%s%n",
                                           "x.stsimg",
                                           "\xc3\xa4\xe2\x82\xac",
                                           "\xff\xfe",
                                           "*",
                                           "C:\\windows",
                                           "'\"`$(x)"};
    for (const std::string &name : unusual) {
        ASSERT_EQ(store(name, "data of " + name), 0) << name << ": " << stsimg_last_error();
        EXPECT_EQ(content(name), "data of " + name);
    }
    EXPECT_EQ(names().size(), unusual.size());
    for (const std::string &name : unusual)
        EXPECT_EQ(remove(name), 0) << name;
    EXPECT_TRUE(names().empty());
    EXPECT_TRUE(is_in_engine() || fs::is_empty(root() / "pool"));
}

TEST_F(LsuText, BadTextsAreRefusedAndMakeNothing) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    const std::string long_text(4000, 'x');
    const std::string long_component(300, 'x');
    for (const char *text : {"", ".", "..", "../out", "pool/..", "pool/../../out", "./pool", "a/./b", "line\nbreak",
                             "\x01", long_text.c_str(), long_component.c_str(), "pool/.stsimg-unfinished"}) {
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(create("image", image, text), STSIMG_E_INVALID_LSU) << text;
        EXPECT_TRUE(message_has("the LSU text \"") || message_has("parent")) << stsimg_last_error();
        EXPECT_EQ(open("image", STSIMG_MODE_READ, image, text), STSIMG_E_INVALID_LSU) << text;
        sts_image_list_handle_t list = nullptr;
        EXPECT_EQ(stsimg_open_image_list(text, nullptr, "", 0, &list), STSIMG_E_INVALID_LSU) << text;
    }
    EXPECT_TRUE(fs::is_empty(root()));
    EXPECT_FALSE(fs::exists(root().parent_path() / "out"));
}

TEST_F(LsuText, MayHave1023Bytes) {
    std::string text;
    while (text.size() < 1000)
        text += std::string(99, 'x') + '/';
    text += std::string(23, 'x');
    ASSERT_EQ(store("image", "x", text.c_str()), 0) << stsimg_last_error();
    EXPECT_EQ(content("image", text.c_str()), "x");
    text += 'x';
    EXPECT_EQ(store("image", "x", text.c_str()), STSIMG_E_INVALID_LSU);
    EXPECT_TRUE(message_has("longer than 1023 bytes")) << stsimg_last_error();
}

TEST_F(LsuText, UnfinishedDirectoryByItsAbsolutePathIsRefused) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("kept", "data"), 0);
    fs::create_directory(unfinished());
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create("image", image, unfinished().c_str()), STSIMG_E_INVALID_LSU);
    EXPECT_TRUE(message_has("unfinished")) << stsimg_last_error();
}

TEST_F(LsuText, MissingDirectoryIsNotFoundAndNotMadeByReading) {
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(open("image", STSIMG_MODE_READ, image, "none"), STS_E_NOT_FOUND);
    EXPECT_TRUE(message_has("none")) << stsimg_last_error();
    sts_image_list_handle_t list = nullptr;
    EXPECT_EQ(stsimg_open_image_list("none", nullptr, "", 0, &list), STS_E_NOT_FOUND);
    EXPECT_EQ(remove("image", "none"), STS_E_NOT_FOUND);
    EXPECT_TRUE(fs::is_empty(root()));
}

TEST_F(LsuText, AbsoluteDirectoryIsNeverMade) {
    const fs::path missing = root() / "not-mounted";
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create("image", image, missing.c_str()), STS_E_NOT_FOUND);
    EXPECT_FALSE(fs::exists(missing));
}

TEST_F(LsuText, FileInPlaceOfDirectoryIsRefused) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    std::ofstream(root() / "file") << "x";
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create("image", image, "file"), STSIMG_E_INVALID_LSU);
    EXPECT_EQ(create("image", image, "file/below"), STSIMG_E_INVALID_LSU);
    EXPECT_EQ(create("image", image, (root() / "file").c_str()), STSIMG_E_INVALID_LSU);
    EXPECT_TRUE(message_has("not a directory")) << stsimg_last_error();
}

TEST_F(LsuText, LinksOutOfTheRootAreRefused) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    const fs::path inside = root() / "root";
    const fs::path outside = root() / "outside";
    fs::create_directory(inside);
    fs::create_directory(outside);
    setenv("STSIMAGE_ROOT", inside.c_str(), 1);
    fs::create_directory_symlink("../outside", inside / "relative");
    fs::create_directory_symlink(outside, inside / "absolute");
    fs::create_directory_symlink("circle", inside / "circle");
    fs::create_directory_symlink("nowhere", inside / "dangling");
    sts_image_handle_t image = nullptr;
    for (const char *text : {"relative", "absolute", "relative/deep", "absolute/deep", "circle"})
        EXPECT_EQ(create("image", image, text), STSIMG_E_INVALID_LSU) << text << ": " << stsimg_last_error();
    EXPECT_NE(create("image", image, "dangling"), 0);
    EXPECT_TRUE(fs::is_empty(outside));

    fs::create_directory(inside / "real");
    fs::create_directory_symlink("real", inside / "alias");
    ASSERT_EQ(store("image", "x", "alias"), 0) << stsimg_last_error();
    EXPECT_EQ(content("image", "real"), "x");
}

TEST_F(LsuText, LinksAmongUnfinishedImagesAreRefused) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    sts_image_handle_t writer = nullptr;
    ASSERT_EQ(create("being written", writer), 0);
    fs::create_directory(unfinished() / "sub");
    fs::create_directory_symlink("pool/.stsimg-unfinished", root() / "alias");
    fs::create_directory_symlink("alias", root() / "hop");
    fs::create_directory_symlink("pool/.stsimg-unfinished/sub", root() / "deep");
    const std::string absolute = root() / "alias", absolute_below = root() / "hop/sub";
    for (const std::string &text : {std::string("alias"), std::string("hop"), std::string("alias/sub"),
                                    std::string("alias/new"), std::string("deep"), absolute, absolute_below}) {
        SCOPED_TRACE(text);
        const char *lsu = text.c_str();
        // Making "alias/new" is refused; there is no such directory to be opened.
        const int32_t expected = text == "alias/new" ? int32_t{STS_E_NOT_FOUND} : int32_t{STSIMG_E_INVALID_LSU};
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(create("image", image, lsu), STSIMG_E_INVALID_LSU);
        EXPECT_TRUE(message_has("among unfinished images, through a link")) << stsimg_last_error();
        EXPECT_EQ(open("being written", STSIMG_MODE_READ, image, lsu), expected);
        EXPECT_EQ(open("being written", STSIMG_MODE_WRITE, image, lsu), expected);
        EXPECT_EQ(remove("being written", lsu), expected);
        sts_image_info_t properties;
        EXPECT_EQ(info("being written", properties, lsu), expected);
        sts_image_list_handle_t list = nullptr;
        EXPECT_EQ(stsimg_open_image_list(lsu, nullptr, "", 0, &list), expected);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(unfinished()), fs::directory_iterator()), 2);
    EXPECT_TRUE(fs::is_empty(unfinished() / "sub"));
    EXPECT_EQ(stsimg_close_image(writer), 0) << stsimg_last_error();
    EXPECT_EQ(names(), std::vector<std::string>{"being written"});
}

TEST_F(LsuText, AbsoluteOneMayLeadThroughLinksAndUpwards) {
    fs::create_directories(root() / "real/deep");
    fs::create_directory_symlink(root() / "real", root() / "link");
    fs::create_directory_symlink("circle", root() / "circle");
    ASSERT_EQ(store("image", "x", (root() / "link/../real/deep").c_str()), 0) << stsimg_last_error();
    EXPECT_EQ(content("image", (root() / "link/deep").c_str()), "x");
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create("image", image, (root() / "circle").c_str()), STSIMG_E_INVALID_LSU);
    EXPECT_TRUE(message_has("too many links")) << stsimg_last_error();
    EXPECT_FALSE(message_has("root directory")) << stsimg_last_error();
}

TEST_F(LsuText, UnreadableDirectoryIsRefused) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    const fs::path locked = root() / "locked";
    fs::create_directory(locked);
    fs::permissions(root(), fs::perms::all);
    fs::permissions(locked, fs::perms::none);
    EXPECT_TRUE(as_ordinary_user([] {
        sts_image_handle_t image = nullptr;
        return create("image", image, "locked") == STSIMG_E_NO_ACCESS && message_has("locked");
    }));
    fs::permissions(locked,
                    fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
    EXPECT_TRUE(as_ordinary_user([] {
        sts_image_handle_t image = nullptr;
        return create("image", image, "locked") == STSIMG_E_NO_ACCESS && names("locked").empty();
    }));
    fs::permissions(locked, fs::perms::owner_all);
}

TEST_F(LsuText, RootMustBeAbsoluteAndItsParentExist) {
    sts_image_handle_t image = nullptr;
    setenv("STSIMAGE_ROOT", "relative", 1);
    EXPECT_EQ(create("image", image), STSIMG_E_INVALID_LSU);
    EXPECT_TRUE(message_has("STSIMAGE_ROOT")) << stsimg_last_error();
    setenv("STSIMAGE_ROOT", (root() / "new").c_str(), 1);
    EXPECT_EQ(open("image", STSIMG_MODE_READ, image), STS_E_NOT_FOUND);
    EXPECT_FALSE(fs::exists(root() / "new"));
    EXPECT_EQ(store("image", "x"), 0) << stsimg_last_error();
    EXPECT_EQ(content("image"), "x");
    setenv("STSIMAGE_ROOT", (root() / "far" / "off").c_str(), 1);
    EXPECT_EQ(create("image", image), STS_E_NOT_FOUND);
    EXPECT_FALSE(fs::exists(root() / "far"));
}

TEST_F(LsuText, RootMustBeADirectory) {
    std::ofstream(root() / "file") << "x";
    fs::create_directory_symlink("circle", root() / "circle");
    for (const char *place : {"file", "file/below", "circle"}) {
        setenv("STSIMAGE_ROOT", (root() / place).c_str(), 1);
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(create("image", image), STSIMG_E_INVALID_LSU) << place;
        EXPECT_TRUE(message_has((root() / place).string())) << stsimg_last_error();
        EXPECT_TRUE(message_has("root directory of images")) << stsimg_last_error();
    }
}

// Nobody else's directory is looked into in order to make names last.
TEST_F(LsuText, MayLeadThroughADirectoryThatCannotBeRead) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    fs::create_directories(root() / "closed/own");
    fs::permissions(root(), fs::perms::all);
    fs::permissions(root() / "closed", fs::perms::all & ~(fs::perms::others_read | fs::perms::owner_read));
    fs::permissions(root() / "closed/own", fs::perms::all);
    EXPECT_TRUE(as_ordinary_user(
        [] { return store("image", "x", "closed/own") == 0 && content("image", "closed/own") == "x"; }));
    EXPECT_TRUE(as_ordinary_user(
        [] { return store("image", "x", "closed/new") == STSIMG_E_NO_ACCESS && message_has("closed"); }));
    fs::permissions(root() / "closed", fs::perms::all);
}

TEST_F(NullPointer, GivesInvalidParameterInEveryCall) {
    ASSERT_EQ(store("image", "data"), 0);
    const sts_image_definition_t definition = image_named("image");
    sts_image_handle_t image = nullptr;
    sts_image_list_handle_t list = nullptr;
    sts_image_info_t properties;
    sts_image_definition_t found;
    uint64_t count;
    char buffer[4];
    const auto invalid = [](int32_t status) { EXPECT_EQ(status, STS_E_INVALID_PARAMETER) << stsimg_last_error(); };
    invalid(stsimg_create_image(nullptr, nullptr, "", &definition, 0, &image));
    invalid(stsimg_create_image("pool", nullptr, nullptr, &definition, 0, &image));
    invalid(stsimg_create_image("pool", nullptr, "", nullptr, 0, &image));
    invalid(stsimg_create_image("pool", nullptr, "", &definition, 0, nullptr));
    invalid(stsimg_open_image(nullptr, nullptr, "", &definition, 1, &image));
    invalid(stsimg_open_image("pool", nullptr, nullptr, &definition, 1, &image));
    invalid(stsimg_open_image("pool", nullptr, "", nullptr, 1, &image));
    invalid(stsimg_open_image("pool", nullptr, "", &definition, 1, nullptr));
    invalid(stsimg_delete_image(nullptr, nullptr, "", &definition, 0));
    invalid(stsimg_delete_image("pool", nullptr, nullptr, &definition, 0));
    invalid(stsimg_delete_image("pool", nullptr, "", nullptr, 0));
    invalid(stsimg_open_image_list(nullptr, nullptr, "", 0, &list));
    invalid(stsimg_open_image_list("pool", nullptr, nullptr, 0, &list));
    invalid(stsimg_open_image_list("pool", nullptr, "", 0, nullptr));
    invalid(stsimg_get_image_prop_byname(nullptr, nullptr, "", &definition, &properties));
    invalid(stsimg_get_image_prop_byname("pool", nullptr, nullptr, &definition, &properties));
    invalid(stsimg_get_image_prop_byname("pool", nullptr, "", nullptr, &properties));
    invalid(stsimg_get_image_prop_byname("pool", nullptr, "", &definition, nullptr));
    invalid(stsimg_get_image_prop(nullptr, &properties));
    invalid(stsimg_read_image(nullptr, buffer, 4, 0, &count));
    invalid(stsimg_write_image(nullptr, nullptr, buffer, 4, 0, &count));
    invalid(stsimg_close_image(nullptr));
    invalid(stsimg_list_image(nullptr, &found));
    invalid(stsimg_close_image_list(nullptr));

    ASSERT_EQ(create("image", image), 0);
    invalid(stsimg_get_image_prop(image, nullptr));
    invalid(stsimg_read_image(image, nullptr, 4, 0, &count));
    invalid(stsimg_read_image(image, buffer, 4, 0, nullptr));
    invalid(stsimg_write_image(image, nullptr, nullptr, 4, 0, &count));
    invalid(stsimg_write_image(image, nullptr, buffer, 4, 0, nullptr));
    EXPECT_EQ(stsimg_close_image(image), 0);
    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    invalid(stsimg_list_image(list, nullptr));
    EXPECT_EQ(stsimg_close_image_list(list), 0);
}

TEST_F(NullPointer, OverlongServerNameIsRefused) {
    const sts_image_definition_t definition = image_named("image");
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(stsimg_create_image("pool", nullptr, std::string(512, 'h').c_str(), &definition, 0, &image),
              STS_E_INVALID_PARAMETER);
    ASSERT_EQ(stsimg_create_image("pool", nullptr, std::string(511, 'h').c_str(), &definition, 0, &image), 0);
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(Handle, ClosedForeignAndMadeUpOnesAreRefused) {
    sts_image_handle_t image = nullptr;
    sts_image_list_handle_t list = nullptr;
    ASSERT_EQ(store("image", "data"), 0);
    ASSERT_EQ(open("image", STSIMG_MODE_READ, image), 0);
    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    const auto expect_no_image = [](void *handle) {
        sts_image_info_t properties;
        uint64_t count;
        char buffer[4];
        EXPECT_EQ(stsimg_get_image_prop(handle, &properties), STSIMG_E_INVALID_HANDLE);
        EXPECT_EQ(stsimg_read_image(handle, buffer, 4, 0, &count), STSIMG_E_INVALID_HANDLE);
        EXPECT_EQ(stsimg_write_image(handle, nullptr, buffer, 4, 0, &count), STSIMG_E_INVALID_HANDLE);
        EXPECT_EQ(stsimg_close_image(handle), STSIMG_E_INVALID_HANDLE);
    };
    const auto expect_no_list = [](void *handle) {
        sts_image_definition_t found;
        EXPECT_EQ(stsimg_list_image(handle, &found), STSIMG_E_INVALID_HANDLE);
        EXPECT_EQ(stsimg_close_image_list(handle), STSIMG_E_INVALID_HANDLE);
    };
    int local = 0;
    for (void *made_up :
         {static_cast<void *>(&local), reinterpret_cast<void *>(1), reinterpret_cast<void *>(UINTPTR_MAX)}) {
        expect_no_image(made_up);
        expect_no_list(made_up);
    }
    expect_no_image(list);
    expect_no_list(image);
    EXPECT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(stsimg_close_image_list(list), 0);
    expect_no_image(image);
    expect_no_list(list);
}

// A program that the process starts must not inherit what the library has open.
TEST_F(Handle, HasDescriptorsThatEndWithAnotherProgram) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("image", "data"), 0);
    sts_image_handle_t reader = nullptr, writer = nullptr, changer = nullptr;
    sts_image_list_handle_t list = nullptr;
    ASSERT_EQ(open("image", STSIMG_MODE_READ, reader), 0);
    ASSERT_EQ(open("image", STSIMG_MODE_WRITE, changer), 0);
    ASSERT_EQ(create("new", writer), 0);
    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    int descriptors = 0;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (fs::read_symlink(entry, gone).string().rfind(root().string(), 0) != 0)
            continue;
        ++descriptors;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0) << fs::read_symlink(entry);
    }
    EXPECT_GE(descriptors, 4);
    for (const sts_image_handle_t image : {reader, changer, writer})
        EXPECT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(stsimg_close_image_list(list), 0);
}

// Memory is never looked at, and an address that somebody takes for a handle is none.
TEST_F(Handle, IsNoAddress) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    EXPECT_GT(reinterpret_cast<uint64_t>(image), uint64_t{1} << 48);
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(Handle, IsNeverUsedAgain) {
    ASSERT_EQ(store("image", "data"), 0);
    std::vector<void *> seen;
    for (int round = 0; round < 1000; ++round) {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(open("image", STSIMG_MODE_READ, image), 0);
        EXPECT_EQ(stsimg_close_image(image), 0);
        seen.push_back(image);
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end());
}

// Entries with an image's file name that are no files: never followed, opened, replaced or deleted.
TEST_F(ForeignEntry, IsNoImageAndStays) {
    ASSERT_EQ(store("real", "data"), 0);
    fs::create_directory(file_of("directory"));
    fs::create_symlink("real.stsimg", file_of("link"));
    fs::create_symlink("nothing", file_of("dangling"));
    ASSERT_EQ(mkfifo(file_of("pipe").c_str(), 0600), 0);
    for (const char *name : {"directory", "link", "dangling", "pipe"}) {
        sts_image_handle_t image = nullptr;
        sts_image_info_t properties;
        EXPECT_EQ(open(name, STSIMG_MODE_READ, image), STSIMG_E_NOT_AN_IMAGE) << name;
        EXPECT_EQ(open(name, STSIMG_MODE_WRITE, image), STSIMG_E_NOT_AN_IMAGE) << name;
        EXPECT_EQ(create(name, image), STSIMG_E_NOT_AN_IMAGE) << name;
        EXPECT_EQ(remove(name), STSIMG_E_NOT_AN_IMAGE) << name;
        EXPECT_EQ(info(name, properties), STSIMG_E_NOT_AN_IMAGE) << name;
        EXPECT_NE(fs::symlink_status(file_of(name)).type(), fs::file_type::not_found) << name;
    }
    EXPECT_EQ(names(), std::vector<std::string>{"real"});
    EXPECT_FALSE(fs::exists(unfinished()));
}

// Files that end as an image's but whose names no image may have.
TEST_F(ForeignEntry, IsNotListed) {
    ASSERT_EQ(store("real", "data"), 0);
    for (const std::string &file :
         {std::string(".stsimg"), std::string("..stsimg"), std::string("...stsimg"), std::string("line\nbreak.stsimg"),
          std::string(241, 'x') + ".stsimg", std::string("other.txt"), std::string("stsimg"), std::string("xstsimg")})
        std::ofstream(root() / "pool" / file) << "x";
    EXPECT_EQ(names(), std::vector<std::string>{"real"});
}

TEST_F(ForeignEntry, ThatAppearsDuringWritingIsNotReplaced) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    fs::create_directory(file_of("image"));
    EXPECT_EQ(stsimg_close_image(image), STSIMG_E_NOT_AN_IMAGE) << stsimg_last_error();
    EXPECT_TRUE(fs::is_directory(file_of("image")));
    EXPECT_FALSE(fs::exists(unfinished()));
}

// Somebody tidied up; the file that has the name now is another writer's.
TEST_F(ForeignEntry, InPlaceOfAnUnfinishedFileIsNotPublished) {
    sts_image_handle_t first = nullptr, second = nullptr;
    ASSERT_EQ(create("image", first), 0);
    ASSERT_EQ(write(first, "first"), 0);
    fs::remove(unfinished() / "image.stsimg");
    ASSERT_EQ(create("image", second), 0);
    EXPECT_EQ(stsimg_close_image(first), STS_E_SYSTEM);
    EXPECT_TRUE(message_has("taken away")) << stsimg_last_error();
    EXPECT_TRUE(names().empty());
    ASSERT_EQ(write(second, "second"), 0);
    EXPECT_EQ(stsimg_close_image(second), 0) << stsimg_last_error();
    EXPECT_EQ(content("image"), "second");
}

TEST_F(ForeignEntry, AmongUnfinishedImagesDoesNotHoldUpOpening) {
    ASSERT_EQ(store("image", "x"), 0);
    fs::create_directory(unfinished());
    ASSERT_EQ(mkfifo((unfinished() / "pipe").c_str(), 0600), 0);
    fs::create_symlink(file_of("image"), unfinished() / "link");
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(names().size() == 1 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(content("image"), "x");
}

TEST_F(ForeignEntry, InPlaceOfTheUnfinishedDirectoryIsNotFollowed) {
    const fs::path outside = root() / "outside";
    fs::create_directory(outside);
    std::ofstream(outside / "image.stsimg") << "precious";
    fs::create_directory(root() / "pool");
    fs::create_directory_symlink(outside, unfinished());
    sts_image_handle_t image = nullptr;
    EXPECT_NE(create("image", image), 0);
    EXPECT_TRUE(names().empty());
    EXPECT_TRUE(fs::exists(outside / "image.stsimg"));
}

TEST_F(LastError, BelongsToItsThread) {
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(open("mine", STSIMG_MODE_READ, image, "none"), STS_E_NOT_FOUND);
    std::string of_other_thread = "?";
    std::thread([&] {
        of_other_thread = stsimg_last_error();
        sts_image_handle_t other = nullptr;
        create("bad/name", other);
    }).join();
    EXPECT_EQ(of_other_thread, "");
    EXPECT_TRUE(message_has("none")) << stsimg_last_error();
    EXPECT_EQ(store("fine", "x"), 0);
    EXPECT_TRUE(message_has("none")) << stsimg_last_error();
}

TEST_F(LastError, ShowsBytesThatCannotBePrinted) {
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create("a\x1b[31m\n", image), STSIMG_E_INVALID_NAME);
    EXPECT_TRUE(message_has("\"a\\x1b[31m\\x0a\"")) << stsimg_last_error();
}

TEST_F(LastError, QuotesQuotesAndCutsLongTexts) {
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(create("a\"b\\/", image), STSIMG_E_INVALID_NAME);
    EXPECT_STREQ(stsimg_last_error(), "the image name \"a\\x22b\\x5c/\" has a '/'");
    std::string escaped;
    for (int character = 0; character < 500; ++character)
        escaped += "\\x01";
    EXPECT_EQ(create(std::string(500, '\1'), image), STSIMG_E_INVALID_NAME);
    EXPECT_EQ(stsimg_last_error(), "the image name \"" + escaped + "\" is longer than 240 bytes");
    EXPECT_EQ(create(std::string(501, '\1'), image), STSIMG_E_INVALID_NAME);
    EXPECT_EQ(stsimg_last_error(), "the image name \"" + escaped + "\"... is longer than 240 bytes");
    EXPECT_EQ(create("x" + std::string(500, '\1'), image), STSIMG_E_INVALID_NAME);
    EXPECT_EQ(stsimg_last_error(), "the image name \"x" + escaped.substr(4) + "\"... is longer than 240 bytes");
}
