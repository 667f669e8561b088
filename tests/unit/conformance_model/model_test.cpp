#include "conformance/model/model.h"

#include <gmock/gmock.h>

#include "recording_machine.h"
#include "stspi/sts_status.h"

using namespace conformance::model;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ModelTest : public testing::Test {
protected:
    RecordingMachine machine;
    Model model{machine,
                {{"Kelvarpool", "ENCLOSURE=g;\nDISKS=d1;\nHOSTS=h;\nSTORAGE_DIR=/s;\n"},
                 {"copan", "STORAGE_SERVER=arr1;\nVOLUMES=v;\nSTORAGE_DIR=/c;\n"}}};

    static Call call(Operation operation, int id = 0) {
        Call one;
        one.operation = operation;
        one.id = id;
        one.session = 0;
        return one;
    }
    Expected open(const char *name, int id, int session = 0) {
        Call one = call(Operation::open_server, id);
        one.name = name;
        one.session = session;
        return model.answer(one);
    }
    Expected create(int id, int session) {
        Call one = call(Operation::create_server, id);
        one.name = "Kelvarpool:h";
        one.hosts = {"h"};
        one.numbers[0] = 1;
        one.session = session;
        return model.answer(one);
    }
    Expected on_handle(Operation operation, int handle, const char *name = "", int id = 0) {
        Call one = call(operation, id);
        one.handle = handle;
        one.name = name;
        one.text = "/m";
        one.numbers[0] = 1;
        return model.answer(one);
    }
    static std::vector<std::string> texts(const Expected &expected) {
        std::vector<std::string> texts;
        texts.reserve(expected.messages.size());
        for (const Message &one : expected.messages)
            texts.push_back(one.text);
        return texts;
    }
};

}  // namespace

TEST_F(ModelTest, AFailedOpeningStoresAHandleThatCanBeClosed) {
    const Expected opened = open("none:x", 1);
    EXPECT_EQ(opened.status, STS_E_INTERNAL);
    EXPECT_EQ(opened.stored, Stored::handle);
    EXPECT_TRUE(model.is_open(1));
    EXPECT_EQ(on_handle(Operation::close_server, 1).status, 0);
    EXPECT_FALSE(model.allows([] {
        Call again = call(Operation::close_server);
        again.handle = 1;
        return again;
    }()));
}

TEST_F(ModelTest, AMaskDecidesOverEachMessage) {
    Call mask = call(Operation::set_mask);
    mask.numbers[0] = 0x8;
    model.answer(mask);
    EXPECT_THAT(texts(open("Kelvarpool:", 1)), ElementsAre("NULL HOST"));
    mask.numbers[0] = 0xf6;
    model.answer(mask);
    EXPECT_THAT(texts(open("Kelvarpool:", 2)), IsEmpty());
}

TEST_F(ModelTest, SimulatorsSpeakToTheSessionOfTheLatestOpeningWhateverItsMask) {
    Call mask = call(Operation::set_mask);
    mask.session = 1;
    model.answer(mask);
    create(1, 0);
    EXPECT_THAT(
        on_handle(Operation::mount_lsu, 1, "none").messages,
        ElementsAre(Message{0, "++++ Entering stspi_mount_lsu\n", 3}, Message{0, "---- Leaving stspi_mount_lsu\n", 3}));
    open("Kelvarpool:h", 2, 1);
    EXPECT_THAT(
        on_handle(Operation::mount_lsu, 1, "none").messages,
        ElementsAre(Message{0, "++++ Entering stspi_mount_lsu\n", 3}, Message{1, "Unknown Diskgroup: none\n", 4},
                    Message{0, "---- Leaving stspi_mount_lsu\n", 3}));
}

TEST_F(ModelTest, AListEndsAgainAndAgain) {
    create(1, 0);
    EXPECT_EQ(on_handle(Operation::open_lsu_list, 1, "", 2).status, 0);
    const Expected first = on_handle(Operation::list_lsu, 2);
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.record.substr(0, 3), std::string("g\0\xa5", 3));
    EXPECT_EQ(on_handle(Operation::list_lsu, 2).status, STS_E_NO_MORE_ENTRIES);
    EXPECT_EQ(on_handle(Operation::list_lsu, 2).status, STS_E_NO_MORE_ENTRIES);
}

TEST_F(ModelTest, ListsGoWithTheirServer) {
    create(1, 0);
    on_handle(Operation::open_lsu_list, 1, "", 2);
    on_handle(Operation::close_server, 1);
    EXPECT_FALSE(model.is_open(2));
    EXPECT_THAT(model.closing_calls(), IsEmpty());
}

TEST_F(ModelTest, AnImageOfACopanArrayIsOneOfItsDirectory) {
    open("copan:arr1", 1);
    const Expected created = on_handle(Operation::create_image, 1, "v");
    ASSERT_EQ(created.library.size(), 1U);
    EXPECT_EQ(created.library[0].lsu_text, "/c/v");
    EXPECT_EQ(created.library[0].server_name, "arr1");
    EXPECT_EQ(on_handle(Operation::create_image, 1, "w").status, STS_E_NO_SERVER);
}

TEST_F(ModelTest, ACopyIsOneReadAndOneWrite) {
    Call copy = call(Operation::copy_extent);
    copy.numbers = {1, 2, 3, 4, 5};
    copy.library_count = 4;
    copy.library_status_2 = 7;
    copy.library_count_2 = 3;
    const Expected copied = model.answer(copy);
    EXPECT_EQ(copied.status, 7);
    EXPECT_EQ(copied.count, 3U);
    ASSERT_EQ(copied.library.size(), 2U);
    EXPECT_EQ(copied.library[1].arguments[3].value, 4U);
    copy.library_status = 9;
    EXPECT_EQ(model.answer(copy).library.size(), 1U);
    EXPECT_FALSE(model.answer(copy).count);
}
