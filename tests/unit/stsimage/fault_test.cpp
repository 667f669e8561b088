// One call after the other fails, in a whole cycle of the library's life.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <ostream>

#include "tests/unit/stsimage/failing_allocations.h"
#include "tests/unit/stsimage/failing_calls.h"
#include "tests/unit/stsimage/image_test.h"
#include "tests/unit/stsimage/open_descriptors.h"

namespace fs = std::filesystem;

namespace {

// What the cycle has been told, and so must find.
struct Promised {
    std::map<std::string, std::string> images;  // by name, in the LSU "pool"
    bool fresh_stored = false;
    int32_t fresh_deletion = -1;  // its status
    int32_t first_failure = 0;
    std::string reason;
};

const std::string kept_data = pattern(70000, 1);
const std::string old_data = pattern(9000, 2);
const std::string new_data = pattern(50000, 3);
const std::string fresh_data = pattern(30000, 4);
constexpr char fresh_lsu[] = "made/on/demand";

// Runs a call of the library with faults let in.
template <class Function>
int32_t in_library(Promised &promised, Function function) {
    const std::string earlier_reason = stsimg_last_error();
    int32_t status;
    {
        const Library scope;
        status = function();
    }
    if (status == 0) {
        EXPECT_EQ(stsimg_last_error(), earlier_reason) << "a call that succeeds leaves it as it is";
    }
    if (status != 0 && status != STS_E_NO_MORE_ENTRIES && promised.first_failure == 0) {
        promised.first_failure = status;
        promised.reason = stsimg_last_error();
    }
    return status;
}

int32_t write_at(Promised &promised, sts_image_handle_t image, const std::string &data, uint64_t offset) {
    return in_library(promised, [&] {
        uint64_t written;
        return stsimg_write_image(image, nullptr, data.data(), data.size(), offset, &written);
    });
}

// Returns whether the image was closed with success.
bool store_image(Promised &promised, const char *lsu, const char *name, const std::string &data) {
    const sts_image_definition_t definition = image_named(name);
    sts_image_handle_t image = nullptr;
    if (in_library(promised, [&] { return stsimg_create_image(lsu, nullptr, "", &definition, 0, &image); }) != 0)
        return false;
    // Parts that begin and end within blocks, the first one last.
    bool written = true;
    for (size_t place = 7001; place < data.size(); place += 7001)
        written &= write_at(promised, image, data.substr(place, 7001), place) == 0;
    written &= write_at(promised, image, data.substr(0, 7001), 0) == 0;
    const bool closed = in_library(promised, [&] { return stsimg_close_image(image); }) == 0;
    EXPECT_TRUE(written || !closed) << name << ": a write failed, and close did not say so";
    return closed;
}

bool change_image(Promised &promised, const char *name, const std::string &data, uint64_t offset) {
    const sts_image_definition_t definition = image_named(name);
    sts_image_handle_t image = nullptr;
    if (in_library(promised,
                   [&] { return stsimg_open_image("pool", nullptr, "", &definition, STSIMG_MODE_WRITE, &image); }) != 0)
        return false;
    const bool written = write_at(promised, image, data, offset) == 0;
    const bool closed = in_library(promised, [&] { return stsimg_close_image(image); }) == 0;
    EXPECT_TRUE(written || !closed);
    return closed;
}

void read_image(Promised &promised, const char *name) {
    const sts_image_definition_t definition = image_named(name);
    sts_image_info_t properties;
    in_library(promised, [&] { return stsimg_get_image_prop_byname("pool", nullptr, "", &definition, &properties); });
    sts_image_handle_t image = nullptr;
    if (in_library(promised,
                   [&] { return stsimg_open_image("pool", nullptr, "", &definition, STSIMG_MODE_READ, &image); }) != 0)
        return;
    const std::string &expected = promised.images.at(name);
    std::string data(expected.size() + 100, '?');
    uint64_t got = 0;
    if (in_library(promised, [&] { return stsimg_read_image(image, data.data(), data.size() - 50, 50, &got); }) == 0) {
        data.resize(got);
        EXPECT_TRUE(data == expected.substr(50));
    }
    in_library(promised, [&] { return stsimg_close_image(image); });
}

void list_images(Promised &promised) {
    sts_image_list_handle_t list = nullptr;
    if (in_library(promised, [&] { return stsimg_open_image_list("pool", nullptr, "", 0, &list); }) != 0)
        return;
    sts_image_definition_t definition;
    while (in_library(promised, [&] { return stsimg_list_image(list, &definition); }) == 0)
        EXPECT_EQ(promised.images.count(definition.name), 1u) << definition.name;
    in_library(promised, [&] { return stsimg_close_image_list(list); });
}

// The whole cycle; what fails in it does not keep the rest from being tried.
void run_cycle(Promised &promised) {
    promised.fresh_stored = store_image(promised, fresh_lsu, "fresh", fresh_data);
    if (store_image(promised, "pool", "replaced", new_data))
        promised.images["replaced"] = new_data;
    if (change_image(promised, "changed", new_data, 60000))
        promised.images["changed"] = kept_data.substr(0, 60000) + new_data;
    read_image(promised, "kept");
    list_images(promised);
    if (promised.fresh_stored) {
        const sts_image_definition_t definition = image_named("fresh");
        promised.fresh_deletion =
            in_library(promised, [&] { return stsimg_delete_image(fresh_lsu, nullptr, "", &definition, 0); });
    }
}

int32_t status_of(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return STSIMG_E_NO_SPACE;
        case ENOMEM:
            return STSIMG_E_NO_MEMORY;
        default:
            return STS_E_SYSTEM;
    }
}

}  // namespace

struct Fault {
    Call call;
    int error;
    Failing failing;
    bool exchanging = true;  // whether the file system can exchange two names
};

Fault without_exchange(Fault fault) {
    fault.exchanging = false;
    return fault;
}

std::ostream &operator<<(std::ostream &stream, const Fault &fault) {
    return stream << name_of(fault.call) << " " << strerrorname_np(fault.error)
                  << (fault.exchanging ? "" : ", no exchange");
}

std::string name_of_fault(const testing::TestParamInfo<Fault> &fault) {
    return std::string(name_of(fault.param.call)) + "_" + strerrorname_np(fault.param.error) +
           (fault.param.failing == Failing::once ? "_once" : "_from_then_on");
}

class FaultLoop : public ImageTest, public testing::WithParamInterface<Fault> {
protected:
    void set_up_images(Promised &promised) {
        fs::remove_all(root() / "made");
        promised.images = {{"kept", kept_data}, {"replaced", old_data}, {"changed", kept_data}};
        for (const auto &[name, data] : promised.images)
            ASSERT_EQ(store(name, data), 0) << stsimg_last_error();
    }

    void check(const Promised &promised) {
        for (const auto &[name, data] : promised.images)
            EXPECT_TRUE(content(name) == data) << name << " " << content(name).substr(0, 20);
        EXPECT_EQ(names(), (std::vector<std::string>{"changed", "kept", "replaced"}));
        EXPECT_FALSE(fs::exists(unfinished()));
        // When the directory cannot be flushed, the deleted image is gone, but nobody knows for how long.
        const bool is_kept = promised.fresh_stored && promised.fresh_deletion != 0 &&
                             promised.fresh_deletion != STSIMG_E_OUTCOME_UNKNOWN;
        EXPECT_EQ(content("fresh", fresh_lsu), is_kept ? fresh_data : "status 2060022");
        EXPECT_FALSE(fs::exists(unfinished(fresh_lsu)));
    }
};

TEST_P(FaultLoop, EveryRoundEndsClearlyAndKeepsWhatWasPromised) {
    const Fault fault = GetParam();
    // Once without faults: what is allocated once and for all is there then.
    {
        Promised promised;
        set_up_images(promised);
        if (!fault.exchanging)
            refuse_exchanges();
        run_cycle(promised);
        let_calls_pass();
        ASSERT_EQ(promised.first_failure, 0) << promised.reason;
        check(promised);
    }
    int rounds_with_failure = 0;
    for (int n = 1;; ++n) {
        SCOPED_TRACE(std::string(name_of(fault.call)) + " number " + std::to_string(n));
        ASSERT_LT(n, 2000) << "the loop does not come to its end";
        const auto promised = std::make_unique<Promised>();
        set_up_images(*promised);
        const int descriptors = open_descriptors();
        fail_call(fault.call, n, fault.error, fault.failing);
        if (!fault.exchanging)
            refuse_exchanges();
        run_cycle(*promised);
        const bool failed = let_calls_pass();
        EXPECT_EQ(open_descriptors(), descriptors);
        check(*promised);
        if (promised->first_failure != 0) {
            EXPECT_TRUE(failed) << promised->reason;
            EXPECT_TRUE(promised->first_failure == status_of(fault.error) ||
                        (fault.call == Call::fsync && promised->first_failure == STSIMG_E_OUTCOME_UNKNOWN))
                << promised->first_failure << ": " << promised->reason;
            EXPECT_FALSE(promised->reason.empty());
            ++rounds_with_failure;
        }
        if (HasFailure())
            return;
        if (!failed) {
            EXPECT_EQ(promised->first_failure, 0);
            EXPECT_EQ(promised->fresh_deletion, 0);
            break;
        }
    }
    EXPECT_GT(rounds_with_failure, 0);
}

INSTANTIATE_TEST_SUITE_P(
    NthCall, FaultLoop,
    testing::Values(Fault{Call::write, ENOSPC, Failing::once}, Fault{Call::write, EIO, Failing::from_then_on},
                    Fault{Call::write, EDQUOT, Failing::from_then_on}, Fault{Call::fsync, EIO, Failing::once},
                    Fault{Call::fsync, EIO, Failing::from_then_on}, Fault{Call::rename, EIO, Failing::once},
                    Fault{Call::rename, EINVAL, Failing::once}, Fault{Call::rename, ENOSPC, Failing::from_then_on},
                    Fault{Call::open, EMFILE, Failing::once}, Fault{Call::open, EMFILE, Failing::from_then_on},
                    Fault{Call::mkdir, ENOSPC, Failing::once}, Fault{Call::mkdir, ENOSPC, Failing::from_then_on},
                    Fault{Call::close, EIO, Failing::once}, Fault{Call::close, EIO, Failing::from_then_on},
                    Fault{Call::read, EIO, Failing::once}, Fault{Call::read, EIO, Failing::from_then_on},
                    Fault{Call::flock, ENOLCK, Failing::once}, Fault{Call::flock, ENOLCK, Failing::from_then_on},
                    Fault{Call::truncate, EIO, Failing::once}, Fault{Call::stat, EIO, Failing::once},
                    Fault{Call::list, EIO, Failing::once}, Fault{Call::duplicate, EMFILE, Failing::once},
                    Fault{Call::seek, EIO, Failing::once}, Fault{Call::random, EIO, Failing::once},
                    Fault{Call::memory, ENOMEM, Failing::once}, Fault{Call::memory, ENOMEM, Failing::from_then_on}),
    name_of_fault);

// What can go wrong between the flush of the data and that of the directory, where two names cannot be exchanged.
INSTANTIATE_TEST_SUITE_P(WithoutExchange, FaultLoop,
                         testing::Values(without_exchange({Call::fsync, EIO, Failing::once}),
                                         without_exchange({Call::fsync, EIO, Failing::from_then_on}),
                                         without_exchange({Call::fsync, ENOSPC, Failing::once}),
                                         without_exchange({Call::fsync, EDQUOT, Failing::once}),
                                         without_exchange({Call::rename, EIO, Failing::once}),
                                         without_exchange({Call::rename, ENOSPC, Failing::from_then_on}),
                                         without_exchange({Call::link, EIO, Failing::once}),
                                         without_exchange({Call::link, ENOSPC, Failing::from_then_on}),
                                         without_exchange({Call::unlink, EIO, Failing::once}),
                                         without_exchange({Call::open, EMFILE, Failing::once}),
                                         without_exchange({Call::close, EIO, Failing::once}),
                                         without_exchange({Call::flock, ENOLCK, Failing::once}),
                                         without_exchange({Call::stat, EIO, Failing::once}),
                                         without_exchange({Call::memory, ENOMEM, Failing::once})),
                         name_of_fault);

// A directory that cannot be flushed keeps what was changed in it, but nobody knows for how long.
class DirectoryThatCannotBeFlushed : public DirectoryTest {
protected:
    int32_t replace(Failing failing) {
        EXPECT_EQ(store("image", old_data), 0);
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(create("image", image), 0);
        EXPECT_EQ(write(image, new_data), 0);
        fail_call(Call::fsync, 2, EIO, failing);  // behind the data's
        const Library scope;
        return stsimg_close_image(image);
    }
};

TEST_F(DirectoryThatCannotBeFlushed, OnceGivesTheEarlierImageBackForGood) {
    EXPECT_EQ(replace(Failing::once), STS_E_SYSTEM);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(content("image"), old_data);
}

TEST_F(DirectoryThatCannotBeFlushed, AnyMoreLeavesOpenWhichImageLasts) {
    EXPECT_EQ(replace(Failing::from_then_on), STSIMG_E_OUTCOME_UNKNOWN);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_NE(std::string(stsimg_last_error()).find("is not known"), std::string::npos) << stsimg_last_error();
    EXPECT_EQ(content("image"), old_data);
}

TEST_F(DirectoryThatCannotBeFlushed, LeavesOpenWhetherADeletedImageStaysAway) {
    ASSERT_EQ(store("image", old_data), 0);
    fail_call(Call::fsync, 1, EIO, Failing::once);
    {
        const Library scope;
        EXPECT_EQ(remove("image"), STSIMG_E_OUTCOME_UNKNOWN);
    }
    EXPECT_TRUE(let_calls_pass());
    EXPECT_NE(std::string(stsimg_last_error()).find("may come back"), std::string::npos) << stsimg_last_error();
    EXPECT_EQ(content("image"), "status 2060022");
}

using FullDisk = ImageTest;

// The file system takes fewer and fewer bytes: every byte count at which a write can be cut short.
TEST_F(FullDisk, AnyAmountOfRoomIsHandled) {
    ASSERT_EQ(store("kept", kept_data), 0);
    bool fitted = false;
    for (uint64_t room = 0; !fitted; room += 1777) {
        ASSERT_LT(room, 1000000u);
        Promised promised;
        limit_written_bytes(room);
        fitted = store_image(promised, "pool", "new", new_data);
        EXPECT_NE(let_calls_pass(), fitted);
        if (!fitted) {
            EXPECT_EQ(promised.first_failure, STSIMG_E_NO_SPACE) << promised.reason;
            EXPECT_EQ(names(), std::vector<std::string>{"kept"});
            EXPECT_FALSE(fs::exists(unfinished()));
        }
        EXPECT_TRUE(content("kept") == kept_data);
    }
    EXPECT_TRUE(content("new") == new_data);
}

class FlushOrder : public ImageTest {
protected:
    // Where the names of a new image and of the directories above it are.
    std::vector<std::string> flushed_for_fresh_lsu() const {
        return {root().parent_path(), root(), root() / "made", root() / "made/on", root() / "made/on/demand"};
    }
};

// The last write is flushed before the name is given, and the name before close returns.
TEST_F(FlushOrder, DataThenNameThenDirectory) {
    for (const bool replacing : {false, true}) {
        Promised promised;
        record_calls();
        ASSERT_TRUE(store_image(promised, "pool", "image", new_data));
        const std::vector<std::string> calls = take_recorded_calls();
        const auto position = [&calls](const std::string &call) {
            const auto found = std::find(calls.rbegin(), calls.rend(), call);
            return calls.rend() - found;  // 0: not there
        };
        const auto name = position(replacing ? "exchange" : "rename");
        EXPECT_GT(position("write"), 0);
        EXPECT_GT(position("fsync file"), position("write"));
        EXPECT_GT(name, position("fsync file"));
        EXPECT_GT(position("fsync directory"), name);
    }
}

TEST_F(FlushOrder, NewDirectoriesAreFlushedIntoTheirParents) {
    Promised promised;
    record_calls();
    ASSERT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
    const std::vector<std::string> calls = take_recorded_calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "fsync directory"), 1 + 3 + 1);
    EXPECT_EQ(flushed_directories(), flushed_for_fresh_lsu());
}

// Who made them may have been killed before they were flushed.
TEST_F(FlushOrder, FoundDirectoriesAreFlushedIntoTheirParentsOnce) {
    fs::create_directories(root() / fresh_lsu);
    Promised promised;
    record_calls();
    ASSERT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
    take_recorded_calls();
    EXPECT_EQ(flushed_directories(), flushed_for_fresh_lsu());
    record_calls();
    ASSERT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
    take_recorded_calls();
    EXPECT_EQ(flushed_directories(), std::vector<std::string>{root() / fresh_lsu});
}

// On many file systems it gets the inode of the old one.
TEST_F(FlushOrder, DirectoryMadeAnewIsFlushedAgain) {
    ASSERT_EQ(store("image", old_data, fresh_lsu), 0);
    fs::remove_all(root() / fresh_lsu);
    fs::create_directory(root() / fresh_lsu);
    Promised promised;
    record_calls();
    ASSERT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
    take_recorded_calls();
    EXPECT_EQ(flushed_directories(), flushed_for_fresh_lsu());
}

TEST_F(FlushOrder, NewRootIsFlushedIntoItsParent) {
    const fs::path new_root = root() / "new root";
    setenv("STSIMAGE_ROOT", new_root.c_str(), 1);
    Promised promised;
    record_calls();
    ASSERT_TRUE(store_image(promised, "pool", "image", new_data)) << promised.reason;
    take_recorded_calls();
    EXPECT_EQ(flushed_directories(), (std::vector<std::string>{root(), root(), new_root, new_root / "pool"}));
}

// What a failed flush has left behind would be taken for safely made by others.
TEST_F(FlushOrder, DirectoryWhoseParentCannotBeFlushedIsRemoved) {
    Promised promised;
    fail_call(Call::fsync, 3, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, fresh_lsu, "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STS_E_SYSTEM);
    EXPECT_NE(promised.reason.find(root() / "made/on"), std::string::npos) << promised.reason;
    EXPECT_TRUE(fs::exists(root() / "made"));
    EXPECT_FALSE(fs::exists(root() / "made/on"));
}

TEST_F(FlushOrder, FoundDirectoryWhoseParentCannotBeFlushedStaysAndIsFlushedTheNextTime) {
    fs::create_directories(root() / fresh_lsu);
    Promised promised;
    fail_call(Call::fsync, 4, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, fresh_lsu, "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STS_E_SYSTEM);
    EXPECT_TRUE(fs::is_empty(root() / fresh_lsu));
    record_calls();
    ASSERT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
    take_recorded_calls();
    EXPECT_EQ(flushed_directories(), flushed_for_fresh_lsu());
}

TEST_F(FlushOrder, RootWhoseParentCannotBeFlushedIsTold) {
    Promised promised;
    fail_call(Call::fsync, 1, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, fresh_lsu, "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STS_E_SYSTEM);
    EXPECT_TRUE(fs::is_empty(root()));
    // A file system that is read-only may have no flushing.
    fail_call(Call::fsync, 1, EINVAL, Failing::once);
    EXPECT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
    EXPECT_TRUE(let_calls_pass());
}

TEST_F(FlushOrder, FailureToMakeADirectoryIsToldAndLeavesTheOnesAboveIt) {
    Promised promised;
    fail_call(Call::mkdir, 2, ENOSPC, Failing::once);
    EXPECT_FALSE(store_image(promised, fresh_lsu, "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STSIMG_E_NO_SPACE);
    EXPECT_NE(promised.reason.find(root() / "made/on"), std::string::npos) << promised.reason;
    EXPECT_TRUE(fs::is_empty(root() / "made"));
    EXPECT_TRUE(store_image(promised, fresh_lsu, "image", new_data));
}

// Where names cannot be exchanged, a second name keeps the old image for the case of need.
TEST_F(FlushOrder, StateThatIsRestoredWithoutExchangeIsFlushed) {
    for (const int error : {EIO, ENOSPC, EDQUOT, EINVAL, EROFS, ENOTCONN}) {
        ASSERT_EQ(store("image", kept_data), 0);
        Promised promised;
        record_calls();
        fail_call(Call::fsync, 2, error, Failing::once);
        refuse_exchanges();
        EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
        EXPECT_TRUE(let_calls_pass());
        const std::vector<std::string> calls = take_recorded_calls();
        const auto linked = std::find(calls.begin(), calls.end(), "link");
        ASSERT_GE(calls.end() - linked, 4);
        EXPECT_EQ(linked[1], "rename");
        EXPECT_EQ(linked[2], "rename");
        EXPECT_EQ(linked[3], "fsync directory");
        EXPECT_EQ(content("image"), kept_data) << strerrorname_np(error);
        EXPECT_FALSE(fs::exists(unfinished()));
    }
}

// After a failed flush of the directory nobody knows what the disk holds: the earlier state is flushed again.
TEST_F(FlushOrder, StateThatIsRestoredIsFlushed) {
    for (const bool replacing : {false, true}) {
        if (replacing) {
            ASSERT_EQ(store("image", kept_data), 0);
        } else {
            ASSERT_EQ(store("other", kept_data), 0);
        }
        Promised promised;
        record_calls();
        fail_call(Call::fsync, 2, EIO, Failing::once);
        EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
        EXPECT_TRUE(let_calls_pass());
        const std::vector<std::string> calls = take_recorded_calls();
        const auto renamed = std::find(calls.begin(), calls.end(), replacing ? "exchange" : "rename");
        ASSERT_GE(calls.end() - renamed, 3);
        EXPECT_EQ(renamed[1], replacing ? "exchange" : "unlink");
        EXPECT_EQ(renamed[2], "fsync directory");
        EXPECT_EQ(content("image"), replacing ? kept_data : "status 2060022");
    }
}

TEST_F(FlushOrder, DeletionIsFlushed) {
    ASSERT_EQ(store("image", "x"), 0);
    Promised promised;
    const sts_image_definition_t definition = image_named("image");
    record_calls();
    ASSERT_EQ(in_library(promised, [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); }), 0);
    EXPECT_EQ(take_recorded_calls(), (std::vector<std::string>{"unlink", "fsync directory"}));
}

using Transfers = ImageTest;

TEST_F(Transfers, ShortOnesAreCarriedOn) {
    for (const size_t most : {size_t{1000}, size_t{4095}, size_t{4097}}) {
        Promised promised;
        promised.images = {{"image", new_data}};
        shorten_transfers(most);
        EXPECT_TRUE(store_image(promised, "pool", "image", new_data)) << promised.reason;
        read_image(promised, "image");
        let_calls_pass();
        EXPECT_EQ(promised.first_failure, 0) << promised.reason;
        EXPECT_TRUE(content("image") == new_data);
    }
}

TEST_F(Transfers, InterruptedOnesAreTriedAgain) {
    for (const Call call : {Call::read, Call::write})
        for (int n = 1; n <= 4; ++n) {
            Promised promised;
            promised.images = {{"image", new_data}};
            fail_call(call, n, EINTR, Failing::once);
            EXPECT_TRUE(store_image(promised, "pool", "image", new_data)) << promised.reason;
            read_image(promised, "image");
            EXPECT_TRUE(let_calls_pass()) << name_of(call) << " " << n;
            EXPECT_EQ(promised.first_failure, 0) << promised.reason;
            EXPECT_TRUE(content("image") == new_data);
        }
}

TEST_F(Transfers, WritingNothingIsAFailure) {
    Promised promised;
    shorten_transfers(0);
    EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
    let_calls_pass();
    EXPECT_EQ(promised.first_failure, STS_E_SYSTEM);
    EXPECT_NE(promised.reason.find("Input/output error"), std::string::npos) << promised.reason;
}

using SpoiltImage = ImageTest;

TEST_F(SpoiltImage, FirstFailureComesBackFromEveryLaterCall) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    ASSERT_EQ(write(image, new_data), 0);
    Promised promised;
    fail_call(Call::write, 1, EDQUOT, Failing::once);
    EXPECT_EQ(write_at(promised, image, new_data, 0), STSIMG_E_NO_SPACE);
    let_calls_pass();
    EXPECT_EQ(write(image, new_data), STSIMG_E_NO_SPACE);
    EXPECT_EQ(stsimg_close_image(image), STSIMG_E_NO_SPACE);
    EXPECT_TRUE(names().empty());
    EXPECT_TRUE(fs::is_empty(root() / "pool"));
}

// The system begins to write back when a group of blocks is full.
TEST_F(SpoiltImage, FailureToWriteBackIsToldAtOnce) {
    const std::string group = pattern(2048 * 4096);
    for (const int error : {EIO, ENOSPC, EDQUOT, EINVAL, ENOSYS}) {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create("image", image), 0);
        const bool is_trouble = error != EINVAL && error != ENOSYS;
        const int32_t expected = !is_trouble ? 0 : error == EIO ? int32_t{STS_E_SYSTEM} : int32_t{STSIMG_E_NO_SPACE};
        Promised promised;
        fail_call(Call::write_back, 1, error, Failing::once);
        EXPECT_EQ(write_at(promised, image, group, 0), expected) << strerrorname_np(error);
        EXPECT_TRUE(let_calls_pass());
        EXPECT_EQ(stsimg_close_image(image), expected);
        EXPECT_EQ(names().size(), is_trouble ? 0u : 1u);
        remove("image");
    }
}

TEST_F(SpoiltImage, CyclesLeaveNoMemoryBehind) {
    ASSERT_EQ(store("kept", kept_data), 0);
    const auto cycle = [&] {
        const auto promised = std::make_unique<Promised>();
        promised->images = {{"kept", kept_data}};
        store_image(*promised, "pool", "image", new_data);
        read_image(*promised, "kept");
        fail_call(Call::fsync, 1, EIO, Failing::once);
        store_image(*promised, "pool", "image", new_data);
        let_calls_pass();
        remove("image");
    };
    cycle();
    const int64_t before = live_allocations();
    for (int round = 0; round < 50; ++round)
        cycle();
    EXPECT_EQ(live_allocations(), before);
}

// A child that is forked while the library has a lock shares it: it must not outlive what it is for.
class ForkedChild : public ImageTest {
protected:
    ~ForkedChild() override {
        for (const pid_t child : children) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

    void fork_after_lock(int n) {
        after_lock(n, [this] { fork_now(); });
    }

    void fork_now() {
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            pause();
            _exit(0);
        }
        children.push_back(child);
    }

    std::vector<pid_t> children;
    Promised promised;
};

TEST_F(ForkedChild, DoesNotKeepTheLockOfTheLsu) {
    ASSERT_EQ(store("image", old_data), 0);
    pretend_to_share();
    fork_after_lock(2);
    ASSERT_TRUE(store_image(promised, "pool", "image", new_data));
    let_calls_pass();
    ASSERT_EQ(children.size(), 1u);
    for (const fs::path &locked : {root() / "pool", root() / "pool/.stsimg-lock"}) {
        const int file = ::open(locked.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(flock(file, LOCK_EX | LOCK_NB), 0) << locked;
        ::close(file);
    }
}

// Creating an image looks whether an earlier writer is still closing it.
TEST_F(ForkedChild, DoesNotKeepTheLockOfAnImageThatWasLookedAt) {
    ASSERT_EQ(store("image", old_data), 0);
    fork_after_lock(2);
    fail_call(Call::mkdir, 1, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    ASSERT_EQ(children.size(), 1u);
    EXPECT_EQ(store("image", new_data), 0) << stsimg_last_error();
}

TEST_F(ForkedChild, DoesNotKeepTheLockOfAnImageThatCouldNotBeReplaced) {
    ASSERT_EQ(store("image", old_data), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    fork_after_lock(2);
    fail_call(Call::fsync, 2, EIO, Failing::once);
    EXPECT_EQ(in_library(promised, [&] { return stsimg_close_image(image); }), STS_E_SYSTEM);
    EXPECT_TRUE(let_calls_pass());
    ASSERT_EQ(children.size(), 1u);
    EXPECT_TRUE(content("image") == old_data);
    EXPECT_EQ(store("image", new_data), 0) << stsimg_last_error();
}

TEST_F(ForkedChild, DoesNotKeepTheLockOfAFileThatCouldNotBeRemoved) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    fork_now();
    fail_call(Call::unlink, 1, EIO, Failing::from_then_on);
    const auto give_up = [] {
        stsimg_init(STSIMG_API_VERSION);
        return stsimg_terminate();
    };
    EXPECT_EQ(in_library(promised, give_up), 0);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_TRUE(fs::exists(unfinished() / "image.stsimg"));
    EXPECT_TRUE(names().empty());
    EXPECT_FALSE(fs::exists(unfinished()));
}

using Replacing = ImageTest;

TEST_F(Replacing, WorksWhereNamesCannotBeExchanged) {
    for (const int error : {EINVAL, ENOSYS}) {
        ASSERT_EQ(store("image", old_data), 0);
        Promised promised;
        record_calls();
        fail_call(Call::rename, 1, error, Failing::once);
        EXPECT_TRUE(store_image(promised, "pool", "image", new_data)) << promised.reason;
        EXPECT_TRUE(let_calls_pass());
        const std::vector<std::string> calls = take_recorded_calls();
        const auto renamed = std::find(calls.begin(), calls.end(), "rename");
        ASSERT_GE(calls.end() - renamed, 2);
        EXPECT_EQ(renamed[1], "fsync directory");
        EXPECT_TRUE(content("image") == new_data);
        EXPECT_FALSE(fs::exists(unfinished()));
    }
}

// Some file systems cannot even give a file two names: an image that cannot be put back is not taken away either.
TEST_F(Replacing, LeavesTheNewImageWhereTheOldOneCannotBeKept) {
    for (const int error : {EPERM, EOPNOTSUPP, ENOSYS, EMLINK}) {
        ASSERT_EQ(store("image", old_data), 0);
        Promised promised;
        refuse_exchanges();
        fail_call(Call::link, 1, error, Failing::once);
        before_flush(2, [] { fail_call(Call::fsync, 1, EIO, Failing::once); });
        EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
        EXPECT_TRUE(let_calls_pass());
        EXPECT_EQ(promised.first_failure, STSIMG_E_OUTCOME_UNKNOWN) << promised.reason;
        EXPECT_TRUE(content("image") == new_data) << content("image").substr(0, 20);
        EXPECT_FALSE(fs::exists(unfinished()));
    }
}

// A writer that is killed between the two names leaves the second one behind.
TEST_F(Replacing, ClearsTheSecondNameThatADeadWriterLeft) {
    ASSERT_EQ(store("image", old_data), 0);
    fs::create_directory(unfinished());
    fs::create_hard_link(file_of("image"), unfinished() / "image.stsimg.old");
    EXPECT_TRUE(content("image") == old_data);
    EXPECT_FALSE(fs::exists(unfinished()));
    fs::create_directory(unfinished());
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    ASSERT_EQ(write(image, new_data), 0);
    std::ofstream(unfinished() / "image.stsimg.old") << "left";
    refuse_exchanges();
    {
        const Library scope;
        EXPECT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
    }
    let_calls_pass();
    EXPECT_TRUE(content("image") == new_data);
    EXPECT_FALSE(fs::exists(unfinished()));
}

TEST_F(Replacing, IsGivenUpWhenExchangingFails) {
    ASSERT_EQ(store("image", old_data), 0);
    Promised promised;
    fail_call(Call::rename, 1, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STS_E_SYSTEM);
    EXPECT_TRUE(content("image") == old_data);
}

// A close that is about to fail, an image deleted before that, and its name taken by the next writer.
TEST_F(Replacing, GivingUpLeavesTheNextWriterAlone) {
    sts_image_handle_t next_writer = nullptr, third = nullptr;
    ASSERT_EQ(create("third", third), 0);
    before_flush(2, [&] {
        EXPECT_EQ(remove("image"), 0);
        ASSERT_EQ(create("image", next_writer), 0) << stsimg_last_error();
        EXPECT_EQ(write(next_writer, new_data), 0);
    });
    Promised promised;
    fail_call(Call::fsync, 2, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, "pool", "image", kept_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(stsimg_close_image(next_writer), 0) << stsimg_last_error();
    EXPECT_TRUE(content("image") == new_data);
    EXPECT_EQ(stsimg_close_image(third), 0);
}

// The same, but the next writer has closed already.
TEST_F(Replacing, GivingUpLeavesTheNextImageAlone) {
    ASSERT_EQ(store("other", old_data), 0);
    before_flush(2, [] {
        EXPECT_EQ(remove("image"), 0);
        EXPECT_EQ(store("image", new_data), 0) << stsimg_last_error();
    });
    Promised promised;
    fail_call(Call::fsync, 2, EIO, Failing::once);
    EXPECT_FALSE(store_image(promised, "pool", "image", kept_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_TRUE(content("image") == new_data);
}

using OpenForWriting = ImageTest;

TEST_F(OpenForWriting, CopiesNothingOfAFileThatIsNoImage) {
    ASSERT_EQ(store("image", old_data), 0);
    fs::resize_file(file_of("image"), 0);
    std::ofstream(file_of("image")) << kept_data;
    const sts_image_definition_t definition = image_named("image");
    sts_image_handle_t image = nullptr;
    Promised promised;
    record_calls();
    EXPECT_EQ(
        in_library(promised,
                   [&] { return stsimg_open_image("pool", nullptr, "", &definition, STSIMG_MODE_WRITE, &image); }),
        STSIMG_E_NOT_AN_IMAGE);
    const std::vector<std::string> calls = take_recorded_calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "write"), 0);
}

using LsuLocking = ImageTest;

TEST_F(LsuLocking, IsTriedAgainWhenInterruptedAndToldWhenItFails) {
    ASSERT_EQ(store("image", old_data), 0);
    const sts_image_definition_t definition = image_named("image");
    const auto remove_it = [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); };
    Promised promised;
    fail_call(Call::flock, 1, ENOLCK, Failing::from_then_on);
    EXPECT_EQ(in_library(promised, remove_it), STS_E_SYSTEM);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_NE(promised.reason.find("cannot lock the directory"), std::string::npos) << promised.reason;
    EXPECT_TRUE(content("image") == old_data);
    fail_call(Call::flock, 1, EINTR, Failing::once);
    EXPECT_EQ(in_library(promised, remove_it), 0) << promised.reason;
    EXPECT_TRUE(let_calls_pass());
    EXPECT_TRUE(names().empty());
}

// Locks on directories exclude no other host, and some file systems have none.
TEST_F(LsuLocking, IsOnTheFileWhereDirectoriesCannotBeLocked) {
    ASSERT_EQ(store("image", old_data), 0);
    const sts_image_definition_t definition = image_named("image");
    const auto remove_it = [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); };
    Promised promised;
    for (const int error : {EBADF, EINVAL, EOPNOTSUPP, ENOSYS}) {
        fail_call(Call::flock, 1, error, Failing::once);
        EXPECT_EQ(in_library(promised, remove_it), 0) << promised.reason;
        EXPECT_TRUE(let_calls_pass());
        EXPECT_EQ(store("image", old_data), 0);
        fail_call(Call::flock, 1, error, Failing::from_then_on);
        EXPECT_EQ(in_library(promised, remove_it), STS_E_SYSTEM);
        EXPECT_TRUE(let_calls_pass());
        EXPECT_TRUE(content("image") == old_data);
        EXPECT_TRUE(fs::exists(root() / "pool/.stsimg-lock"));
    }
}

// Who locked the old one excludes nobody any more.
TEST_F(LsuLocking, TakesTheFileThatIsThereWhenOneWasRemovedMeanwhile) {
    ASSERT_EQ(store("image", old_data), 0);
    const fs::path lock = root() / "pool/.stsimg-lock";
    pretend_to_share();
    after_lock(2, [&] { fs::remove(lock); });
    const sts_image_definition_t definition = image_named("image");
    Promised promised;
    EXPECT_EQ(in_library(promised, [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); }), 0);
    let_calls_pass();
    EXPECT_TRUE(fs::exists(lock));
}

// On a local file system the lock of the directory excludes all there are, and nothing is to stay in it.
TEST_F(LsuLocking, MakesNoFileOnALocalFileSystem) {
    ASSERT_EQ(store("image", old_data), 0);
    ASSERT_EQ(remove("image"), 0);
    EXPECT_TRUE(fs::is_empty(root() / "pool"));
}

// Images that were written when there was no lock file, and no room for one now.
TEST_F(LsuLocking, DoesWithoutTheFileWhereThereIsNoRoomForIt) {
    const sts_image_definition_t definition = image_named("image");
    const fs::path lock = root() / "pool/.stsimg-lock";
    const auto remove_it = [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); };
    Promised promised;
    ASSERT_EQ(store("image", old_data), 0);
    pretend_to_share();
    count_calls();
    ASSERT_EQ(in_library(promised, remove_it), 0);
    let_calls_pass();
    const int making_it = counted_calls()[Call::open];  // the last file that is opened
    ASSERT_TRUE(fs::exists(lock));
    for (const int error : {ENOSPC, EDQUOT, EROFS, EACCES, EPERM, EIO}) {
        fs::remove(lock);
        ASSERT_EQ(store("image", old_data), 0);
        pretend_to_share();
        fail_call(Call::open, making_it, error, Failing::once);
        EXPECT_EQ(in_library(promised, remove_it), error == EIO ? int32_t{STS_E_SYSTEM} : 0) << strerrorname_np(error);
        EXPECT_TRUE(let_calls_pass());
        EXPECT_FALSE(fs::exists(lock));
    }
}

// Trouble of file servers that passes by itself.
using PassingTrouble = ImageTest;

TEST_F(PassingTrouble, IsMetByTryingAgain) {
    for (const Call call : {Call::open, Call::stat, Call::flock, Call::list})
        for (const int error : {ESTALE, ETIMEDOUT}) {
            for (int n = 1;; ++n) {
                SCOPED_TRACE(std::string(name_of(call)) + " number " + std::to_string(n));
                ASSERT_EQ(store("image", old_data), 0);
                Promised promised;
                promised.images = {{"image", new_data}};
                fail_call(call, n, error, Failing::once);
                store_image(promised, "pool", "image", new_data);
                read_image(promised, "image");
                const bool failed = let_calls_pass();
                EXPECT_EQ(promised.first_failure, 0) << promised.reason;
                EXPECT_TRUE(content("image") == new_data);
                if (!failed || HasFailure())
                    break;
            }
        }
}

TEST_F(PassingTrouble, IsToldWhenItDoesNotPass) {
    ASSERT_EQ(store("image", old_data), 0);
    const sts_image_definition_t definition = image_named("image");
    sts_image_info_t properties;
    Promised promised;
    fail_call(Call::open, 1, ESTALE, Failing::from_then_on);
    EXPECT_EQ(in_library(promised,
                         [&] { return stsimg_get_image_prop_byname("pool", nullptr, "", &definition, &properties); }),
              STS_E_SYSTEM);
    EXPECT_EQ(waits(), 6);
    EXPECT_TRUE(let_calls_pass());
}

TEST_F(PassingTrouble, OtherTroubleIsToldAtOnce) {
    ASSERT_EQ(store("image", old_data), 0);
    const sts_image_definition_t definition = image_named("image");
    sts_image_info_t properties;
    Promised promised;
    fail_call(Call::open, 1, EIO, Failing::once);
    EXPECT_EQ(in_library(promised,
                         [&] { return stsimg_get_image_prop_byname("pool", nullptr, "", &definition, &properties); }),
              STS_E_SYSTEM);
    EXPECT_EQ(waits(), 0);
    EXPECT_TRUE(let_calls_pass());
}

// A server may have given the name though its answer got lost.
TEST_F(PassingTrouble, NameThatWasGivenWithoutAnAnswerCounts) {
    for (const bool can_exchange : {true, false})
        for (const bool replacing : {true, false}) {
            remove("image");
            if (replacing) {
                ASSERT_EQ(store("image", old_data), 0);
            }
            Promised promised;
            if (!can_exchange)
                refuse_exchanges();
            lose_answers(Call::rename, EIO);
            EXPECT_TRUE(store_image(promised, "pool", "image", new_data)) << promised.reason;
            EXPECT_TRUE(let_calls_pass());
            EXPECT_TRUE(content("image") == new_data);
            EXPECT_FALSE(fs::exists(unfinished()));
        }
}

TEST_F(PassingTrouble, OutcomeIsUnknownWhenNobodyTellsWhetherTheNameWasGiven) {
    ASSERT_EQ(store("image", old_data), 0);
    Promised promised;
    lose_answers(Call::rename, EIO, [] { fail_call(Call::stat, 1, EIO, Failing::from_then_on); });
    EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STSIMG_E_OUTCOME_UNKNOWN) << promised.reason;
    EXPECT_TRUE(content("image") == new_data) << "the next look tells";
    EXPECT_FALSE(fs::exists(unfinished()));
}

// A cache may say of a name that was just given that it is not there.
void let_cache_hide_one_name() { fail_call(Call::stat, 1, ENOENT, Failing::once); }

TEST_F(PassingTrouble, NameThatWasGivenCountsWhenItIsSeenLater) {
    for (const bool can_exchange : {true, false})
        for (const bool replacing : {true, false})
            for (const int error : {ETIMEDOUT, ENOENT}) {
                remove("image");
                if (replacing) {
                    ASSERT_EQ(store("image", old_data), 0);
                }
                Promised promised;
                pretend_to_share();
                if (!can_exchange)
                    refuse_exchanges();
                lose_answers(Call::rename, error, let_cache_hide_one_name);
                EXPECT_TRUE(store_image(promised, "pool", "image", new_data)) << promised.reason;
                EXPECT_TRUE(let_calls_pass());
                EXPECT_TRUE(content("image") == new_data);
                EXPECT_FALSE(fs::exists(unfinished()));
            }
}

TEST_F(PassingTrouble, OutcomeStaysUnknownWhenTheNextAttemptFailsOtherwise) {
    for (const bool replacing : {true, false}) {
        remove("image");
        if (replacing) {
            ASSERT_EQ(store("image", old_data), 0);
        }
        Promised promised;
        pretend_to_share();
        refuse_exchanges();
        lose_answers(Call::rename, ETIMEDOUT, let_cache_hide_one_name);
        before_wait(1, [] { fail_call(Call::open, 1, EIO, Failing::from_then_on); });
        EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
        EXPECT_TRUE(let_calls_pass());
        EXPECT_EQ(promised.first_failure, STSIMG_E_OUTCOME_UNKNOWN) << promised.reason;
        EXPECT_TRUE(content("image") == new_data) << "the next look tells";
        EXPECT_FALSE(fs::exists(unfinished()));
    }
}

TEST_F(PassingTrouble, OutcomeIsUnknownWhenOnlyACacheSaysThatTheNameWasNotGiven) {
    Promised promised;
    pretend_to_share();
    lose_answers(Call::rename, EIO, let_cache_hide_one_name);
    EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STSIMG_E_OUTCOME_UNKNOWN) << promised.reason;
    EXPECT_TRUE(content("image") == new_data) << "the next look tells";
}

TEST_F(PassingTrouble, NameThatTheServerRefusedWasNotGiven) {
    for (const int error : {ENOSPC, EDQUOT, EACCES, EROFS}) {
        Promised promised;
        pretend_to_share();
        fail_call(Call::rename, 1, error, Failing::once);
        EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
        EXPECT_TRUE(let_calls_pass());
        EXPECT_NE(promised.first_failure, STSIMG_E_OUTCOME_UNKNOWN) << promised.reason;
        EXPECT_FALSE(fs::exists(file_of("image")));
        EXPECT_FALSE(fs::exists(unfinished()));
    }
}

// What a cache shows of a file that another host has just written: less than there is.
class OldCache : public ImageTest {
protected:
    void hide_end(const char *name) {
        file = file_of(name);
        size = fs::file_size(file);
        fs::rename(file, root() / "whole");
        fs::copy_file(root() / "whole", file);
        fs::resize_file(file, size - 1);
    }

    void show_whole() { fs::rename(root() / "whole", file); }

    fs::path file;
    uintmax_t size = 0;
    Promised promised;
};

TEST_F(OldCache, IsGivenTimeOnFileSystemsThatOtherHostsWriteTo) {
    promised.images = {{"image", new_data}};
    ASSERT_EQ(store("image", new_data), 0);
    hide_end("image");
    pretend_to_share();
    before_wait(2, [&] { show_whole(); });
    read_image(promised, "image");
    EXPECT_EQ(promised.first_failure, 0) << promised.reason;
    EXPECT_EQ(waits(), 2);
    let_calls_pass();
}

TEST_F(OldCache, IsToldInTheEnd) {
    promised.images = {{"image", new_data}};
    ASSERT_EQ(store("image", new_data), 0);
    hide_end("image");
    pretend_to_share();
    read_image(promised, "image");
    EXPECT_EQ(promised.first_failure, STSIMG_E_TRUNCATED);
    EXPECT_EQ(waits(), 6 + 6) << "for the properties and for the opening";
    let_calls_pass();
}

TEST_F(OldCache, IsNoneOnALocalFileSystem) {
    promised.images = {{"image", new_data}};
    ASSERT_EQ(store("image", new_data), 0);
    hide_end("image");
    read_image(promised, "image");
    EXPECT_EQ(promised.first_failure, STSIMG_E_TRUNCATED);
    EXPECT_EQ(waits(), 0);
}

TEST_F(OldCache, OfABlockIsReadAgain) {
    ASSERT_EQ(store("image", new_data), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("image", STSIMG_MODE_READ, image), 0);
    const auto put_byte = [this](char byte) {
        const int to = ::open(file_of("image").c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(pwrite(to, &byte, 1, 1 << 20), 1);
        ::close(to);
    };
    put_byte(static_cast<char>(new_data[0] ^ 1));
    pretend_to_share();
    before_wait(1, [&] { put_byte(new_data[0]); });
    std::string data(new_data.size(), '?');
    uint64_t got = 0;
    EXPECT_EQ(in_library(promised, [&] { return stsimg_read_image(image, data.data(), data.size(), 0, &got); }), 0);
    EXPECT_TRUE(data == new_data);
    EXPECT_EQ(waits(), 1);
    let_calls_pass();
    EXPECT_EQ(stsimg_close_image(image), 0);
}

// Seen a moment before, by way of a cache.
TEST_F(PassingTrouble, ImageThatIsGoneWhenItIsToBeDeletedIsNotThere) {
    ASSERT_EQ(store("image", old_data), 0);
    const sts_image_definition_t definition = image_named("image");
    Promised promised;
    fail_call(Call::unlink, 1, ENOENT, Failing::once);
    EXPECT_EQ(in_library(promised, [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); }),
              STS_E_NOT_FOUND);
    EXPECT_TRUE(let_calls_pass());
}

// A file server that fails to answer may have deleted the image: whoever asks again cannot tell who it was.
TEST_F(PassingTrouble, DeletionThatWasNotAnsweredHasAnUnknownOutcome) {
    const sts_image_definition_t definition = image_named("image");
    for (const int error : {ETIMEDOUT, ESTALE, EIO}) {
        ASSERT_EQ(store("image", old_data), 0);
        Promised promised;
        pretend_to_share();
        lose_answers(Call::unlink, error);
        EXPECT_EQ(in_library(promised, [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); }),
                  STSIMG_E_OUTCOME_UNKNOWN);
        EXPECT_TRUE(let_calls_pass());
        EXPECT_NE(std::string(stsimg_last_error()).find("may have been deleted"), std::string::npos);
        EXPECT_FALSE(fs::exists(file_of("image")));
    }
}

TEST_F(PassingTrouble, DeletionIsMadeWhenTheNextAttemptIsAnswered) {
    const sts_image_definition_t definition = image_named("image");
    ASSERT_EQ(store("image", old_data), 0);
    Promised promised;
    pretend_to_share();
    fail_call(Call::unlink, 1, ETIMEDOUT, Failing::once);
    EXPECT_EQ(in_library(promised, [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); }), 0);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_FALSE(fs::exists(file_of("image")));
}

TEST_F(PassingTrouble, DeletionThatWasRefusedOrIsLocalHasFailed) {
    const sts_image_definition_t definition = image_named("image");
    ASSERT_EQ(store("image", old_data), 0);
    for (const bool shared : {true, false}) {
        Promised promised;
        if (shared)
            pretend_to_share();
        fail_call(Call::unlink, 1, shared ? EACCES : EIO, Failing::once);
        const int32_t status =
            in_library(promised, [&] { return stsimg_delete_image("pool", nullptr, "", &definition, 0); });
        EXPECT_TRUE(let_calls_pass());
        EXPECT_TRUE(status != 0 && status != STSIMG_E_OUTCOME_UNKNOWN) << status;
        EXPECT_TRUE(content("image") == old_data);
    }
}

using List = ImageTest;

TEST_F(List, FailureToReadTheDirectoryIsNotItsEnd) {
    ASSERT_EQ(store("image", old_data), 0);
    sts_image_list_handle_t list = nullptr;
    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    sts_image_definition_t definition;
    Promised promised;
    fail_call(Call::list, 1, EIO, Failing::once);
    EXPECT_EQ(in_library(promised, [&] { return stsimg_list_image(list, &definition); }), STS_E_SYSTEM);
    EXPECT_TRUE(let_calls_pass());
    EXPECT_NE(promised.reason.find(root() / "pool"), std::string::npos) << promised.reason;
    EXPECT_EQ(stsimg_close_image_list(list), 0);
}

using Status = ImageTest;

TEST_F(Status, FollowsFromTheErrorOfTheSystem) {
    const std::map<int, int32_t> statuses{{ENOSPC, STSIMG_E_NO_SPACE},  {EDQUOT, STSIMG_E_NO_SPACE},
                                          {EACCES, STSIMG_E_NO_ACCESS}, {EPERM, STSIMG_E_NO_ACCESS},
                                          {EROFS, STSIMG_E_NO_ACCESS},  {ENOMEM, STSIMG_E_NO_MEMORY},
                                          {EFBIG, STSIMG_E_TOO_LARGE},  {EOVERFLOW, STSIMG_E_TOO_LARGE},
                                          {EIO, STS_E_SYSTEM},          {EMFILE, STS_E_SYSTEM}};
    for (const auto &[error, status] : statuses) {
        Promised promised;
        fail_call(Call::mkdir, 1, error, Failing::once);
        EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
        EXPECT_TRUE(let_calls_pass());
        EXPECT_EQ(promised.first_failure, status) << strerrorname_np(error);
        EXPECT_NE(promised.reason.find(strerrordesc_np(error)), std::string::npos) << promised.reason;
    }
}

using RefusedCreation = ImageTest;

TEST_F(RefusedCreation, TellsWhyTheFileOfADeadWriterCannotBeRemoved) {
    ASSERT_EQ(store("image", old_data), 0);
    fs::create_directory(unfinished());
    std::ofstream(unfinished() / "image.stsimg") << "left";
    Promised promised;
    fail_call(Call::unlink, 1, EPERM, Failing::from_then_on);
    EXPECT_FALSE(store_image(promised, "pool", "image", new_data));
    EXPECT_TRUE(let_calls_pass());
    EXPECT_EQ(promised.first_failure, STSIMG_E_NO_ACCESS) << promised.reason;
}

TEST_F(RefusedCreation, LeavesNoTrace) {
    ASSERT_EQ(store("image", old_data), 0);
    ASSERT_EQ(remove("image"), 0);
    for (const Call call : {Call::open, Call::mkdir, Call::flock, Call::stat, Call::random, Call::memory})
        for (int n = 1;; ++n) {
            SCOPED_TRACE(std::string(name_of(call)) + " number " + std::to_string(n));
            const sts_image_definition_t definition = image_named("image");
            sts_image_handle_t image = nullptr;
            Promised promised;
            fail_call(call, n, call == Call::memory ? ENOMEM : EIO, Failing::once);
            const int32_t status =
                in_library(promised, [&] { return stsimg_create_image("pool", nullptr, "", &definition, 0, &image); });
            const bool failed = let_calls_pass();
            if (status == 0) {
                EXPECT_EQ(stsimg_close_image(image), 0);
                EXPECT_EQ(remove("image"), 0);
            }
            EXPECT_TRUE(fs::is_empty(root() / "pool"));
            if (!failed || HasFailure())
                break;
        }
}
