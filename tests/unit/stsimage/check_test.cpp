// Looking through what is kept: what is found, what goes, and what never does.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "stspi/stsimg_check.h"
#include "tests/unit/stsimage/file_bytes.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

namespace {

struct Finding {
    std::string lsu, name, failure;
    int32_t kind, status;
    bool in_use, removed;
};

int32_t keep(const sts_image_finding_t *finding, void *context) {
    static_cast<std::vector<Finding> *>(context)->push_back({finding->lsu, finding->name, finding->failure,
                                                             finding->kind, finding->status, finding->in_use != 0,
                                                             finding->removed != 0});
    return 0;
}

std::vector<Finding> of_kind(const std::vector<Finding> &findings, int32_t kind) {
    std::vector<Finding> chosen;
    std::copy_if(findings.begin(), findings.end(), std::back_inserter(chosen),
                 [kind](const Finding &finding) { return finding.kind == kind; });
    return chosen;
}

}  // namespace

class Check : public ImageTest {
protected:
    static std::vector<Finding> check(uint32_t flags, const char *lsu = nullptr) {
        std::vector<Finding> findings;
        EXPECT_EQ(stsimg_check(lsu, flags, keep, &findings), 0) << stsimg_last_error();
        return findings;
    }

    static std::vector<Finding> drafts(uint32_t flags) { return of_kind(check(flags), STSIMG_FOUND_DRAFT); }

    // Leaves drafts of these names, by a process that is killed.
    static void leave_drafts(const std::vector<std::string> &names) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            bool is_right = true;
            for (const std::string &name : names) {
                sts_image_handle_t image = nullptr;
                is_right = create(name, image) == 0 && write(image, pattern(100'000), 5'000'000) == 0 && is_right;
            }
            static_cast<void>(!::write(ends[1], is_right ? "+" : "-", 1));
            pause();
            _exit(1);
        }
        char made = 0;
        EXPECT_EQ(::read(ends[0], &made, 1), 1);
        EXPECT_EQ(made, '+');
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(ends[0]);
        close(ends[1]);
    }

    // Waits until so many are: where a dead writer is known by its lease, that has to run out.
    static bool wait_until_in_use(size_t wanted) {
        for (int attempt = 0; attempt < 600; ++attempt) {
            size_t in_use = 0;
            for (const Finding &finding : drafts(0))
                in_use += finding.in_use ? 1 : 0;
            if (in_use == wanted)
                return true;
            usleep(100'000);
        }
        return false;
    }
};

TEST_F(Check, FindsNothingBesideImagesThatAreWhole) {
    ASSERT_EQ(store("image", pattern(3'000'000), "pool/a"), 0) << stsimg_last_error();
    ASSERT_EQ(store("other", ""), 0);
    ASSERT_EQ(store("other", "in place of it"), 0);
    const std::vector<Finding> findings = check(STSIMG_CHECK_VERIFY | STSIMG_CHECK_REMOVE);
    std::vector<std::string> told;
    for (const Finding &finding : findings)
        // What was replaced may be there for as long as somebody may still read it.
        if (finding.kind != STSIMG_FOUND_DELETED || !finding.in_use)
            told.push_back(std::to_string(finding.kind) + ' ' + finding.lsu + ' ' + finding.name + ' ' +
                           std::to_string(finding.status));
    EXPECT_EQ(told, (std::vector<std::string>{"2 pool other 0", "1 pool  0", "2 pool/a image 0", "1 pool/a  0"}));
}

TEST_F(Check, DraftOfALiveWriterIsInUseAndStays) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0) << stsimg_last_error();
    ASSERT_EQ(write(image, "data"), 0);
    const std::vector<Finding> found = drafts(STSIMG_CHECK_REMOVE);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].lsu, "pool");
    EXPECT_EQ(found[0].name, "image");
    EXPECT_TRUE(found[0].in_use);
    EXPECT_FALSE(found[0].removed);
    EXPECT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
    EXPECT_EQ(content("image"), "data");
    EXPECT_TRUE(drafts(0).empty());
}

TEST_F(Check, DraftOfAKilledWriterGoesWhenAsked) {
    ASSERT_NO_FATAL_FAILURE(leave_drafts({"image"}));
    ASSERT_TRUE(wait_until_in_use(0));
    for (const uint32_t flags : {uint32_t{0}, uint32_t{STSIMG_CHECK_REMOVE}}) {
        const std::vector<Finding> found = drafts(flags);
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0].name, "image");
        EXPECT_EQ(found[0].removed, flags != 0);
    }
    EXPECT_TRUE(drafts(0).empty());
    EXPECT_TRUE(of_kind(check(0), STSIMG_FOUND_ORPHAN).empty());
    EXPECT_FALSE(fs::exists(unfinished()));
}

TEST_F(Check, TwoAtOnceLeaveNothingButWhatALiveWriterHas) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("live", image), 0) << stsimg_last_error();
    ASSERT_EQ(write(image, "data"), 0);
    std::vector<std::string> names;
    for (int number = 0; number < 20; ++number)
        names.push_back("image " + std::to_string(number));
    ASSERT_NO_FATAL_FAILURE(leave_drafts(names));
    ASSERT_TRUE(wait_until_in_use(1));
    EXPECT_EQ(drafts(0).size(), names.size() + 1);
    std::vector<pid_t> children;
    children.reserve(2);
    for (int child = 0; child < 2; ++child) {
        children.push_back(fork());
        if (children.back() != 0)
            continue;
        size_t left = 0;
        for (const Finding &finding : drafts(STSIMG_CHECK_REMOVE))
            left += finding.removed ? 0 : 1;
        _exit(left == 1 && !HasFailure() ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const std::vector<Finding> left = drafts(0);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].name, "live");
    EXPECT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
    EXPECT_EQ(content("live"), "data");
}

TEST_F(Check, EndsWhenItsFunctionSaysSo) {
    ASSERT_EQ(store("image", "data"), 0);
    EXPECT_EQ(stsimg_check(
                  nullptr, STSIMG_CHECK_VERIFY, [](const sts_image_finding_t *, void *) { return 77; }, nullptr),
              77);
    EXPECT_EQ(stsimg_check(
                  "pool", 0, [](const sts_image_finding_t *, void *) { return -1; }, nullptr),
              -1);
}

TEST_F(Check, NullFunctionAndBadTextAreRefused) {
    EXPECT_EQ(stsimg_check(nullptr, 0, nullptr, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stsimg_check("", 0, keep, nullptr), STSIMG_E_INVALID_LSU);
}

TEST_F(Check, LsuThatIsNotThereIsAFinding) {
    ASSERT_EQ(store("image", "data"), 0);
    const std::vector<Finding> findings = check(0, "elsewhere");
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].kind, STSIMG_FOUND_LSU);
    EXPECT_EQ(findings[0].status, STS_E_NOT_FOUND);
    EXPECT_NE(findings[0].failure.find("elsewhere"), std::string::npos) << findings[0].failure;
}

class CheckOfDirectories : public Check {
protected:
    void SetUp() override {
        if (is_in_engine())
            GTEST_SKIP() << of_directories;
    }
};

TEST_F(CheckOfDirectories, DamagedImageIsTold) {
    ASSERT_EQ(store("good", pattern(100'000)), 0);
    ASSERT_EQ(store("bad", pattern(100'000)), 0);
    flip_bit(file_of("bad"), (1 << 20) + 50'000, 3);
    for (const Finding &finding : of_kind(check(STSIMG_CHECK_VERIFY), STSIMG_FOUND_IMAGE)) {
        EXPECT_EQ(finding.status, finding.name == "bad" ? STSIMG_E_DAMAGED : 0) << finding.name;
        EXPECT_EQ(finding.failure.find("bad") != std::string::npos, finding.name == "bad") << finding.failure;
    }
}

TEST_F(CheckOfDirectories, EveryDirectoryIsLookedThroughAndNoLinkFollowed) {
    for (const char *lsu : {"b/c", "a"})
        ASSERT_EQ(store("image", "data", lsu), 0);
    fs::create_directory_symlink(root() / "a", root() / "link");
    fs::create_directory_symlink(root(), root() / "a" / "round");
    std::vector<std::string> lsus;
    for (const Finding &finding : check(0))
        lsus.push_back(finding.lsu);
    EXPECT_EQ(lsus, (std::vector<std::string>{"a", "b", "b/c"}));
    ASSERT_EQ(store("image", "data", root().c_str()), 0);
    lsus.clear();
    for (const Finding &finding : check(0))
        lsus.push_back(finding.lsu);
    EXPECT_EQ(lsus, (std::vector<std::string>{root(), "a", "b", "b/c"}));
}

TEST_F(CheckOfDirectories, LeftFilesAreToldByWhatTheyWere) {
    ASSERT_EQ(store("image", "data"), 0);
    fs::create_directory(unfinished());
    for (const char *name : {"image.stsimg.old", "new.stsimg", "something"})
        std::ofstream(unfinished() / name) << "left";
    std::vector<std::string> told;
    for (const Finding &finding : check(STSIMG_CHECK_REMOVE))
        told.push_back(std::to_string(finding.kind) + ' ' + finding.name + (finding.removed ? " removed" : ""));
    std::sort(told.begin(), told.end());
    EXPECT_EQ(told, (std::vector<std::string>{"1 ", "3 new removed", "4 image removed", "5  removed"}));
    EXPECT_FALSE(fs::exists(unfinished()));
    EXPECT_EQ(content("image"), "data");
}

TEST_F(CheckOfDirectories, RootThatIsNotThereFails) {
    setenv("STSIMAGE_ROOT", (root() / "none").c_str(), 1);
    EXPECT_EQ(stsimg_check(nullptr, 0, keep, nullptr), STS_E_NOT_FOUND);
}
