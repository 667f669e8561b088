// The disk array's configuration: what is read keeps its rules, and what is written reads back.
#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>

#include "sim/config_reader.h"
#include "sim/orv_sim_storage_server.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/memory_files.h"

namespace {

// Lists of a written file stay on one line, which the reader takes whole only up to its line size.
constexpr size_t longest_round_trip = 900;

void check(const NameList *names) {
    EXPECT(names != nullptr);
    for (size_t i = 0; i < names->size(); ++i)
        EXPECT(is_name(c_text((*names)[i])));
}

void check(HostSet *hosts) {
    if (hosts == nullptr)
        return;
    size_t count = 0;
    for (auto entry = hosts->begin(); entry != hosts->end(); ++entry, ++count) {
        EXPECT(is_name(c_text((*entry).ext_id_)));
        EXPECT((*entry).int_id_ == 1);
        EXPECT(hosts->find((*entry).ext_id_) == 0);
    }
    EXPECT(count == hosts->current_size());
}

// The non-blank bytes of a line before its first '=' (the whole line without one).
std::string key_of(std::string line) {
    line.erase(std::remove_if(line.begin(), line.end(), [](unsigned char byte) { return std::isspace(byte) != 0; }),
               line.end());
    return line.substr(0, line.find('='));
}

// The header lines of a text without NULs and overlong lines.
void count_headers(const std::string &text, size_t &diskgroups, size_t &enclosures) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        diskgroups += key_of(line) == "DISKGROUP" ? 1 : 0;
        enclosures += key_of(line) == "ENCLOSURE" ? 1 : 0;
    }
}

bool is_plain(const std::string &text) {
    if (text.find('\0') != std::string::npos)
        return false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.size() >= 1000)
            return false;
    return true;
}

void check_reading(const std::string &text) {
    DiskGroupTable diskgroups(10);
    EnclosureTable enclosures(5);
    Name mount_path;
    Name mount_behavior("SUCCESS");
    Name udid_token;
    FILE *file = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    read_disk_array(file, diskgroups, enclosures, {mount_path, mount_behavior, udid_token});
    std::fclose(file);

    EXPECT(diskgroups.max_size() == diskgroups.size());
    EXPECT(enclosures.max_size() == enclosures.size());
    if (is_plain(text)) {
        size_t diskgroup_headers = 0;
        size_t enclosure_headers = 0;
        count_headers(text, diskgroup_headers, enclosure_headers);
        EXPECT(diskgroups.size() == diskgroup_headers);
        EXPECT(enclosures.size() == enclosure_headers);
    }
    for (size_t i = 0; i < diskgroups.size(); ++i) {
        EXPECT(is_name(c_text(diskgroups[i].name)));
        check(diskgroups[i].disks);
        check(diskgroups[i].volumes);
        check(diskgroups[i].hosts);
        release_lists(diskgroups[i]);
    }
    for (size_t i = 0; i < enclosures.size(); ++i) {
        EXPECT(enclosures[i].name == enclosures[i].label);
        check(enclosures[i].disks);
        check(enclosures[i].hosts);
        release_lists(enclosures[i]);
    }
}

// The file after reading and writing it again.
std::string rewritten(const std::string &text) {
    set_memory_file(text);
    OrvSimStorageServer("lab1:array1").sync();
    return memory_file();
}

// Hosts turn round on every way through, and an empty name at the end of a list is lost on its second: from the third
// text on, every other one is the same.
void check_round_trip(const std::string &text) {
    const std::string third = rewritten(rewritten(rewritten(text)));
    EXPECT(rewritten(rewritten(third)) == third);
}

// As the array of the plug-in's own prefix: every pool has as many volumes as disks, and questions do no harm.
void check_questions(const std::string &text) {
    set_memory_file(text);
    OrvSimStorageServer array("Kelvarpool:array1");
    NameList host(1);
    host[0] = "h1";
    for (const bool match_any : {false, true}) {
        const std::unique_ptr<DiskGroupTable> pools(array.getPoolLSUList(&host, match_any));
        for (size_t i = 0; i < pools->size(); ++i) {
            const diskgroup_t *group = array.getPoolLSUInfo(c_text((*pools)[i].name));
            EXPECT(group != nullptr);
            EXPECT(name_count(group->disks) == name_count(group->volumes));
            EXPECT(group->volume_size == group->disk_size);
            for (size_t disk = 0; disk < name_count(group->disks); ++disk) {
                const Name udid = array.getUDID((*group->disks)[disk]);
                const std::unique_ptr<DynamicLSUInfo> info(array.getDynamicLSUInfo(c_text(udid), nullptr));
                EXPECT(info != nullptr);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::cout.setstate(std::ios::failbit);  // the reader reports what it does not understand
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = text_of(data, size);
    check_reading(text);
    // The costly checks on a part of the inputs, chosen by their content.
    uint32_t sum = 0;
    for (size_t i = 0; i < size; ++i)
        sum = sum * 31 + data[i];
    if (sum % 16 == 0 && size <= longest_round_trip)
        check_round_trip(text);
    if (sum % 16 == 1)
        check_questions(text);
    return 0;
}
