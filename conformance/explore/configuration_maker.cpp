#include "conformance/explore/configuration_maker.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace conformance {

namespace {

using Texts = std::vector<std::string>;

const Texts pool_ends = {"1", "2", "3", ""};
const Texts disk_names = {
    "d1", "d2", "d3", "D1", "disk-4.x_y", "d1d1d1d1d1d1d1d1d1d1d1d1d1d1d1d", "d1d1d1d1d1d1d1d1d1d1d1d1d1d1d1d1",
    "0",  "-"};
const Texts host_names = {"h1",
                          "h2",
                          "h3",
                          "H1",
                          "media.lab",
                          "node1",
                          "hhhhhhhhhhhhhhhhhhhhhhhhhhhhhhh",
                          "hhhhhhhhhhhhhhhhhhhhhhhhhhhhhhhh"};
const Texts array_names = {"arr1", "arr1.lab", "arr2", "ARR1", "arr1.lab.x", "arr", "a-1_b"};
const Texts lsu_names = {
    "vol1", "vol2", "VOL1", "v.1", "v-1_x", "vol1vol1vol1vol1vol1vol1vol1vol", "vol1vol1vol1vol1vol1vol1vol1vol1"};
const Texts sizes = {"100;",
                     "10G;",
                     "2T;",
                     "3P;",
                     "7k;",
                     "7K;",
                     "9m;",
                     "9M;",
                     "1g;",
                     "1.5G;",
                     "5B;",
                     "5X;",
                     "-1K;",
                     "-7;",
                     "3000000000;",
                     "99999999999999999999;",
                     "-99999999999999999999;",
                     "4294967296;",
                     "4294967297M;",
                     "2147483648;",
                     "0x10G;",
                     "010;",
                     "G;",
                     ";",
                     "",
                     "1",
                     "10G",
                     "+5;",
                     "5GB;",
                     "5G ;",
                     "257;",
                     "65537;",
                     "1K",
                     "8p;",
                     "1t;"};
const Texts behaviors = {"SUCCESS;",
                         "SUCCESS",
                         "success;",
                         "INVALID_FILESYS;",
                         "ALREADY_MOUNTED;",
                         "MOUNT_MODE_MISMATCH;",
                         "MAX_READ_MOUNTS_EXCEEDED;",
                         "MAX_WRITE_MOUNTS_EXCEEDED;",
                         "MOUNT_POINT_USED;",
                         "SUCCESSFUL;",
                         ";",
                         "",
                         "SUCCESS;;"};
const Texts storages = {"{work}/s1;", "{work}/s2;", "{work}/s1/deep;", "{work}/f;",  "{work}/f/x;",
                        "rel;",       "{work}/s1",  "{work}/s1//;",    "{work}/s;x;"};
const Texts odd_lines = {"\n",
                         " \t\n",
                         "FOO = 1;\n",
                         "FOO\n",
                         "#comment\n",
                         "# a = b\n",
                         "=x;\n",
                         "disks = d9;\n",
                         "Disks = d9;\n",
                         "DISKS\n",
                         "DISKGROUP\n",
                         "MOUNT_PATH = /mnt;\n",
                         "VOLUME_SIZE = 1G;\n",
                         "VOLUMES = v1,v2;\n",
                         "\357\273\277FOO = 1;\n",
                         "FOO == 1;\n",
                         "DISKSX = 1;\n",
                         "DISK = d1;\n",
                         "STORAGE_SERVER = arr1;\n",
                         "UDID_TOKEN = ;\n",
                         "\r\n",
                         "FOO=1;\r\n",
                         "HOST = h1;\n"};
const Texts name_ends = {";", ";", ";", ";", ";", "", "#x;", ";;", " ;", ",x;", "/;", ":;"};

std::string listed(Chance &chance, const Texts &from, Texts &known, size_t most) {
    std::string text;
    const size_t count = chance.below(most + 1);
    for (size_t i = 0; i < count; ++i) {
        const std::string &name = chance.pick(from);
        known.push_back(name.substr(0, 31));
        text += name;
        if (chance.one_in(12))
            text += chance.pick(Texts{"#x", " ", "/", ":", "\xc3\xa4"});
        text += chance.one_in(15) ? ",," : chance.one_in(3) ? ", " : ",";
    }
    if (!text.empty() && !chance.one_in(10))
        text.erase(text.find_last_not_of(", ") + 1);
    if (chance.one_in(30))
        text += ",#y";
    return text + (chance.one_in(12) ? "" : ";");
}

std::string line(Chance &chance, const std::string &key, const std::string &value) {
    static const Texts forms = {"\t{} = {}\n", "{}={}\n", "  {}\t= {}\n", "{} ={}\r\n", "\v{} = {} \n"};
    const size_t form = chance.one_in(4) ? chance.below(forms.size()) : 0;
    return fmt::format(fmt::runtime(forms[form]), key, value);
}

void add_odd_line(Chance &chance, Lines &lines) {
    if (chance.one_in(6))
        lines.push_back(chance.pick(odd_lines));
    if (chance.one_in(80))
        lines.push_back(fmt::format("FOO{} = 1;\n", std::string(900 + chance.below(300), ' ')));
    if (chance.one_in(80))
        lines.push_back(fmt::format("\tDISKS = {};\n", std::string(1000 + chance.below(60), 'd')));
}

void add_attributes(Chance &chance, KnownNames &names, Lines &lines) {
    if (!chance.one_in(8))
        lines.push_back(line(chance, "DISKS", listed(chance, disk_names, names.disks, 4)));
    if (!chance.one_in(8))
        lines.push_back(line(chance, "HOSTS", listed(chance, host_names, names.hosts, 3)));
    if (!chance.one_in(4))
        lines.push_back(line(chance, "DISK_SIZE",
                             chance.one_in(2)
                                 ? chance.pick(sizes)
                                 : fmt::format("{}{};", chance.bits() >> chance.below(64),
                                               chance.pick(Texts{"", "K", "M", "G", "T", "P", "k", "g"}))));
    if (!chance.one_in(5))
        lines.push_back(line(chance, "STORAGE_DIR", chance.one_in(3) ? chance.pick(storages) : "{work}/s1;"));
    if (chance.one_in(6))
        lines.push_back(line(chance, "HOSTS", listed(chance, host_names, names.hosts, 3)));
    if (chance.one_in(6))
        lines.push_back(line(chance, "DISKS", listed(chance, disk_names, names.disks, 3)));
    if (chance.one_in(10))
        lines.push_back(line(chance, "DISK_SIZE", chance.pick(sizes)));
    if (chance.one_in(10))
        lines.push_back(line(chance, "VOLUMES", listed(chance, disk_names, names.disks, 2)));
    add_odd_line(chance, lines);
}

void lose_last_newline(Chance &chance, Lines &lines) {
    if (!lines.empty() && chance.one_in(8) && lines.back().back() == '\n')
        lines.back().pop_back();
}

}  // namespace

Lines disk_array_file(Chance &chance, KnownNames &names) {
    Lines lines;
    add_odd_line(chance, lines);
    const size_t sections = chance.one_in(30) ? 4 + chance.below(20) : chance.below(4);
    for (size_t i = 0; i < sections; ++i) {
        const std::string name = "{own}" + chance.pick(pool_ends);
        names.pools.push_back(name);
        const std::string key = chance.one_in(6) ? "DISKGROUP" : "ENCLOSURE";
        if (chance.one_in(40))
            lines.push_back(key + "\n");
        else
            lines.push_back(fmt::format("{} = {}{}{}\n", key, name,
                                        chance.one_in(40) ? "xxxxxxxxxxxxxxxxxxxxxxxxx" : "", chance.pick(name_ends)));
        add_attributes(chance, names, lines);
    }
    if (chance.one_in(4))
        lines.push_back(line(chance, "MOUNT_BEHAVIOR", chance.one_in(3) ? "SUCCESS;" : chance.pick(behaviors)));
    if (chance.one_in(3)) {
        names.token = chance.pick(Texts{"T", "KP1", "t#k", "T=1", "long-token-of-this-array"});
        lines.push_back(line(chance, "UDID_TOKEN", names.token + (chance.one_in(6) ? "" : ";")));
    }
    if (chance.one_in(8) && !lines.empty())
        std::rotate(lines.begin(), lines.end() - 1, lines.end());
    if (chance.one_in(12) && lines.size() > 1)
        std::swap(lines[chance.below(lines.size())], lines[chance.below(lines.size())]);
    lose_last_newline(chance, lines);
    return lines;
}

Lines copan_file(Chance &chance, KnownNames &names) {
    Lines lines;
    const auto odd = [&] {
        if (chance.one_in(8))
            lines.push_back(chance.pick(
                Texts{"\n", "FOO = 1;\n", "VOLUMES = v9;\n", " \n", "\r\n", "#x = 1\n", "storage_server = arr1;\n"}));
        if (chance.one_in(40))
            lines.push_back(chance.pick(Texts{"#comment\n", "STORAGE_SERVER\n", "x\n"}));
    };
    odd();
    const size_t sections = 1 + chance.below(3);
    for (size_t i = 0; i < sections; ++i) {
        const std::string &name = chance.one_in(2) ? array_names.front() : chance.pick(array_names);
        names.arrays.push_back(name);
        lines.push_back(line(chance, "STORAGE_SERVER", name + chance.pick(name_ends)));
        odd();
        if (!chance.one_in(8))
            lines.push_back(line(chance, "VOLUMES", listed(chance, lsu_names, names.lsus, 4)));
        if (!chance.one_in(8))
            lines.push_back(line(chance, "STORAGE_DIR", chance.one_in(3) ? chance.pick(storages) : "{work}/cop;"));
        if (chance.one_in(8))
            lines.push_back(line(chance, "STORAGE_DIR", chance.pick(storages)));
        if (chance.one_in(8))
            lines.push_back(line(chance, "VOLUMES", listed(chance, lsu_names, names.lsus, 2)));
        odd();
    }
    lose_last_newline(chance, lines);
    return lines;
}

std::string nearly(Chance &chance, const std::string &name) {
    std::string text = name;
    switch (chance.below(9)) {
        case 0:
            return text + chance.pick(Texts{"x", " ", ".", "/", ";", ".lab", "\xc3\xa4", "\t", "0"});
        case 1:
            return chance.pick(Texts{" ", "x", "/", "\xef\xbb\xbf", "."}) + text;
        case 2:
            if (!text.empty())
                text.pop_back();
            return text;
        case 3:
            for (char &byte : text)
                byte = static_cast<char>(std::isupper(static_cast<unsigned char>(byte)) != 0
                                             ? std::tolower(static_cast<unsigned char>(byte))
                                             : std::toupper(static_cast<unsigned char>(byte)));
            return text.find("{OWN}") == std::string::npos && text.find("{WORK}") == std::string::npos ? text : name;
        case 4:
            return text + text;
        case 5:
            return long_text(chance);
        case 6:
            return text + ":" + text;
        case 7:
            return "";
        default:
            return text + std::string(chance.below(40), 'x');
    }
}

std::string long_text(Chance &chance) {
    static const std::vector<size_t> lengths = {31, 32, 63, 64, 127, 128, 255, 256, 511, 512, 513, 1000, 1022, 1023};
    std::string text;
    const size_t length = chance.pick(lengths);
    for (size_t i = 0; text.size() < length; ++i)
        text += static_cast<char>('a' + i % 26);
    return text;
}

}  // namespace conformance
