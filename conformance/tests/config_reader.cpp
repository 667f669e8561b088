// The disk array's configuration file, as its pools, disks and mounts show it.
#include <algorithm>
#include <sstream>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

sts_server_handle_t array(const std::string &config) {
    remove_config("Kelvarpool");
    write_config("Kelvarpool", config);
    return open_server(new_session(), "Kelvarpool:nodeA");
}

// The property text of a pool; a finding and "" when there is none of that name.
std::string properties(sts_server_handle_t handle, const std::string &pool) {
    Watched<sts_lsu_info_v9_t> info;
    return expect_status(plugin().get_lsu_prop_byname(lsu(handle, pool), info.get()), 0) ? info->property_text : "";
}

int32_t status_of(sts_server_handle_t handle, const std::string &pool) {
    Watched<sts_lsu_info_v9_t> info;
    return plugin().get_lsu_prop_byname(lsu(handle, pool), info.get());
}

uint64_t capacity(sts_server_handle_t handle, const std::string &pool) {
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, pool), info.get()), 0);
    return info->capacity_bytes;
}

void expect_disks(const std::string &lines, const std::vector<std::string> &disks) {
    expect_texts("disks", list_volumes(array("ENCLOSURE = g;\n" + lines), "g"), disks);
}

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

void expect_hosts(const std::string &lines, const std::string &hosts) {
    expect_text("properties of the pool", properties(array("ENCLOSURE = g;\n" + lines), "g"),
                "VolumeCount=0;StorelCount=0;Hosts=" + hosts);
}

void expect_size(const std::string &value, uint64_t bytes) {
    expect_number("capacity of a disk of size " + quoted_bytes(value),
                  capacity(array("ENCLOSURE = g;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = " + value + "\n"), "g"), bytes);
}

void expect_udid(const std::string &line, const std::string &udid) {
    expect_texts("identifier of disk d", list_volumes(array("ENCLOSURE = g;\nDISKS = d;\n" + line + "\n"), "g"),
                 {udid});
}

void expect_printed(const std::string &config, const std::string &output) {
    Session &session = new_session();
    remove_config("Kelvarpool");
    write_config("Kelvarpool", config);
    open_server(session, "Kelvarpool:nodeA");
    expect_text("standard output", take_output(), output);
    session.expect_log(
        {entering("stspi_open_server"), trace("Kelvarpool:nodeA"), trace("KELVARPOOL "), leaving("stspi_open_server")});
}

}  // namespace

// ---- lines ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("config.lines.white-space",
                 "White space anywhere in a line does not count: blanks, tabs, carriage returns, form feeds.") {
    const auto handle = array(" \tE N C L O S U R E\t=  en\vc 1 ; \r\n\fD I S K S = d 1 , d2 ;\r\n\tHOSTS=h 1;\r\n");
    expect_texts("disks", list_volumes(handle, "enc1"), {"d1", "d2"});
    expect_text("properties", properties(handle, "enc1"), "VolumeCount=2;StorelCount=2;Hosts=h1");
}

CONFORMANCE_TEST("config.lines.invalid",
                 "An unknown key with '=' prints \"Invalid line: \" and its number; every line read counts.") {
    expect_printed("\n\nENCLOSURE = a;\n\n\tDISKS = d;\n# no equals sign\nFOO = 1;\n", "Invalid line: 7\n");
    expect_printed("FOO = 1;\n\nBAR=\nENCLOSURE = a;\nx=y=z\n", "Invalid line: 1\nInvalid line: 3\nInvalid line: 5\n");
    expect_printed("# a comment = no comment\n#=\n", "Invalid line: 1\nInvalid line: 2\n");
}

CONFORMANCE_TEST("config.lines.exact-keys", "Keys are matched exactly: whole, and in upper case.") {
    expect_printed(
        "ENCLOSURE = g;\ndisks = d;\nDISK = d;\nDISKSS = d;\nDisks = d;\nenclosure = x;\nENCLOSURES = y;\nMOUNT = 1;\n"
        "UDID = t;\nHOST = h;\nSIZE = 1;\n",
        "Invalid line: 2\nInvalid line: 3\nInvalid line: 4\nInvalid line: 5\nInvalid line: 6\nInvalid line: 7\n"
        "Invalid line: 8\nInvalid line: 9\nInvalid line: 10\nInvalid line: 11\n");
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    take_output();
    expect_texts("disks", list_volumes(handle, "g"), {});
}

CONFORMANCE_TEST("config.lines.skipped", "Lines without '=', with '=' first, and blank ones are skipped silently.") {
    expect_printed("FOO\n\n   \n=x;\n = y\nDISKS\nHOSTS\n# comment\n;\n", "");
}

CONFORMANCE_TEST("config.lines.bare-header", "A bare \"ENCLOSURE\" line opens an enclosure of that name.") {
    const auto handle = array("ENCLOSURE\nHOSTS = h;\nDISKS = d;\n");
    expect_text("properties", properties(handle, "ENCLOSURE"), "VolumeCount=1;StorelCount=1;Hosts=h");
}

CONFORMANCE_TEST("config.lines.long", "A line beyond 1,023 bytes is read as several, each counted.") {
    // 1,023 bytes of the first line make a list; the rest, without '=', is a line of its own and skipped.
    std::string list = "DISKS=";
    while (list.size() < 1023)
        list += "d,";
    list.resize(1023);
    const auto handle = array("ENCLOSURE = g;\n" + list + "x,y,z;\nFOO = 1;\n");
    expect_text("standard output", take_output(), "Invalid line: 4\n");
    expect_number("disks", list_volumes(handle, "g").size(), (1023 - 6 + 1) / 2);
    expect_printed("ENCLOSURE = g;\n" + list + "x=y;\n", "Invalid line: 3\n");
}

CONFORMANCE_TEST("config.lines.very-long", "Lines of 100,000 bytes do no harm.") {
    const auto handle =
        array("ENCLOSURE = g;\nHOSTS = h;\n" + std::string(100000, 'x') + "\nDISKS=" + std::string(100000, 'd') +
              ";\n" + std::string(100000, ' ') + "\nUDID_TOKEN=" + std::string(100000, 't') + ";\n");
    take_output();
    // A name of 1,017 bytes is cut, or left out.
    const size_t disks = list_volumes(handle, "g").size();
    expect_true(disks <= 1, "disks", "one, or none", std::to_string(disks));
}

CONFORMANCE_TEST("config.lines.no-final-newline", "The last line needs no line end.") {
    expect_texts("disks", list_volumes(array("ENCLOSURE = g;\nDISKS = a,b;"), "g"), {"a", "b"});
}

CONFORMANCE_TEST("config.lines.nul-bytes", "NUL bytes in a file do no harm: what follows one in its line is lost.") {
    const std::string text("ENCLOSURE = g;\nDISKS = a\0b,c;\nHOSTS = h;\n\0\n", 43);
    const auto handle = array(text);
    expect_texts("disks", list_volumes(handle, "g"), {"a"});
    expect_number("status", status_of(handle, "g"), 0);
}

CONFORMANCE_TEST("config.lines.empty-file", "An empty file is an array without pools.") {
    const auto handle = array("");
    expect_status(status_of(handle, "g"), STS_E_NO_SERVER);
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST("config.lines.not-logged",
                 "What is wrong with a file is printed, never sent to a session; a created server reads it alike.") {
    write_config("Kelvarpool", "FOO = 1;\nENCLOSURE = g;\n");
    Session &session = new_session();
    create_server(session, "Kelvarpool:nodeA", {"h"});
    session.expect_log({entering("stspi_create_server"), trace("Multi Host handle"), leaving("stspi_create_server")});
    expect_text("standard output", take_output(), "Invalid line: 1\n");
}

// ---- sections ------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("config.sections.enclosures-become-pools",
                 "The array's pools are exactly its enclosures; disk groups of the file are dropped or overwritten.") {
    const auto handle = array(
        "DISKGROUP = dg1;\nHOSTS = h;\nDISKS = x;\nDISKGROUP = dg2;\nHOSTS = h;\nDISKGROUP = dg3;\nHOSTS = h;\n"
        "ENCLOSURE = e1;\nHOSTS = h;\nDISKS = d1,d2;\nDISK_SIZE = 3;\nENCLOSURE = e2;\nHOSTS = h;\n");
    for (const char *name : {"dg1", "dg2", "dg3"})
        expect_status(status_of(handle, name), STS_E_NO_SERVER);
    expect_text("properties", properties(handle, "e1"), "VolumeCount=2;StorelCount=2;Hosts=h");
    expect_texts("volumes", list_volumes(handle, "e1"), {"d1", "d2"});
    expect_number("capacity", capacity(handle, "e1"), 6);
    expect_texts("pools", list_lsus(create_server(new_session(), "Kelvarpool:nodeA", {"h"})), {"e2", "e1"});
}

CONFORMANCE_TEST("config.sections.only-disk-groups",
                 "Without an enclosure there are no pools, whatever disk groups the file has.") {
    const auto handle = array("DISKGROUP = dg1;\nHOSTS = h;\nDISKS = x;\n");
    expect_status(status_of(handle, "dg1"), STS_E_NO_SERVER);
    expect_status(status_of(handle, "dg1:x"), STS_E_NO_SERVER);
    expect_texts("pools", list_lsus(create_server(new_session(), "Kelvarpool:nodeA", {"h"})), {});
}

CONFORMANCE_TEST("config.sections.host-set-of-index",
                 "An enclosure without hosts has those of the disk group at its place in the file, if there is one.") {
    const auto handle = array(
        "DISKGROUP = dg1;\nHOSTS = one;\nDISKGROUP = dg2;\nHOSTS = two;\n"
        "ENCLOSURE = e1;\nHOSTS = own;\nENCLOSURE = e2;\nENCLOSURE = e3;\n");
    expect_text("properties", properties(handle, "e1"), "VolumeCount=0;StorelCount=0;Hosts=own");
    expect_text("properties", properties(handle, "e2"), "VolumeCount=0;StorelCount=0;Hosts=two");
    expect_status(status_of(handle, "e3"), STS_E_NOT_FOUND);
}

CONFORMANCE_TEST("config.sections.volume-size-is-disk-size",
                 "A disk's size is its enclosure's DISK_SIZE; VOLUME_SIZE and VOLUMES change nothing.") {
    const auto handle = array(
        "DISKGROUP = dg;\nENCLOSURE = g;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 50;\nVOLUME_SIZE = 1G;\nVOLUMES = "
        "v1,v2;\n");
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "g:d"), info.get()), 0);
    expect_number("capacity", info->capacity_bytes, 50);
    expect_text("properties", properties(handle, "g"), "VolumeCount=1;StorelCount=1;Hosts=h");
    expect_status(status_of(handle, "g:v1"), STS_E_NO_SERVER);
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST(
    "config.sections.names",
    "A section's name ends at the first byte that is no letter, digit, '_', '-' or '.'; one of 32 bytes and more with "
    "its ';' is cut at 31, or its section left out.") {
    for (const auto &[value, name] :
         std::vector<std::pair<std::string, std::string>>{{"dg 1;", "dg1"},
                                                          {"dg#1;", "dg"},
                                                          {"a_b-c.D9;", "a_b-c.D9"},
                                                          {"noend", "noend"},
                                                          {"a,b;", "a"},
                                                          {"a:b;", "a"},
                                                          {"a=b;", "a"},
                                                          {"\xc3\xa4;", ""},
                                                          {";", ""},
                                                          {"", ""},
                                                          {std::string(30, 'n') + ";", std::string(30, 'n')},
                                                          {std::string(31, 'n'), std::string(31, 'n')}})
        expect_status(status_of(array("ENCLOSURE = " + value + "\nHOSTS = h;\n"), name), 0);
    for (const size_t length : {31UL, 32UL, 900UL}) {
        const auto handle = array("ENCLOSURE = " + std::string(length, 'n') + ";\nHOSTS = h;\n");
        take_output();  // a plug-in may report what it leaves out
        const int32_t status = status_of(handle, std::string(31, 'n'));
        if (status == STS_E_NO_SERVER)
            warn(fmt::format("section with a name of {} bytes", length), "its name cut at 31 bytes", "left out");
        else
            expect_status(status, 0);
    }
}

CONFORMANCE_TEST("config.sections.disk-size-default", "Without DISK_SIZE a disk's size is 0.") {
    expect_number("capacity", capacity(array("ENCLOSURE = g;\nDISKS = a,b;\nHOSTS = h;\n"), "g"), 0);
}

CONFORMANCE_TEST("config.sections.keys-outside",
                 "Keys that need a section are ignored before the first one, without a message.") {
    const auto handle =
        array("HOSTS = x;\nDISKS = y;\nDISK_SIZE = 5;\nVOLUME_SIZE = 5;\nSTORAGE_DIR = /nowhere;\nENCLOSURE = g;\n");
    expect_status(status_of(handle, "g"), STS_E_NOT_FOUND);
    expect_texts("disks", list_volumes(handle, "g"), {});
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST("config.sections.volumes-before-disk-group",
                 "VOLUMES before any disk group is ignored, or reported as an invalid line.") {
    for (const char *config : {"VOLUMES = v;\n", "ENCLOSURE = g;\nVOLUMES = v;\nHOSTS = h;\n"}) {
        const auto handle = array(config);
        const std::string printed = take_output();
        if (printed.empty())
            warn("standard output", "the line is reported as invalid", "nothing");
        else
            expect_text("standard output", printed, config[0] == 'V' ? "Invalid line: 1\n" : "Invalid line: 2\n");
        if (config[0] == 'E')
            expect_text("properties", properties(handle, "g"), "VolumeCount=0;StorelCount=0;Hosts=h");
    }
}

CONFORMANCE_TEST("config.sections.any-number", "Any number of sections of both kinds is read.") {
    for (const int count : {1, 3, 4, 5, 6, 9, 10, 11, 12, 20, 33, 64, 100}) {
        std::string config;
        for (int i = 0; i < count; ++i)
            config +=
                fmt::format("DISKGROUP = dg{0};\nENCLOSURE = e{0};\nDISKS = d{0};\nHOSTS = h;\nDISK_SIZE = {0};\n", i);
        const auto handle = array(config);
        for (int i = 0; i < count; ++i)
            expect_number("capacity of e" + std::to_string(i), capacity(handle, fmt::format("e{}", i)), i);
    }
}

LONG_CONFORMANCE_TEST("config.sections.ten-thousand", "A file of 10,000 sections of each kind opens.") {
    std::string config;
    for (int i = 0; i < 10000; ++i)
        config += fmt::format("ENCLOSURE = e{0};\nDISKS = d{0};\nHOSTS = h;\nDISK_SIZE = {0};\n", i);
    for (int i = 0; i < 10000; ++i)
        config += fmt::format("DISKGROUP = g{};\n", i);
    const auto handle = array(config);
    for (const int i : {0, 1, 4999, 9999})
        expect_number("capacity", capacity(handle, fmt::format("e{}", i)), i);
    expect_status(status_of(handle, "e10000"), STS_E_NO_SERVER);
}

// ---- lists ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST(
    "config.disks.lists",
    "Disk lists split at commas; empty items vanish, each name is cut at its first bad byte and keeps its place.") {
    expect_disks("DISKS = d1,d2,d3;\n", {"d1", "d2", "d3"});
    expect_disks("DISKS = ,,a,,b,;\n", {"a", "b", ""});
    expect_disks("DISKS = ;\n", {""});
    expect_disks("DISKS = ,,;\n", {""});
    expect_disks("DISKS =\n", {});
    expect_disks("DISKS = ,,,\n", {});
    expect_disks("DISKS = a,#b,c\n", {"a", "", "c"});
    expect_disks("DISKS = a;b,c;\n", {"a", "c"});
    expect_disks("DISKS = x=y,z;\n", {"x", "z"});
    expect_disks("DISKS = same,same;\n", {"same", "same"});
}

CONFORMANCE_TEST("config.disks.appended", "Several disk lists of a section add up in file order.") {
    expect_disks("DISKS = b,a;\nDISK_SIZE = 1;\nDISKS = c;\nDISKS = a;\n", {"b", "a", "c", "a"});
}

CONFORMANCE_TEST("config.disks.of-section", "A disk list goes to the section opened last.") {
    const auto handle =
        array("ENCLOSURE = a;\nDISKS = a1;\nENCLOSURE = b;\nDISKS = b1;\nDISKGROUP = x;\nDISKS = x1;\n");
    expect_texts("disks of a", list_volumes(handle, "a"), {"a1"});
    expect_texts("disks of b", list_volumes(handle, "b"), {"b1"});
}

CONFORMANCE_TEST("config.disks.long-names", "Disk names of 31 bytes are kept; longer ones are cut, or left out.") {
    const std::string fits(31, 'd');
    expect_disks("DISKS = " + fits + "," + std::string(30, 'e') + ";\n", {fits, std::string(30, 'e')});
    const auto handle =
        array("ENCLOSURE = g;\nDISKS = " + fits + "," + std::string(40, 'e') + "," + std::string(300, 'f') + ",g;\n");
    take_output();
    expect_usual_texts("disks", list_volumes(handle, "g"), {fits, std::string(31, 'e'), std::string(31, 'f'), "g"},
                       {{fits, "g"}, {}});
}

CONFORMANCE_TEST("config.disks.more-than-512", "More disks than 512 are all kept.") {
    std::string lines;
    std::vector<std::string> names;
    for (int line = 0; line < 20; ++line) {
        std::string list;
        for (int i = 0; i < 100; ++i) {
            names.push_back(fmt::format("d{}", line * 100 + i));
            list += (list.empty() ? "" : ",") + names.back();
        }
        lines += "DISKS = " + list + ";\n";
    }
    expect_disks(lines, names);
    std::string one_line;
    for (int i = 0; i < 507; ++i)
        one_line += "d,";
    const auto handle = array("ENCLOSURE=g;\nDISKS=" + one_line + "\nDISKS=" + one_line + "\n");
    expect_number("disks", list_volumes(handle, "g").size(), 1014);
}

CONFORMANCE_TEST("config.hosts.replaced", "A second HOSTS line of a section replaces the first.") {
    expect_hosts("HOSTS = a,b;\nHOSTS = c;\n", "c");
    expect_hosts("HOSTS = a,b;\nHOSTS =\n", "");
}

CONFORMANCE_TEST("config.hosts.lists",
                 "Host lists split like disk lists; a repeated name counts once, at its first place.") {
    expect_hosts("HOSTS = h1,h2,h1;\n", "h1,h2");
    expect_hosts("HOSTS = ,,a,,b,;\n", "a,b,");
    expect_hosts("HOSTS = a,#b,c;\n", "a,,c");
    expect_hosts("HOSTS = host.name_x-1;\n", "host.name_x-1");
    expect_hosts("HOSTS = a b,c\n", "ab,c");
}

CONFORMANCE_TEST("config.hosts.long-names", "Host names of 31 bytes are kept; longer ones are cut, or left out.") {
    const std::string fits(31, 'h');
    expect_hosts("HOSTS = " + fits + "," + std::string(30, 'i') + ";\n", fits + "," + std::string(30, 'i'));
    const auto handle = array("ENCLOSURE = g;\nHOSTS = a,b;\nHOSTS = " + fits + "," + std::string(40, 'i') + ",j;\n");
    take_output();
    const std::string text = properties(handle, "g");
    const std::string begin = "VolumeCount=0;StorelCount=0;Hosts=";
    expect_text("begin of the properties", text.substr(0, begin.size()), begin);
    expect_usual_texts("hosts", split(text.substr(std::min(text.size(), begin.size())), ','),
                       {fits, std::string(31, 'i'), "j"}, {{fits, "j"}, {"a", "b"}, {}});
}

CONFORMANCE_TEST("config.hosts.many", "Host lists of as many names as a line holds are all kept.") {
    std::string hosts;
    for (int i = 0; i < 200; ++i)
        hosts += fmt::format("{}h{}", hosts.empty() ? "" : ",", i);
    require_true(hosts.size() < 1016, "host list", "one line", "more");
    expect_hosts("HOSTS=" + hosts + ";\n", hosts);
}

// ---- sizes ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("config.size.units", "Sizes take the units K, M, G, T and P, powers of 1,024, in either case.") {
    expect_size("512;", 512);
    uint64_t unit = 1;
    for (const char *letter : {"kK", "mM", "gG", "tT", "pP"}) {
        unit *= 1024;
        for (const char *one = letter; *one != '\0'; ++one)
            expect_size(std::string("3") + *one + ";", 3 * unit);
    }
    expect_size("100G;", 107374182400);
}

CONFORMANCE_TEST("config.size.unit-before-last-character",
                 "The unit stands right before the last character; elsewhere it is no unit.") {
    expect_size("10G", 10);
    expect_size("10Gx", 10ULL << 30);
    expect_size("10GB;", 10);
    expect_size("10B;", 10);
    expect_size("7X;", 7);
    expect_size("10G;;", 10);
    expect_size("1 0 K ;", 10240);
}

CONFORMANCE_TEST("config.size.number",
                 "The number is read up to the first byte that is no digit, with a sign; none gives 0.") {
    expect_size("1.5G;", 1ULL << 30);
    expect_size("G;", 0);
    expect_size(";", 0);
    expect_size("abc;", 0);
    expect_size("+5;", 5);
    expect_size("-1K;", 18446744073709550592ULL);
    expect_size("0x10;", 0);
    expect_size("010;", 10);
}

CONFORMANCE_TEST("config.size.narrowed", "The number is narrowed to 32 bits with its sign before it is multiplied.") {
    expect_size("3000000000;", 18446744072414584320ULL);
    expect_size("2147483647;", 2147483647);
    expect_size("2147483648;", 18446744071562067968ULL);
    expect_size("4294967297;", 1);
    expect_size("4294967296K;", 0);
    expect_size("-1;", 18446744073709551615ULL);
}

CONFORMANCE_TEST("config.size.short", "A size of one character is a number without a unit, or 0; an empty one is 0.") {
    const uint64_t size = capacity(array("ENCLOSURE = g;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 5\n"), "g");
    if (size == 0)
        warn("capacity of a disk of size \"5\"", "5", "0");
    else
        expect_number("capacity of a disk of size \"5\"", size, 5);
    expect_size("", 0);
    expect_size("K", 0);
}

CONFORMANCE_TEST("config.size.last-line-counts", "A later size replaces an earlier one of its section.") {
    expect_number("capacity",
                  capacity(array("ENCLOSURE = g;\nDISKS = d;\nHOSTS = h;\nDISK_SIZE = 5;\nDISK_SIZE = 6;\nENCLOSURE = "
                                 "i;\nDISK_SIZE = 7;\n"),
                           "g"),
                  6);
}

// ---- texts ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("config.text.token",
                 "UDID_TOKEN loses its last character, whatever it is; the last line counts; an empty one is none.") {
    expect_udid("UDID_TOKEN = TK;", "#UDID#TK#d#");
    expect_udid("UDID_TOKEN = TK", "#UDID#T#d#");
    expect_udid("UDID_TOKEN = a=b;", "#UDID#a=b#d#");
    expect_udid("UDID_TOKEN = a;b;", "#UDID#a;b#d#");
    expect_udid("UDID_TOKEN = T K ;", "#UDID#TK#d#");
    expect_udid("UDID_TOKEN = ;", "d");
    expect_udid("UDID_TOKEN =", "d");
    expect_udid("UDID_TOKEN = x", "d");
    expect_udid("", "d");
    expect_udid("UDID_TOKEN = one;\nUDID_TOKEN = two;", "#UDID#two#d#");
    expect_udid("UDID_TOKEN = one;\nUDID_TOKEN = ;", "d");
}

CONFORMANCE_TEST("config.text.global-keys-anywhere",
                 "MOUNT_PATH, MOUNT_BEHAVIOR and UDID_TOKEN count wherever they stand, without a message.") {
    for (const char *config :
         {"UDID_TOKEN = T;\nMOUNT_PATH = /mnt/sim;\nMOUNT_BEHAVIOR = SUCCESS;\nENCLOSURE = g;\nDISKS = d;\n",
          "ENCLOSURE = g;\nMOUNT_PATH = /mnt/sim;\nUDID_TOKEN = T;\nMOUNT_BEHAVIOR = SUCCESS;\nDISKS = d;\n",
          "DISKGROUP = x;\nUDID_TOKEN = T;\nMOUNT_PATH =\nENCLOSURE = g;\nDISKS = d;\n"}) {
        expect_texts("identifiers", list_volumes(array(config), "g"), {"#UDID#T#d#"});
        expect_text("standard output", take_output(), "");
    }
}

CONFORMANCE_TEST("config.read-at-open", "Each open reads the file afresh; an open server keeps what it read.") {
    const auto first = array("ENCLOSURE = a;\nHOSTS = h;\n");
    const auto second = array("ENCLOSURE = b;\nHOSTS = h;\n");
    expect_status(status_of(first, "a"), 0);
    expect_status(status_of(first, "b"), STS_E_NO_SERVER);
    expect_status(status_of(second, "b"), 0);
    expect_status(status_of(second, "a"), STS_E_NO_SERVER);
}

CONFORMANCE_TEST("config.example", "The example of both section kinds with all keys reads as it should.") {
    const auto handle = array(
        "DISKGROUP = dg1;\n\tDISKS = d1,d2;\n\tHOSTS = hostA,hostB;\n\tVOLUMES = vol1,vol2;\n\tDISK_SIZE = 10G;\n"
        "\tVOLUME_SIZE = 512M;\n\tSTORAGE_DIR = /var/tmp/dg1;\n\nENCLOSURE = enc1;\n\tDISKS = e1,e2;\n\tHOSTS = "
        "hostA;\n"
        "\tSTORAGE_DIR = /var/tmp/enc1;\n\tDISK_SIZE = 2T;\n\nMOUNT_PATH = /mnt/sim;\nMOUNT_BEHAVIOR = SUCCESS;\n"
        "UDID_TOKEN = tok1;\n");
    expect_text("properties", properties(handle, "enc1"), "VolumeCount=2;StorelCount=2;Hosts=hostA");
    expect_number("capacity", capacity(handle, "enc1"), 2 * 2199023255552ULL);
    expect_texts("identifiers", list_volumes(handle, "enc1"), {"#UDID#tok1#e1#", "#UDID#tok1#e2#"});
    expect_text("standard output", take_output(), "");
}

}  // namespace conformance
