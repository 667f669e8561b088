#include "copan/copan_sim_storage_server.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "copan/copan_lsu.h"
#include "sim/orv_sim_storage_server.h"
#include "sim/sts_exception.h"
#include "tests/support/captured_output.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> lsu_names(CopanSimStorageServer &server) {
    std::vector<std::string> names;
    for (LSU *lsu : *server.getLSUList())
        names.push_back(*lsu->getInfo());
    return names;
}

class CopanServer : public testing::Test {
protected:
    void configure(const std::string &text) const { m_config.write("copan", text); }

    // A server whose storage directory is the given one.
    CopanSimStorageServer *server_at(const std::string &storage_dir) {
        configure("STORAGE_SERVER=arr1;\nVOLUMES=vol1;\nSTORAGE_DIR=" + storage_dir + ";\n");
        m_server = std::make_unique<CopanSimStorageServer>("copan:arr1");
        return m_server.get();
    }

    // Generates a path; "(null)" when there is none.
    static std::string path_of(CopanSimStorageServer &server, const std::string &volume) {
        const std::unique_ptr<char[]> path(server.generate_path(volume));
        return path != nullptr ? path.get() : "(null)";
    }

    void expect_not_found(const std::string &server_name) {
        try {
            CopanSimStorageServer server(server_name);
            ADD_FAILURE() << server_name << " was found";
        } catch (const STSException &exception) {
            EXPECT_STREQ(exception.toString(), "StorageServer not found");
        }
    }

    ConfigDirectory m_config;
    TempDirectory m_directory;
    CapturedOutput m_output;
    std::unique_ptr<CopanSimStorageServer> m_server;
};

// ---- names and sections ------------------------------------------------------------------------------------------

TEST_F(CopanServer, VolumesAreSeparatedByCommasAlone) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES=a~b,c|d,e:f;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_THAT(lsu_names(server), ElementsAre("a", "c", "e"));  // each cut at its bad byte, not split there
}

TEST_F(CopanServer, SectionWithoutDomainSelectsTheServer) {
    configure("STORAGE_SERVER = arr1 ;\nVOLUMES = vol1,vol2,vol1 ;\nSTORAGE_DIR = " + (m_directory / "cop") + " ;\n");
    CopanSimStorageServer server("copan:arr1.lab");
    EXPECT_THAT(lsu_names(server), ElementsAre("vol1", "vol2", "vol1"));
    EXPECT_EQ(server.getLSU("vol1"), server.getLSUList()->front());
    EXPECT_EQ(path_of(server, "vol1"), m_directory / "cop/vol1");
    EXPECT_EQ(m_output.text(), "");
}

TEST_F(CopanServer, InfoIsTheNameBehindTheColon) {
    configure("STORAGE_SERVER=arr1;\n");
    CopanSimStorageServer server("copan:arr1.lab");
    EXPECT_EQ(*server.getInfo(), "arr1.lab");
    EXPECT_EQ(server.getInfo(), server.getInfo());  // borrowed, not a copy
}

TEST_F(CopanServer, DomainsAreIgnoredOnEitherSide) {
    const char *const sections[] = {"arr1", "arr1.lab", "arr1.other"};
    for (const char *section : sections) {
        configure("STORAGE_SERVER=" + std::string(section) + ";\nVOLUMES=v;\n");
        CopanSimStorageServer server("copan:arr1.lab");
        EXPECT_THAT(lsu_names(server), ElementsAre("v")) << section;
    }
    configure("STORAGE_SERVER=arr1.lab;\nVOLUMES=v;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_THAT(lsu_names(server), ElementsAre("v"));
}

TEST_F(CopanServer, OtherNamesDoNotMatch) {
    configure("STORAGE_SERVER=arr1.lab;\n");
    for (const char *name :
         {"copan:arr2", "copan:arr", "copan:arr11", "copan:Arr1", "copan:lab", "copan:arr2.lab", "copan:"})
        expect_not_found(name);
}

TEST_F(CopanServer, NameWithoutHostPartMatchesASectionWithoutAName) {
    configure("STORAGE_SERVER=;\nVOLUMES=v;\n");
    CopanSimStorageServer server("copan:");
    EXPECT_THAT(lsu_names(server), ElementsAre("v"));
}

TEST_F(CopanServer, ColonsBehindTheFirstBelongToTheServerName) {
    configure("STORAGE_SERVER=a;\n");
    expect_not_found("copan:a:b");
}

TEST_F(CopanServer, SectionNameEndsAtItsFirstBadByteAndAt31Bytes) {
    configure("STORAGE_SERVER=arr1#x;\nVOLUMES=v;\n");
    EXPECT_THAT(lsu_names(*std::make_unique<CopanSimStorageServer>("copan:arr1")), ElementsAre("v"));
    configure("STORAGE_SERVER=" + std::string(40, 'a') + ";\nVOLUMES=w;\n");
    EXPECT_THAT(lsu_names(*std::make_unique<CopanSimStorageServer>("copan:" + std::string(31, 'a'))), ElementsAre("w"));
}

TEST_F(CopanServer, FileWithoutTheServerThrows) {
    configure("STORAGE_SERVER = arr2 ;\nVOLUMES = vol1,vol2,vol1 ;\nSTORAGE_DIR = /tmp/cop ;\n");
    expect_not_found("copan:arr1.lab");
    EXPECT_EQ(m_output.text(), "");
}

TEST_F(CopanServer, EmptyFileThrows) {
    configure("");
    expect_not_found("copan:arr1");
}

TEST_F(CopanServer, LinesOutsideTheServersSectionAreIgnored) {
    configure(
        "VOLUMES=before;\nSTORAGE_DIR=/before;\n"
        "STORAGE_SERVER=arr2;\nVOLUMES=other;\nSTORAGE_DIR=/other;\n"
        "STORAGE_SERVER=arr1;\nVOLUMES=mine;\nSTORAGE_DIR=" +
        (m_directory / "mine") +
        ";\nANY_KEY=x;\nvolumes=no;\n"
        "STORAGE_SERVER=arr3;\nVOLUMES=after;\nSTORAGE_DIR=/after;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_THAT(lsu_names(server), ElementsAre("mine"));
    EXPECT_EQ(path_of(server, "v"), m_directory / "mine/v");
    EXPECT_EQ(m_output.text(), "");
}

TEST_F(CopanServer, SeveralSectionsOfTheServerAddUp) {
    configure(
        "STORAGE_SERVER=arr1;\nVOLUMES=a;\nSTORAGE_SERVER=arr2;\nVOLUMES=x;\nSTORAGE_SERVER=arr1.lab;\nVOLUMES=b;"
        "\nVOLUMES=c;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_THAT(lsu_names(server), ElementsAre("a", "b", "c"));
}

TEST_F(CopanServer, LaterStorageDirReplacesTheEarlier) {
    configure("STORAGE_SERVER=arr1;\nSTORAGE_DIR=/earlier;\nSTORAGE_DIR=" + (m_directory / "later") + ";\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(path_of(server, "v"), m_directory / "later/v");
}

TEST_F(CopanServer, StorageDirEndsAtItsFirstSemicolonIfAny) {
    configure("STORAGE_SERVER=arr1;\nSTORAGE_DIR=" + (m_directory / "a") + ";x;y\n");
    CopanSimStorageServer first("copan:arr1");
    EXPECT_EQ(path_of(first, "v"), m_directory / "a/v");
    configure("STORAGE_SERVER=arr1;\nSTORAGE_DIR=" + (m_directory / "b") + "\n");
    CopanSimStorageServer second("copan:arr1");
    EXPECT_EQ(path_of(second, "v"), m_directory / "b/v");
}

TEST_F(CopanServer, StorageDirMayHoldEqualsSigns) {
    configure("STORAGE_SERVER=arr1;\nSTORAGE_DIR=" + (m_directory / "a=b") + ";\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(path_of(server, "v"), m_directory / "a=b/v");
}

// ---- how reading stops -------------------------------------------------------------------------------------------

TEST_F(CopanServer, LineWithoutEqualsSignEndsReading) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES=a;\n#volumes\nVOLUMES=b;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(m_output.text(), "'=' not found\n");
    EXPECT_THAT(lsu_names(server), ElementsAre("a"));
}

TEST_F(CopanServer, LineWithoutEqualsSignBeforeTheSectionThrowsNothing) {
    configure("#comment\nSTORAGE_SERVER=arr1;\nVOLUMES=a;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(m_output.text(), "'=' not found\n");
    EXPECT_THAT(lsu_names(server), IsEmpty());
    EXPECT_EQ(*server.getInfo(), "arr1");
}

TEST_F(CopanServer, BlankLinesAndLeadingEqualsSignsAreNoEnd) {
    configure("\n \t\n=x;\nSTORAGE_SERVER=arr1;\n\nVOLUMES=a;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(m_output.text(), "");
    EXPECT_THAT(lsu_names(server), ElementsAre("a"));
}

TEST_F(CopanServer, NameWithoutColonIsReported) {
    configure("STORAGE_SERVER=copan;\nVOLUMES=a;\n");
    CopanSimStorageServer server("copan");
    EXPECT_EQ(m_output.text(), "Error in server_name\n");
    EXPECT_THAT(lsu_names(server), IsEmpty());
    EXPECT_EQ(*server.getInfo(), "");
}

TEST_F(CopanServer, EmptyNameIsAnEmptyServer) {
    CopanSimStorageServer server("");
    EXPECT_EQ(m_output.text(), "");
    EXPECT_THAT(lsu_names(server), IsEmpty());
    EXPECT_EQ(*server.getInfo(), "");
}

TEST_F(CopanServer, MissingFileIsAnEmptyServerWithItsName) {
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(m_output.text(), "");
    EXPECT_THAT(lsu_names(server), IsEmpty());
    EXPECT_EQ(*server.getInfo(), "arr1");
    EXPECT_EQ(server.getLSU("vol1"), nullptr);
}

// ---- LSUs --------------------------------------------------------------------------------------------------------

TEST_F(CopanServer, PieceWithABadFirstByteIsAnLsuWithoutAName) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES = a,#b ;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_THAT(lsu_names(server), ElementsAre("a", ""));
    EXPECT_EQ(server.getLSU(""), (*server.getLSUList())[1]);
}

TEST_F(CopanServer, LsuOfDuplicateNameIsTheFirst) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES=x,v,v;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(server.getLSU("v"), (*server.getLSUList())[1]);
}

TEST_F(CopanServer, LsuNamesAreComparedExactly) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES=vol1;\n");
    CopanSimStorageServer server("copan:arr1");
    for (const std::string &name :
         {std::string("vol"), std::string("vol11"), std::string("VOL1"), std::string(), std::string("vol1\0", 5)})
        EXPECT_EQ(server.getLSU(name), nullptr) << name;
}

TEST_F(CopanServer, NullEntriesAreSkippedByTheLookUp) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES=a,b;\n");
    CopanSimStorageServer server("copan:arr1");
    LSU *second = (*server.getLSUList())[1];
    (*server.getLSUList())[0] = nullptr;
    EXPECT_EQ(server.getLSU("b"), second);
    EXPECT_EQ(server.getLSU("a"), nullptr);
}

TEST_F(CopanServer, LsuOutlivesItsServer) {
    configure("STORAGE_SERVER=arr1;\nVOLUMES=vol1;\n");
    auto server = std::make_unique<CopanSimStorageServer>("copan:arr1");
    LSU *lsu = server->getLSU("vol1");
    server.reset();
    EXPECT_EQ(*lsu->getInfo(), "vol1");
}

TEST_F(CopanServer, MoreThan512VolumesAreKept) {
    std::string text = "STORAGE_SERVER=arr1;\n";
    for (int line = 0; line < 3; ++line) {
        text += "VOLUMES=";
        for (int i = 0; i < 249; ++i)
            text += "v" + std::to_string(i % 10) + ",";
        text += "w;\n";
    }
    configure(text);
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(server.getLSUList()->size(), 750U);
}

TEST(CopanLsu, InfoIsItsOwnCopyOfTheName) {
    std::string name = "vol1";
    CopanLSU lsu(name);
    name = "changed";
    EXPECT_EQ(*lsu.getInfo(), "vol1");
    EXPECT_EQ(lsu.getInfo(), lsu.getInfo());
}

// ---- paths -------------------------------------------------------------------------------------------------------

TEST_F(CopanServer, PathIsMadeForAnyVolume) {
    CopanSimStorageServer *server = server_at(m_directory / "cop");
    EXPECT_EQ(path_of(*server, "vol9"), m_directory / "cop/vol9");
    for (const char *made : {"cop", "cop/vol9"}) {
        struct stat status;
        ASSERT_EQ(stat((m_directory / made).c_str(), &status), 0);
        EXPECT_TRUE(S_ISDIR(status.st_mode));
        EXPECT_EQ(status.st_mode & 0777, 0700U);
    }
    EXPECT_EQ(path_of(*server, "vol9"), m_directory / "cop/vol9");  // again: what is there already does not matter
}

TEST_F(CopanServer, StorageDirectoryThatCannotBeMadeIsLoggedWithItsName) {
    LogRecorder log(0);  // the mask is not consulted
    CopanSimStorageServer::set_session(log.session());
    const std::string storage_dir = m_directory / "no/such";
    EXPECT_EQ(path_of(*server_at(storage_dir), "vol1"), "(null)");
    EXPECT_THAT(log.messages(), ElementsAre(error("m_storage_dir directory creation failed: "), error(storage_dir)));
}

TEST_F(CopanServer, WithoutAStorageDirectoryThereIsNoPath) {
    LogRecorder log(0);
    configure("STORAGE_SERVER=arr1;\nVOLUMES=vol1;\n");
    CopanSimStorageServer server("copan:arr1");
    CopanSimStorageServer::set_session(log.session());
    EXPECT_EQ(path_of(server, "vol1"), "(null)");
    EXPECT_THAT(log.messages(), ElementsAre(error("m_storage_dir directory creation failed: "), error("")));
}

TEST_F(CopanServer, VolumeDirectoryThatCannotBeMadeIsLoggedWithTheStorageDirectory) {
    LogRecorder log(0);
    CopanSimStorageServer::set_session(log.session());
    const std::string storage_dir = m_directory / "cop";
    EXPECT_EQ(path_of(*server_at(storage_dir), "no/such"), "(null)");
    EXPECT_THAT(log.messages(), ElementsAre(error("vol directory creation failed: "), error(storage_dir)));
}

TEST_F(CopanServer, FileInPlaceOfADirectoryIsNotNoticed) {
    std::ofstream(m_directory / "file") << "x";
    CopanSimStorageServer *server = server_at(m_directory.path());
    EXPECT_EQ(path_of(*server, "file"), m_directory / "file");  // something of that name is there: that is enough
}

TEST_F(CopanServer, FailuresWithoutASessionOrALogFunctionAreSilent) {
    CopanSimStorageServer::set_session(nullptr);
    CopanSimStorageServer *server = server_at(m_directory / "no/such");
    EXPECT_EQ(path_of(*server, "vol1"), "(null)");
    LogRecorder log;
    log.session()->log_function = nullptr;
    CopanSimStorageServer::set_session(log.session());
    EXPECT_EQ(path_of(*server, "vol1"), "(null)");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(CopanServer, EachMessageOfAFailureAsksForTheSessionAfresh) {
    // The log function takes itself away during the first message: the second is not sent.
    static int calls = 0;
    calls = 0;
    static sts_session_def_v7_t session{};
    session.log_function = [](uint64_t, const char *, int32_t) {
        ++calls;
        session.log_function = nullptr;
    };
    CopanSimStorageServer::set_session(&session);
    EXPECT_EQ(path_of(*server_at(m_directory / "no/such"), "vol1"), "(null)");
    EXPECT_EQ(calls, 1);
    CopanSimStorageServer::set_session(nullptr);
}

TEST_F(CopanServer, LineEndsAfter1023Bytes) {
    std::string line = "VOLUMES =";
    for (int i = 0; i < 505; ++i)
        line += "n,";
    line += "abcd";
    ASSERT_EQ(line.size(), 1023U);
    configure("STORAGE_SERVER=arr1;\n" + line + "efgh;\n");
    CopanSimStorageServer server("copan:arr1");
    EXPECT_EQ(lsu_names(server).back(), "abcd");
    EXPECT_EQ(m_output.text(), "'=' not found\n");  // of the rest, which is a line of its own
}

TEST_F(CopanServer, PathOf1023BytesFitsAndALongerOneIsRefused) {
    // "BASE/" plus volumes of 200 bytes are short of the limit by the length of the last.
    std::string nested = m_directory.path();
    while (nested.size() + 201 < 900)
        nested += "/" + std::string(200, 'd');
    fs::create_directories(nested);
    CopanSimStorageServer *server = server_at(nested);
    LogRecorder log;
    CopanSimStorageServer::set_session(log.session());
    const size_t room = 1023 - nested.size() - 1;
    ASSERT_LE(room, 255U);
    EXPECT_EQ(path_of(*server, std::string(room, 'v')), nested + "/" + std::string(room, 'v'));
    EXPECT_EQ(path_of(*server, std::string(room + 1, 'v')), "(null)");
    EXPECT_FALSE(fs::exists(nested + "/" + std::string(room + 1, 'v')));
    EXPECT_EQ(path_of(*server, std::string(3000, 'v')), "(null)");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(CopanServer, PathsAreMadeByManyThreadsAtOnce) {
    CopanSimStorageServer *server = server_at(m_directory / "cop");
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round)
                EXPECT_EQ(path_of(*server, "v" + std::to_string(round)),
                          m_directory / ("cop/v" + std::to_string(round)));
        });
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(CopanServer, DiskArraysKeepASessionOfTheirOwn) {
    LogRecorder log;
    CopanSimStorageServer::set_session(nullptr);
    OrvSimStorageServer::set_session(log.session());
    EXPECT_EQ(path_of(*server_at(m_directory / "no/such"), "vol1"), "(null)");
    EXPECT_THAT(log.messages(), IsEmpty());
}

}  // namespace
