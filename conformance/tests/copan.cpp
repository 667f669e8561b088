// The Copan array's configuration file and directories, as lists, properties and images show them.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

void write_copan(const std::string &text) {
    remove_config("copan");
    write_config("copan", text);
}

// The LSUs of an array that opens.
std::vector<std::string> volumes(const std::string &config, const std::string &host = "arr1") {
    write_copan(config);
    return list_lsus(open_server(new_session(), "copan:" + host));
}

bool opens(const std::string &host) {
    sts_server_handle_t handle = nullptr;
    Session &session = new_session();
    const int32_t status = plugin().open_server(session.pointer(), ("copan:" + host).c_str(), &handle);
    if (status != 0)
        expect_status(status, STS_E_INTERNAL);
    return status == 0;
}

int32_t ask(Session &session, const char *name) {
    const auto handle = open_server(session, "copan:arr1");
    session.clear();
    Watched<sts_lsu_info_v9_t> info;
    return plugin().get_lsu_prop_byname(lsu(handle, name), info.get());
}

// The directory that an image call hands on for vol1.
std::string directory_of_vol1(const std::string &config) {
    write_copan(config);
    const auto handle = open_server(new_session(), "copan:arr1");
    expect_status(plugin().open_image_list(lsu(handle, "vol1"), 0, nullptr), 0);
    return take_image_call("stsimg_open_image_list").lsu_text;
}

std::string in_work(const std::string &name) { return work_directory() + "/" + name; }

}  // namespace

CONFORMANCE_TEST(
    "copan.name.match",
    "A section is the array's when both names agree up to their first '.', or the section's name is the array's.") {
    const auto expect_match = [](const std::string &value, const std::string &host, bool matches) {
        write_copan("STORAGE_SERVER = " + value + "\n");
        expect_true(opens(host) == matches, "section " + quoted_bytes(value) + " for array " + quoted_bytes(host),
                    matches ? "opens" : "StorageServer not found", matches ? "not found" : "opens");
    };
    expect_match("arr1 ;", "arr1", true);
    expect_match("arr1;", "arr1.lab", true);
    expect_match("arr1.lab;", "arr1.lab", true);
    expect_match("arr1.other;", "arr1.lab", true);
    expect_match("arr1.lab;", "arr1", true);
    expect_match("arr1.a.b;", "arr1.x.y.z", true);
    expect_match("arr1", "arr1", true);
    expect_match("arr1#lab;", "arr1", true);
    expect_match("ar r1;", "arr1", true);
    expect_match("arr2;", "arr1", false);
    expect_match("ARR1;", "arr1", false);
    expect_match("arr;", "arr1", false);
    expect_match("arr11;", "arr1", false);
    expect_match("arr1;", "arr", false);
    expect_match("lab.arr1;", "arr1", false);
    expect_match(";", "arr1", false);
    expect_match("", "arr1", false);
    expect_match("arr1;", "arr1 ", false);
    expect_match("a-b_c.1;", "a-b_c", true);
    expect_match(".x;", ".y", true);
}

CONFORMANCE_TEST("copan.name.empty-matches-empty", "A section without a name is that of an array without a name.") {
    write_copan("STORAGE_SERVER = ;\n");
    Watched<sts_server_info_t> info;
    expect_status(plugin().get_server_prop_byname(new_session().pointer(), "copan:", info.get()), 0);
    expect_text("server name", info->server_name, "");
}

CONFORMANCE_TEST("copan.name.host-with-colon", "The array's name is all that follows the first ':'.") {
    write_copan("STORAGE_SERVER = a;\n");
    expect_true(!opens("a:b"), "array \"a:b\"", "not found", "opens");
    expect_true(opens("a.x:b"), "array \"a.x:b\"", "opens", "not found");
}

CONFORMANCE_TEST("copan.sections.several",
                 "Several matching sections add up in file order; others in between are left out.") {
    expect_texts("LSUs",
                 volumes("STORAGE_SERVER = arr1;\nVOLUMES = a,b;\nSTORAGE_SERVER = arr2;\nVOLUMES = x;\n"
                         "STORAGE_SERVER = arr1.lab;\nVOLUMES = c;\nVOLUMES = a;\n"),
                 {"a", "b", "c", "a"});
}

CONFORMANCE_TEST("copan.sections.before-the-first", "What stands before the first STORAGE_SERVER line is ignored.") {
    expect_texts("LSUs", volumes("VOLUMES = x;\nSTORAGE_DIR = /nowhere;\nSTORAGE_SERVER = arr1;\nVOLUMES = a;\n"),
                 {"a"});
}

CONFORMANCE_TEST("copan.sections.other-keys",
                 "Other keys are ignored without a message, also with nothing before the '='.") {
    expect_texts("LSUs",
                 volumes("FOO = 1;\n=x;\nSTORAGE_SERVER = arr1;\nDISKS = d;\nvolumes = v;\nVOLUME = w;\n#VOLUMES = c;\n"
                         "storage_server = arr2;\nMOUNT_BEHAVIOR = SUCCESS;\nVOLUMES = a;\n= \n"),
                 {"a"});
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST("copan.lines.empty", "Empty lines and lines of white space are skipped.") {
    expect_texts("LSUs", volumes("\n  \t \n\r\nSTORAGE_SERVER = arr1;\n\n\nVOLUMES = a ;\r\n \nVOLUMES=b;"),
                 {"a", "b"});
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST("copan.lines.without-equals",
                 "A line without '=' is reported and ends the reading; what was read before stays.") {
    expect_texts("LSUs", volumes("STORAGE_SERVER = arr1;\nVOLUMES = a;\n#volumes\nVOLUMES = b;\n"), {"a"});
    // Once for each open: the shorthand above opens once.
    expect_text("standard output", take_output(), "'=' not found\n");
}

CONFORMANCE_TEST("copan.lines.without-equals.before-match",
                 "A line without '=' before any match leaves an empty array and no error.") {
    expect_texts("LSUs", volumes("#volumes\nSTORAGE_SERVER = arr1;\nVOLUMES = b;\n"), {});
    expect_text("standard output", take_output(), "'=' not found\n");
    expect_texts("LSUs", volumes("STORAGE_SERVER = arr2;\nfoo\n"), {});
    expect_text("standard output", take_output(), "'=' not found\n");
}

CONFORMANCE_TEST("copan.lines.without-equals.not-logged",
                 "The report goes to standard output alone, not to the session.") {
    write_copan("nothing\n");
    Session &session = new_session();
    open_server(session, "copan:arr1");
    session.expect_log(
        {entering("stspi_open_server"), trace("copan:arr1"), trace("STS-DYNAMIC "), leaving("stspi_open_server")});
    expect_text("standard output", take_output(), "'=' not found\n");
}

CONFORMANCE_TEST("copan.lines.empty-file", "An empty file has no array.") {
    write_copan("");
    expect_true(!opens("arr1"), "array", "StorageServer not found", "opens");
}

CONFORMANCE_TEST("copan.volumes.names",
                 "Volume lists split at commas; each name is cut at its first bad byte and keeps its place.") {
    const std::string head = "STORAGE_SERVER = arr1;\nVOLUMES = ";
    expect_texts("LSUs", volumes(head + "vol1,vol2,vol1 ;\n"), {"vol1", "vol2", "vol1"});
    expect_texts("LSUs", volumes(head + "a,#b ;\n"), {"a", ""});
    expect_texts("LSUs", volumes(head + ",,a,,b,;\n"), {"a", "b", ""});
    expect_texts("LSUs", volumes(head + ";\n"), {""});
    expect_texts("LSUs", volumes(head + "\n"), {});
    expect_texts("LSUs", volumes(head + "a;b,c\n"), {"a", "c"});
    expect_texts("LSUs", volumes(head + "x=y,z;\n"), {"x", "z"});
    expect_texts("LSUs", volumes(head + std::string(31, 'v') + "," + std::string(30, 'w') + ";\n"),
                 {std::string(31, 'v'), std::string(30, 'w')});
    expect_usual_texts("LSUs", volumes(head + "a," + std::string(40, 'v') + ",b;\n"), {"a", std::string(31, 'v'), "b"},
                       {{"a", "b"}, {}});
    take_output();
}

CONFORMANCE_TEST("copan.volumes.more-than-512", "More volumes than 512 are all kept.") {
    std::string config = "STORAGE_SERVER = arr1;\n";
    std::vector<std::string> names;
    for (int line = 0; line < 20; ++line) {
        std::string list;
        for (int i = 0; i < 100; ++i) {
            names.push_back(fmt::format("v{}", line * 100 + i));
            list += (list.empty() ? "" : ",") + names.back();
        }
        config += "VOLUMES = " + list + ";\n";
    }
    expect_texts("LSUs", volumes(config), names);
}

CONFORMANCE_TEST("copan.lines.very-long", "Lines of 100,000 bytes do no harm.") {
    // What is left of a cut line has no '=' and ends the reading. The name in its first piece is cut, or left out.
    expect_usual_texts(
        "LSUs", volumes("STORAGE_SERVER = arr1;\nVOLUMES=a;\nVOLUMES=" + std::string(100000, 'v') + ";\nVOLUMES=b;\n"),
        {"a", std::string(31, 'v')}, {{"a"}});
    expect_text("standard output", take_output(), "'=' not found\n");
}

CONFORMANCE_TEST(
    "copan.storage.value",
    "STORAGE_DIR is the value up to its first ';', or the whole value; the last line of the array's sections counts.") {
    for (const char *name : {"one", "two"}) {
        mkdir(in_work(name).c_str(), 0700);
        owns_directory(in_work(name));
        owns_directory(in_work(name) + "/vol1");
    }
    const std::string head = "STORAGE_SERVER = arr1;\nVOLUMES = vol1;\n";
    expect_text("directory", directory_of_vol1(head + "STORAGE_DIR = " + in_work("one") + ";\n"), in_work("one/vol1"));
    expect_text("directory", directory_of_vol1(head + "STORAGE_DIR = " + in_work("one") + ";rest;\n"),
                in_work("one/vol1"));
    expect_text("directory", directory_of_vol1(head + "STORAGE_DIR = " + in_work("one") + "\n"), in_work("one/vol1"));
    expect_text("directory",
                directory_of_vol1(head + "STORAGE_DIR = /nowhere/at/all;\nSTORAGE_DIR = " + in_work("two") +
                                  ";\nSTORAGE_SERVER = arr2;\nSTORAGE_DIR = /nowhere/else;\n"),
                in_work("two/vol1"));
}

CONFORMANCE_TEST(
    "copan.storage.made",
    "An LSU's directory is made below the storage directory, both with mode 0700, when it is first needed.") {
    write_example_configs();
    umask(0);
    const auto handle = open_server(new_session(), "copan:arr1");
    expect_true(access(in_work("cop").c_str(), F_OK) != 0, in_work("cop"), "not there yet", "there");
    owns_directory(in_work("cop"));
    owns_directory(in_work("cop/vol1"));
    expect_status(plugin().open_image_list(lsu(handle, "vol1"), 0, nullptr), 0);
    for (const char *name : {"cop", "cop/vol1"}) {
        struct stat status {};
        expect_number("stat", stat(in_work(name).c_str(), &status), 0);
        expect_mode(std::string("mode of ") + name, status.st_mode & 07777, 0700);
    }
    expect_status(plugin().open_image_list(lsu(handle, "vol1"), 0, nullptr), 0);
}

CONFORMANCE_TEST("copan.storage.cannot-be-made",
                 "A storage directory that cannot be made is told in two messages that no mask holds back.") {
    write_copan("STORAGE_SERVER = arr1;\nVOLUMES = vol1;\nSTORAGE_DIR = " + in_work("no/such") + ";\n");
    expect_under_every_mask(
        STS_E_INVALID_PARAMETER,
        {entering("stspi_get_lsu_prop_byname"), unmasked("m_storage_dir directory creation failed: "),
         unmasked(in_work("no/such")), leaving("stspi_get_lsu_prop_byname")},
        [](Session &session) { return ask(session, "vol1"); });
}

CONFORMANCE_TEST(
    "copan.storage.volume-cannot-be-made",
    "A volume directory that cannot be made is told in two messages; the second names the storage directory.") {
    write_example_configs();
    owns_directory(in_work("cop"));
    for (const std::string &name : {std::string("no/such"), std::string(300, 'v')})
        expect_under_every_mask(STS_E_INVALID_PARAMETER,
                                {entering("stspi_get_lsu_prop_byname"), unmasked("vol directory creation failed: "),
                                 unmasked(in_work("cop")), leaving("stspi_get_lsu_prop_byname")},
                                [&](Session &session) { return ask(session, name.c_str()); });
}

CONFORMANCE_TEST("copan.storage.in-the-way", "A file at an LSU's place is taken as it is.") {
    write_example_configs();
    mkdir(in_work("cop").c_str(), 0700);
    owns_directory(in_work("cop"));
    std::ofstream(in_work("cop/vol1")) << "x";
    register_resource(nullptr, "file", [] { unlink(in_work("cop/vol1").c_str()); });
    Session &session = new_session();
    expect_status(ask(session, "vol1"), 0);
}

CONFORMANCE_TEST("copan.storage.messages-through-own-session",
                 "The storage messages go to the session of the latest Copan open, the others to the handle's.") {
    write_copan("STORAGE_SERVER = arr1;\nVOLUMES = vol1;\n");
    Session &first = new_session();
    const auto handle = open_server(first, "copan:arr1");
    Session &second = new_session();
    open_server(second, "copan:arr1");
    first.clear();
    second.clear();
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "vol1"), info.get()), STS_E_INVALID_PARAMETER);
    first.expect_log({entering("stspi_get_lsu_prop_byname"), leaving("stspi_get_lsu_prop_byname")});
    second.expect_log({unmasked("m_storage_dir directory creation failed: "), unmasked("")});
}

CONFORMANCE_TEST("copan.first-of-a-name", "Properties and images find an LSU whose name is there twice.") {
    write_example_configs();
    owns_directory(in_work("cop"));
    owns_directory(in_work("cop/vol1"));
    Session &session = new_session();
    expect_status(ask(session, "vol1"), 0);
}

CONFORMANCE_TEST("copan.empty-lsu-name",
                 "An image call finds an LSU with an empty name; its directory is the storage directory.") {
    write_copan("STORAGE_SERVER = arr1;\nVOLUMES = a,#b ;\nSTORAGE_DIR = " + in_work("cop") + ";\n");
    owns_directory(in_work("cop"));
    const auto handle = open_server(new_session(), "copan:arr1");
    expect_status(plugin().open_image_list(lsu(handle, ""), 0, nullptr), 0);
    expect_text("LSU text", take_image_call("stsimg_open_image_list").lsu_text, in_work("cop/"));
}

CONFORMANCE_TEST("copan.shares-file-with-disk-array",
                 "One file can describe both kinds; each reader takes its own part.") {
    const std::string text = "ENCLOSURE = g;\nDISKS = d;\nHOSTS = h;\nSTORAGE_SERVER = arr1;\nVOLUMES = v;\n";
    write_config("Kelvarpool", "DISKGROUP = x;\n" + text);
    const auto array = open_server(new_session(), "Kelvarpool:arr1");
    expect_text("standard output", take_output(), "Invalid line: 5\n");
    expect_texts("disks", list_volumes(array, "g"), {"d"});
    write_copan(text);
    expect_texts("LSUs", list_lsus(open_server(new_session(), "copan:arr1")), {"v"});
}

}  // namespace conformance
