// What the records of a call hold, for each kind of argument.
#include "journal/capture.h"

#include <gmock/gmock.h>

#include "journal/side_files.h"
#include "read_journal.h"
#include "stspi/stsimg.h"

using namespace journal;

namespace {

// A journal with one call in it.
class Call {
public:
    explicit Call(const char *name, DataMode data = DataMode::hash) : number_(find_entry_point(name)) {
        WriterOptions options = growing(directory_ / "j");
        options.data = data;
        writer_ = open_writer(options);
    }

    void enter(const std::vector<uint64_t> &words) { call_ = writer_->enter(number_, words.data()); }
    void leave(const std::vector<uint64_t> &words, int32_t status = 0) {
        writer_->leave(call_, number_, words.data(), status);
    }
    ReadRecord entering() const { return read_journal(directory_ / "j").of_kind(RecordKind::enter).at(0); }
    ReadRecord leaving() const { return read_journal(directory_ / "j").of_kind(RecordKind::leave).at(0); }
    std::string directory() const { return directory_.path(); }

private:
    TempDirectory directory_;
    EntryPointNumber number_;
    std::unique_ptr<Writer> writer_;
    CallNumber call_ = 0;
};

// Of a record of stspi_get_server_prop.
uint32_t last_capability(const ReadRecord &record) {
    uint32_t word = 0;
    std::memcpy(&word, &item_of(record, 1, 2).bytes[35 * sizeof word], sizeof word);
    return word;
}

void *wild() { return reinterpret_cast<void *>(uintptr_t{0x222}); }

}  // namespace

TEST(Capture, TextIsKeptWithoutItsTerminator) {
    Call call("stspi_claim");
    call.enter({word_of("Kelvarpool:mediaA")});
    const ReadRecord record = call.entering();
    EXPECT_EQ(item_of(record, 0).head.type, ItemType::text);
    EXPECT_EQ(item_of(record, 0).bytes, "Kelvarpool:mediaA");
    EXPECT_EQ(record.head.entry_point, STS_SLOT_CLAIM);
}

TEST(Capture, EmptyTextIsNotNull) {
    Call call("stspi_claim");
    call.enter({word_of("")});
    EXPECT_EQ(item_of(call.entering(), 0).head.type, ItemType::text);
    Call other("stspi_claim");
    other.enter({0});
    EXPECT_EQ(item_of(other.entering(), 0).head.type, ItemType::null);
}

TEST(Capture, LongTextIsCutWithItsSizeAndHashBeside) {
    const std::string text(100000, 'x');
    Call call("stspi_claim");
    call.enter({word_of(text.c_str())});
    const ReadRecord record = call.entering();
    ItemCursor cursor(record.items);
    ItemView item;
    ASSERT_TRUE(cursor.next(item));
    EXPECT_TRUE(item.has(ITEM_CUT));
    EXPECT_EQ(item.bytes, std::string(16384, 'x'));
    ASSERT_TRUE(cursor.next(item));
    EXPECT_EQ(item.head.type, ItemType::data);
    EXPECT_EQ(item.data().size, text.size());
    EXPECT_EQ(hash_name(item.data()), hash_name(hash_data(text.data(), text.size())));
    EXPECT_FALSE(cursor.next(item));
}

TEST(Capture, TextOfTheLongestSizeIsWhole) {
    const std::string text(16384, 'x');
    Call call("stspi_claim");
    call.enter({word_of(text.c_str())});
    EXPECT_EQ(item_of(call.entering(), 0).bytes, text);
    EXPECT_FALSE(item_of(call.entering(), 0).has(ITEM_CUT));
}

TEST(Capture, UpperHalvesOf32BitArgumentsMeanNothing) {
    Call call("stspi_ioctl");
    call.enter({0, 0xdeadbeefffffffff});
    EXPECT_EQ(item_of(call.entering(), 1).word(), ~uint64_t{0});  // -1
    Call mount("stspi_mount_lsu");
    mount.enter({0, 0, 0xdeadbeefffffffff, ~uint64_t{0}, 0});
    EXPECT_EQ(item_of(mount.entering(), 2).word(), 0xffffffffU);
    EXPECT_EQ(item_of(mount.entering(), 3).word(), ~uint64_t{0});
}

TEST(Capture, IgnoredPointersAreNotFollowed) {
    Call call("stspi_ioctl");
    call.enter({0x222, 1});
    EXPECT_EQ(item_of(call.entering(), 0).head.type, ItemType::address);
    EXPECT_EQ(item_of(call.entering(), 0).word(), 0x222U);
}

TEST(Capture, RecordsAreKeptFieldByField) {
    stsp_lsu_v7_t lsu = {};
    lsu.server = reinterpret_cast<sts_server_handle_t>(uintptr_t{0x5e55});
    std::strcpy(lsu.lsu_name, "pool1");
    sts_image_definition definition = {};
    std::strcpy(definition.name, "nightly");
    sts_image_handle_t image = nullptr;
    Call call("stspi_create_image");
    call.enter({word_of(&lsu), word_of(&definition), 7, word_of(&image)});
    const ReadRecord record = call.entering();
    EXPECT_EQ(item_of(record, 0, 0).head.type, ItemType::handle);
    EXPECT_EQ(item_of(record, 0, 0).word(), 0x5e55U);
    EXPECT_EQ(item_of(record, 0, 1).bytes, "pool1");
    EXPECT_EQ(item_of(record, 1, 0).bytes, "nightly");
    EXPECT_EQ(item_of(record, 2).word(), 7U);
    EXPECT_TRUE(item_of(record, 3).has(ITEM_BEFORE));
}

TEST(Capture, TextThatFillsItsFieldHasNoTerminator) {
    stsp_lsu_v7_t lsu = {};
    std::memset(lsu.lsu_name, 'n', sizeof lsu.lsu_name);
    Call call("stspi_delete_image");
    call.enter({word_of(&lsu), 0, 0});
    EXPECT_EQ(item_of(call.entering(), 0, 1).bytes, std::string(sizeof lsu.lsu_name, 'n'));
}

TEST(Capture, MadeUpPointersAreNotFollowed) {
    stsp_lsu_v7_t lsu = {};
    Call call("stspi_get_image_prop_byname");
    call.enter({word_of(&lsu), word_of(wild()), word_of(wild())});
    call.leave({word_of(&lsu), word_of(wild()), word_of(wild())});
    EXPECT_EQ(item_of(call.entering(), 1).head.type, ItemType::unreadable);
    EXPECT_EQ(item_of(call.entering(), 2).head.type, ItemType::address);
    EXPECT_EQ(item_of(call.leaving(), 2).head.type, ItemType::unreadable);
}

TEST(Capture, EveryEntryPointSurvivesMadeUpWordsWhereTheInterfaceReadsNothing) {
    for (const char *name : {"stspi_read_image", "stspi_write_image", "stspi_copy_extent", "stspi_include_in_image",
                             "stspi_close_image", "stspi_get_image_prop", "stspi_list_image", "stspi_close_image_list",
                             "stspi_ioctl", "stspi_unmount_lsu", "stspi_async_flush", "stspi_close_server"}) {
        SCOPED_TRACE(name);
        const std::vector<uint64_t> words = {0x1111111111111111,
                                             0x2222222222222222,
                                             0x3333333333333333,
                                             0x4444444444444444,
                                             0x5555555555555555,
                                             0x6666666666666666,
                                             ~0ULL};
        Call call(name, DataMode::bytes);
        call.enter(words);
        call.leave(words);
        EXPECT_EQ(call.leaving().head.entry_point, find_entry_point(name));
    }
}

TEST(Capture, HostsAreKeptOneByOne) {
    std::vector<sts_host_t> hosts(1000);
    for (size_t i = 0; i < hosts.size(); ++i)
        std::snprintf(hosts[i].name, sizeof hosts[i].name, "media%zu", i);
    sts_server_handle_t handle = nullptr;
    Call call("stspi_create_server");
    call.enter({0, word_of("Kelvarpool:a"), 0, 0, word_of(hosts.data()), hosts.size(), word_of(&handle)});
    const ReadRecord record = call.entering();
    ItemCursor cursor(record.items);
    size_t found = 0;
    for (ItemView item; cursor.next(item);)
        if (item.head.argument == 4) {
            EXPECT_EQ(item.bytes, "media" + std::to_string(found));
            ++found;
        }
    EXPECT_EQ(found, hosts.size());
    EXPECT_EQ(record.head.flags & RECORD_CUT, 0);
    EXPECT_EQ(item_of(record, 5).word(), hosts.size());
}

TEST(Capture, NoHostsAreReadForACountThatIsNotPositive) {
    for (const uint64_t count : {uint64_t{0}, ~uint64_t{0}}) {
        Call call("stspi_create_server");
        call.enter({0, 0, 0, 0, 0x222, count, 0});
        EXPECT_EQ(item_of(call.entering(), 4).head.type, ItemType::address);
    }
}

TEST(Capture, HostsEndWhereTheMemoryDoes) {
    Call call("stspi_create_server");
    call.enter({0, 0, 0, 0, 0x222, 5, 0});
    EXPECT_EQ(item_of(call.entering(), 4).head.type, ItemType::unreadable);
}

TEST(Capture, WrittenDataIsHashedOnEntering) {
    const std::string data(5000, 'd');
    uint64_t count = 0;
    Call call("stspi_write_image");
    const std::vector<uint64_t> words = {1, 0, word_of(data.data()), data.size(), 64, word_of(&count)};
    call.enter(words);
    count = data.size();
    call.leave(words);
    const ReadRecord record = call.entering();
    const ItemView item = item_of(record, 2);
    EXPECT_EQ(item.data().size, data.size());
    EXPECT_TRUE(item.has(ITEM_HASHED));
    EXPECT_EQ(hash_name(item.data()), hash_name(hash_data(data.data(), data.size())));
    EXPECT_EQ(item_of(call.leaving(), 5).word(), data.size());
}

TEST(Capture, SizeAloneIsKeptOnRequest) {
    const char data[100] = {};
    Call call("stspi_write_image", DataMode::size);
    call.enter({1, 0, word_of(data), sizeof data, 0, 0});
    const ReadRecord record = call.entering();
    const ItemView item = item_of(record, 2);
    EXPECT_EQ(item.data().size, sizeof data);
    EXPECT_FALSE(item.has(ITEM_HASHED));
}

TEST(Capture, ForItsSizeAloneDataIsNotTouched) {
    Call call("stspi_write_image", DataMode::size);
    call.enter({1, 0, 0x222, 1000, 0, 0});
    EXPECT_EQ(item_of(call.entering(), 2).data().size, 1000U);
}

TEST(Capture, ReadDataIsWhatTheCountSays) {
    std::string buffer(1000, '.');
    uint64_t count = 0;
    Call call("stspi_read_image");
    const std::vector<uint64_t> words = {1, word_of(buffer.data()), buffer.size(), 0, word_of(&count)};
    call.enter(words);
    buffer.replace(0, 10, "0123456789");
    count = 10;
    call.leave(words);
    EXPECT_EQ(item_of(call.entering(), 1).head.type, ItemType::address);
    EXPECT_EQ(hash_name(item_of(call.leaving(), 1).data()), hash_name(hash_data("0123456789", 10)));
}

TEST(Capture, ACountThatClaimsTooMuchReadsNotPastTheRoom) {
    const auto buffer = std::make_unique<char[]>(16);
    uint64_t count = ~uint64_t{0};
    Call call("stspi_read_image");
    const std::vector<uint64_t> words = {1, word_of(buffer.get()), 16, 0, word_of(&count)};
    call.enter(words);
    call.leave(words);
    EXPECT_EQ(item_of(call.leaving(), 1).data().size, 16U);
}

TEST(Capture, OutputsOfAFailedCallAreLeftOut) {
    char name[STS_LSU_NAME_SIZE] = "left over";
    Call call("stspi_list_lsu");
    call.enter({1, word_of(name)});
    call.leave({1, word_of(name)}, STS_E_NO_MORE_ENTRIES);
    EXPECT_EQ(call.leaving().items, "");
    EXPECT_EQ(call.leaving().head.status, STS_E_NO_MORE_ENTRIES);
}

TEST(Capture, OutTextAndRecordsAreKeptOnSuccess) {
    char name[STS_LSU_NAME_SIZE] = "pool1";
    Call list("stspi_list_lsu");
    list.enter({1, word_of(name)});
    list.leave({1, word_of(name)});
    EXPECT_EQ(item_of(list.leaving(), 1).bytes, "pool1");

    sts_image_info info = {};
    std::strcpy(info.name, "nightly");
    info.size_bytes = 1234;
    info.creation_time = -1;
    Call properties("stspi_get_image_prop");
    properties.enter({1, word_of(&info)});
    properties.leave({1, word_of(&info)});
    EXPECT_EQ(item_of(properties.leaving(), 1, 0).bytes, "nightly");
    EXPECT_EQ(item_of(properties.leaving(), 1, 1).word(), 1234U);
    EXPECT_EQ(item_of(properties.leaving(), 1, 2).word(), ~uint64_t{0});
}

TEST(Capture, PartlyFilledRecordsAreKeptBeforeAndAfter) {
    sts_server_info_t info = {};
    info.capabilities[35] = 0x10;
    Call call("stspi_get_server_prop");
    call.enter({1, word_of(&info)});
    std::strcpy(info.server_name, "Kelvarpool:a");
    info.capabilities[35] |= 0x100;
    call.leave({1, word_of(&info)}, STS_E_INVALID_PARAMETER);
    EXPECT_TRUE(item_of(call.entering(), 1, 2).has(ITEM_BEFORE));
    EXPECT_EQ(last_capability(call.entering()), 0x10U);
    EXPECT_EQ(item_of(call.leaving(), 1, 0).bytes, "Kelvarpool:a");
    EXPECT_EQ(last_capability(call.leaving()), 0x110U);
}

TEST(Capture, NumbersOfAnyWidthKeepTheirValue) {
    sts_registration_t registration = {};
    registration.flag_1 = 0x01020304;
    registration.version_word_1 = 0x0102030405060708;
    registration.byte_flag = 0xf1;
    Call call("stspi_init");
    const std::vector<uint64_t> words = {9, 0, word_of(&registration)};
    call.enter(words);
    call.leave(words);
    const ReadRecord record = call.leaving();
    EXPECT_EQ(item_of(record, 2, 4).word(), 0x01020304U);
    EXPECT_EQ(item_of(record, 2, 6).word(), 0x0102030405060708U);
    EXPECT_EQ(item_of(record, 2, 9).word(), 0xf1U);
}

TEST(Capture, UnknownArgumentsAreNotRecorded) {
    Call call("stspi_async_flush");
    call.enter({1, 2, 3, 4, 5, 6, 7});
    EXPECT_EQ(call.entering().items, "");
}
