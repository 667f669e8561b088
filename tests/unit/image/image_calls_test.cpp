#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "plugin/server_handle.h"
#include "tests/support/config_directory.h"
#include "tests/support/image_library_double.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// One of the five calls that name an LSU, with its own arguments.
struct LsuCall {
    const char *name;   // of the operation: stspi_NAME calls stsimg_NAME
    const char *trace;  // the name it is traced under
    int32_t (*call)(const stsp_lsu_v7_t *lsu);
    std::vector<uint64_t> own_arguments;  // what must reach the library behind LSU, null and server name
};
void PrintTo(const LsuCall &call, std::ostream *out) { *out << call.name; }

struct sts_image_definition definition;
struct sts_image_info info;
sts_image_handle_t image;
sts_image_list_handle_t list;
constexpr uint32_t flags = 0xf1a65;

const LsuCall lsu_calls[] = {
    {"create_image",
     "stspi_create_image",
     [](const stsp_lsu_v7_t *lsu) { return stspi_create_image(lsu, &definition, flags, &image); },
     {pointer_bits(&definition), flags, pointer_bits(&image)}},
    {"open_image",
     "stspi_open_image",
     [](const stsp_lsu_v7_t *lsu) { return stspi_open_image(lsu, &definition, flags, &image); },
     {pointer_bits(&definition), flags, pointer_bits(&image)}},
    {"delete_image",
     "stspi_delete_image",
     [](const stsp_lsu_v7_t *lsu) { return stspi_delete_image(lsu, &definition, flags); },
     {pointer_bits(&definition), flags}},
    {"open_image_list",
     "stspi_open_image_list",
     [](const stsp_lsu_v7_t *lsu) { return stspi_open_image_list(lsu, flags, &list); },
     {flags, pointer_bits(&list)}},
    {"get_image_prop_byname",
     "stspi_delete_image",  // deliberately not its own name
     [](const stsp_lsu_v7_t *lsu) { return stspi_get_image_prop_byname(lsu, &definition, &info); },
     {pointer_bits(&definition), pointer_bits(&info)}},
};

class ImageCall : public testing::TestWithParam<LsuCall> {
protected:
    ImageCall() {
        m_config.write("Kelvarpool", "ENCLOSURE=p1;\nHOSTS=h1;\nDISKS=d1;\n");
        m_config.write("copan", "STORAGE_SERVER=arr1;\nVOLUMES=vol1;\nSTORAGE_DIR=" + (m_directory / "cop") + ";\n");
    }

    int32_t call(const OpenedServer &server, const std::string &lsu_name) {
        const stsp_lsu_v7_t lsu = server.lsu(lsu_name);
        m_log.clear();
        const int32_t status = GetParam().call(&lsu);
        EXPECT_EQ(lsu.lsu_name, lsu_name.substr(0, STS_LSU_NAME_SIZE));
        return status;
    }

    // Exactly one call reached the library, the right one with the caller's arguments.
    void expect_call(const std::string &lsu, const std::string &server_name) const {
        ASSERT_EQ(m_library.calls().size(), 1U);
        const ImageLibraryCall &made = m_library.calls()[0];
        EXPECT_EQ(made.function, std::string("stsimg_") + GetParam().name);
        EXPECT_EQ(made.lsu, lsu);
        EXPECT_EQ(made.arguments[1], 0U);
        EXPECT_EQ(made.server_name, server_name);
        for (size_t i = 0; i < GetParam().own_arguments.size(); ++i)
            EXPECT_EQ(made.arguments[3 + i], GetParam().own_arguments[i]) << i;
    }

    std::vector<Message> messages() const {
        const std::vector<Message> &all = m_log.messages();
        if (all.size() < 2 || !(all.front() == entering(GetParam().trace)) ||
            !(all.back() == leaving(GetParam().trace))) {
            ADD_FAILURE() << "not traced";
            return all;
        }
        return {all.begin() + 1, all.end() - 1};
    }

    ConfigDirectory m_config;
    TempDirectory m_directory;
    LogRecorder m_log;
    ImageLibraryDouble m_library;
};

INSTANTIATE_TEST_SUITE_P(All, ImageCall, testing::ValuesIn(lsu_calls),
                         [](const auto &info_of_test) { return std::string(info_of_test.param.name); });

TEST_P(ImageCall, OnADiskArrayTheNameReachesTheLibrary) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(call(server, "p1"), 0);
    expect_call("p1", "nodeA");
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_P(ImageCall, NameNeedNotBeAPool) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    EXPECT_EQ(call(server, "any:thing/at all"), 0);
    expect_call("any:thing/at all", "nodeA");
}

TEST_P(ImageCall, CreatedHandleHasAnEmptyServerName) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA", {"h1"});
    EXPECT_EQ(call(server, "p1"), 0);
    expect_call("p1", "");
}

TEST_P(ImageCall, NullHostHandleHandsOnTheName) {
    const OpenedServer server(m_log.session(), "Kelvarpool:");
    EXPECT_EQ(call(server, "p1"), 0);
    expect_call("p1", "");
}

TEST_P(ImageCall, OnACopanArrayTheDirectoryReachesTheLibrary) {
    const OpenedServer server(m_log.session(), "copan:arr1.lab");
    EXPECT_EQ(call(server, "vol1"), 0);
    const std::string path = m_directory / "cop/vol1";
    expect_call(path, "arr1.lab");
    EXPECT_TRUE(fs::is_directory(path));
    EXPECT_THAT(messages(), ElementsAre(trace("Replacing LSU name by its path, original lsu_name is "), trace("vol1"),
                                        trace("new lsu_name is "), trace(path)));
}

TEST_P(ImageCall, MessagesOfACopanArrayComeBeforeTheLibrarysCall) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    std::vector<Message> before_the_call;
    m_library.when_called = [&] { before_the_call = m_log.messages(); };
    EXPECT_EQ(call(server, "vol1"), 0);
    EXPECT_THAT(before_the_call,
                ElementsAre(entering(GetParam().trace), trace("Replacing LSU name by its path, original lsu_name is "),
                            trace("vol1"), trace("new lsu_name is "), trace(m_directory / "cop/vol1")));
}

TEST_P(ImageCall, UnknownLsuOfACopanArrayHasNoServer) {
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(call(server, "vol9"), STS_E_NO_SERVER);
    EXPECT_THAT(m_library.calls(), IsEmpty());
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_FALSE(fs::exists(m_directory / "cop"));
}

TEST_P(ImageCall, CopanArrayWithoutAPathHandsOnAnEmptyText) {
    m_config.write("copan", "STORAGE_SERVER=arr1;\nVOLUMES=vol1;\n");
    const OpenedServer server(m_log.session(), "copan:arr1");
    EXPECT_EQ(call(server, "vol1"), 0);
    expect_call("", "arr1");
    EXPECT_THAT(messages(), ElementsAre(trace("Replacing LSU name by its path, original lsu_name is "), trace("vol1"),
                                        error("m_storage_dir directory creation failed: "), error(""),
                                        trace("new lsu_name is "), trace("")));
}

TEST_P(ImageCall, StatusOfTheLibraryIsHandedOn) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    m_library.answer_with(2060099);
    EXPECT_EQ(call(server, "p1"), 2060099);
    m_library.answer_with(-7);
    EXPECT_EQ(call(server, "p1"), -7);
}

TEST_P(ImageCall, NullLsuOrHandleIsNotTraced) {
    const stsp_lsu_v7_t without_server{};
    EXPECT_EQ(GetParam().call(nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(GetParam().call(&without_server), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_library.calls(), IsEmpty());
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_P(ImageCall, LongServerNameIsCutAt511Bytes) {
    const OpenedServer server(m_log.session(), ("Kelvarpool:" + std::string(3000, 'h')).c_str());
    EXPECT_EQ(call(server, "p1"), 0);
    expect_call("p1", std::string(511, 'h'));
}

TEST_P(ImageCall, NameThatFillsItsFieldIsReadToItsEnd) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const stsp_lsu_v7_t lsu = server.lsu(std::string(1024, 'p'));
    EXPECT_EQ(GetParam().call(&lsu), 0);
    expect_call(std::string(1024, 'p'), "nodeA");
}

// A Copan array whose path is longer than any that a configuration can give.
class LongPathServer : public StorageServer {
public:
    std::string *getInfo() override { return nullptr; }
    std::vector<LSU *> *getLSUList() override { return nullptr; }
    LSU *getLSU(std::string) override { return reinterpret_cast<LSU *>(this); }  // only compared with null
    char *generate_path(std::string) override {
        auto *path = new char[2001];
        std::fill_n(path, 2000, 'q');
        path[2000] = '\0';
        return path;
    }
};

TEST_P(ImageCall, PathLongerThan1023BytesIsCut) {
    ServerHandle handle;
    handle.sts_object = std::make_unique<LongPathServer>();
    const stsp_lsu_v7_t lsu{&handle, "vol1"};
    EXPECT_EQ(GetParam().call(&lsu), 0);
    expect_call(std::string(1023, 'q'), "");
}

// ---- arguments of single calls -----------------------------------------------------------------------------------

class CreateImage : public ImageCall {};
INSTANTIATE_TEST_SUITE_P(One, CreateImage, testing::Values(lsu_calls[0]));

TEST_P(CreateImage, NullDefinitionOrOutHandleIsNotTraced) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const stsp_lsu_v7_t lsu = server.lsu("p1");
    m_log.clear();
    EXPECT_EQ(stspi_create_image(&lsu, nullptr, flags, &image), STS_E_INVALID_PARAMETER);
    EXPECT_EQ(stspi_create_image(&lsu, &definition, flags, nullptr), STS_E_INVALID_PARAMETER);
    EXPECT_THAT(m_library.calls(), IsEmpty());
    EXPECT_THAT(m_log.messages(), IsEmpty());
}

TEST_P(CreateImage, OtherCallsLeaveTheirNullsToTheLibrary) {
    const OpenedServer server(m_log.session(), "Kelvarpool:nodeA");
    const stsp_lsu_v7_t lsu = server.lsu("p1");
    EXPECT_EQ(stspi_open_image(&lsu, nullptr, 0, nullptr), 0);
    EXPECT_EQ(stspi_delete_image(&lsu, nullptr, 0), 0);
    EXPECT_EQ(stspi_open_image_list(&lsu, 0, nullptr), 0);
    EXPECT_EQ(stspi_get_image_prop_byname(&lsu, nullptr, nullptr), 0);
    EXPECT_EQ(m_library.calls().size(), 4U);
}

TEST(ImageCallTracing, EachCallIsTracedUnderItsOwnNameButOne) {
    LogRecorder log;
    ServerHandle handle;
    handle.session = log.session();
    const stsp_lsu_v7_t lsu{&handle, "p1"};
    const ImageLibraryDouble library;
    stspi_create_image(&lsu, &definition, flags, &image);
    stspi_open_image(&lsu, &definition, flags, &image);
    stspi_delete_image(&lsu, &definition, flags);
    stspi_open_image_list(&lsu, flags, &list);
    stspi_get_image_prop_byname(&lsu, &definition, &info);
    EXPECT_THAT(log.messages(),
                ElementsAre(entering("stspi_create_image"), leaving("stspi_create_image"), entering("stspi_open_image"),
                            leaving("stspi_open_image"), entering("stspi_delete_image"), leaving("stspi_delete_image"),
                            entering("stspi_open_image_list"), leaving("stspi_open_image_list"),
                            entering("stspi_delete_image"), leaving("stspi_delete_image")));
}

// ---- calls that are handed on as they are ------------------------------------------------------------------------

using AnyCall = int32_t (*)(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);

TEST(PassThrough, EveryArgumentArrivesUnchanged) {
    const std::pair<const char *, sts_entry_point_t> calls[] = {
        {"stsimg_close_image", STSSanDiskEntryPoints[STS_SLOT_CLOSE_IMAGE]},
        {"stsimg_close_image_list", STSSanDiskEntryPoints[STS_SLOT_CLOSE_IMAGE_LIST]},
        {"stsimg_get_image_prop", STSSanDiskEntryPoints[STS_SLOT_GET_IMAGE_PROP]},
        {"stsimg_list_image", STSSanDiskEntryPoints[STS_SLOT_LIST_IMAGE]},
        {"stsimg_read_image", STSSanDiskEntryPoints[STS_SLOT_READ_IMAGE]},
        {"stsimg_write_image", STSSanDiskEntryPoints[STS_SLOT_WRITE_IMAGE]},
    };
    const size_t argument_counts[] = {1, 1, 2, 2, 5, 6};
    for (size_t i = 0; i < std::size(calls); ++i) {
        ImageLibraryDouble library;
        library.answer_with(4711);
        library.read_status = 4711;
        library.write_status = 4711;
        uint64_t count = 0;
        char buffer[] = "data";
        uint64_t arguments[6] = {0x8111111111111111, pointer_bits(buffer), 4,
                                 0x9444444444444444, pointer_bits(&count), 0};
        if (calls[i].first == std::string("stsimg_write_image")) {
            arguments[1] = 0xa222222222222222;
            arguments[2] = pointer_bits(buffer);
            arguments[3] = 4;
            arguments[4] = 0xb555555555555555;
            arguments[5] = pointer_bits(&count);
        }
        EXPECT_EQ(reinterpret_cast<AnyCall>(calls[i].second)(arguments[0], arguments[1], arguments[2], arguments[3],
                                                             arguments[4], arguments[5]),
                  4711);
        ASSERT_EQ(library.calls().size(), 1U);
        EXPECT_EQ(library.calls()[0].function, calls[i].first);
        for (size_t argument = 0; argument < argument_counts[i]; ++argument)
            EXPECT_EQ(library.calls()[0].arguments[argument], arguments[argument]) << calls[i].first << argument;
    }
}

TEST(PassThrough, NullsAreTheLibrarysBusiness) {
    ImageLibraryDouble library;
    EXPECT_EQ(stspi_close_image(nullptr), 0);
    EXPECT_EQ(stspi_close_image_list(nullptr), 0);
    EXPECT_EQ(stspi_get_image_prop(nullptr, nullptr), 0);
    EXPECT_EQ(stspi_list_image(nullptr, nullptr), 0);
    EXPECT_EQ(stspi_read_image(nullptr, nullptr, 0, 0, nullptr), 0);
    EXPECT_EQ(stspi_write_image(nullptr, nullptr, nullptr, 0, 0, nullptr), 0);
    EXPECT_EQ(library.calls().size(), 6U);
}

}  // namespace
