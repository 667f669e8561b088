#include "sim/config_reader.h"

#include <algorithm>
#include <memory>
#include <string>

#include "base/invariant.h"
#include "sim/array_size.h"
#include "sim/name_lists.h"
#include "sim/parse_size.h"
#include "sim/readline.h"
#include "sim/standard_output.h"

namespace {

constexpr int line_size = 1024;
constexpr uint64_t default_volume_size = 104857600;

// A table is doubled by every header past this many sections, not only when it is full ...
constexpr size_t diskgroup_threshold = 9;
constexpr size_t enclosure_threshold = 4;
// ... until it has this many slots: from there on it grows only when it is full, since doubling at every header would
// ask for gigabytes at thirty sections.
constexpr size_t generous_limit = 20480;

// Room for one section more than the used ones.
template <class Table>
void grow(Table &table, size_t used, size_t threshold) {
    const bool is_full = used >= table.size();
    if (is_full || (used + 1 > threshold && table.size() < generous_limit))
        resize(table, std::max<size_t>(1, 2 * table.size()));
}

// Appends the names of a list value.
void append(NameList &names, const char *value) {
    const std::unique_ptr<NameList> added(tokenize(value, ","));
    const size_t old_size = names.size();
    const size_t new_size = old_size + added->size();
    // Room is doubled, so that a section of many lines is read in time that grows with its length, not faster.
    if (new_size > names.max_size())
        resize(names, std::max(new_size, 2 * names.max_size()));
    resize(names, new_size);
    for (size_t i = 0; i < added->size(); ++i)
        if (names.set((*added)[i], old_size + i) != 0)
            print_line("array out of bound");
}

// The value without its last character, normally the ';': a NUL takes its place and the length stays.
Name text_value(const char *value) {
    Name text(value);
    if (text.length() != 0)  // an empty ACE string shares its one byte with every other empty one
        text[text.length() - 1] = '\0';
    return text;
}

class Reader {
public:
    Reader(DiskGroupTable &diskgroups, EnclosureTable &enclosures, const GlobalSettings &globals)
        : m_diskgroups(diskgroups), m_enclosures(enclosures), m_globals(globals) {}

    void read(FILE *file);

private:
    enum class Section { none, diskgroup, enclosure };

    void read_line(const std::string &line);
    void open_diskgroup(const char *name);
    void open_enclosure(const char *name);
    bool set_attribute(const std::string &key, const char *value);
    void set_hosts(const char *value);
    void add_disks(const char *value);
    bool add_volumes(const char *value);
    void set_disk_size(const char *value);
    void set_volume_size(const char *value);
    void set_storage_dir(const char *value);
    diskgroup_t &current_diskgroup() { return m_diskgroups[m_diskgroup_count - 1]; }
    enclosure_t &current_enclosure() { return m_enclosures[m_enclosure_count - 1]; }

    DiskGroupTable &m_diskgroups;
    EnclosureTable &m_enclosures;
    GlobalSettings m_globals;
    Section m_section = Section::none;
    size_t m_diskgroup_count = 0;
    size_t m_enclosure_count = 0;
    unsigned long m_line_number = 0;
};

void Reader::read(FILE *file) {
    char line[line_size];
    while (readline(line, line_size, file) != nullptr) {
        ++m_line_number;
        read_line(line);
    }
    cut(m_diskgroups, m_diskgroup_count);
    cut(m_enclosures, m_enclosure_count);
    STS_INVARIANT(m_diskgroups.size() == m_diskgroup_count && m_enclosures.size() == m_enclosure_count);
}

void Reader::read_line(const std::string &line) {
    const size_t equals = line.find('=');
    const bool is_attribute = equals != std::string::npos && equals != 0;
    // Without '=' the whole line is both key and value, so that a bare header still opens a section.
    const std::string key = line.substr(0, equals);
    const char *value = line.c_str() + (equals == std::string::npos ? 0 : equals + 1);

    if (key == "DISKGROUP")
        open_diskgroup(value);
    else if (key == "ENCLOSURE")
        open_enclosure(value);
    else if (is_attribute && !set_attribute(key, value))
        print_line("Invalid line: " + std::to_string(m_line_number));
}

void Reader::open_diskgroup(const char *name) {
    grow(m_diskgroups, m_diskgroup_count, diskgroup_threshold);
    STS_INVARIANT(m_diskgroup_count < m_diskgroups.size());
    diskgroup_t &group = m_diskgroups[m_diskgroup_count++];
    group.name = purified_name(name);
    group.disks = new NameList;
    group.volumes = new NameList;
    group.volume_size = default_volume_size;
    m_section = Section::diskgroup;
}

void Reader::open_enclosure(const char *name) {
    grow(m_enclosures, m_enclosure_count, enclosure_threshold);
    // The disk groups grow along: for a file whose enclosures become disk groups, the room is needed there.
    if (m_enclosure_count + 1 > enclosure_threshold)
        grow(m_diskgroups, m_diskgroup_count, 0);
    STS_INVARIANT(m_enclosure_count < m_enclosures.size());
    enclosure_t &enclosure = m_enclosures[m_enclosure_count++];
    enclosure.name = purified_name(name);
    enclosure.label = enclosure.name;
    enclosure.disks = new NameList;
    m_section = Section::enclosure;
}

bool Reader::set_attribute(const std::string &key, const char *value) {
    if (key == "HOSTS")
        set_hosts(value);
    else if (key == "DISKS")
        add_disks(value);
    else if (key == "VOLUMES")
        return add_volumes(value);
    else if (key == "DISK_SIZE")
        set_disk_size(value);
    else if (key == "VOLUME_SIZE")
        set_volume_size(value);
    else if (key == "MOUNT_PATH")
        m_globals.mount_path = value;  // with its ';', on purpose, unlike the other texts
    else if (key == "STORAGE_DIR")
        set_storage_dir(value);
    else if (key == "MOUNT_BEHAVIOR")
        m_globals.mount_behavior = text_value(value);
    else if (key == "UDID_TOKEN")
        m_globals.udid_token = text_value(value);
    else
        return false;
    return true;
}

void Reader::set_hosts(const char *value) {
    std::unique_ptr<HostSet> hosts(tokenize_to_map(value, ","));
    if (m_section == Section::none)
        return;
    HostSet *&target = m_section == Section::diskgroup ? current_diskgroup().hosts : current_enclosure().hosts;
    delete target;
    target = hosts.release();
}

void Reader::add_disks(const char *value) {
    if (m_section == Section::diskgroup)
        append(*current_diskgroup().disks, value);
    else if (m_section == Section::enclosure)
        append(*current_enclosure().disks, value);
}

bool Reader::add_volumes(const char *value) {
    // Volumes belong to the last disk group opened, even while an enclosure is the current section.
    if (m_diskgroup_count == 0)
        return false;
    append(*current_diskgroup().volumes, value);
    return true;
}

void Reader::set_disk_size(const char *value) {
    if (m_section == Section::diskgroup)
        current_diskgroup().disk_size = parse_size(value);
    else if (m_section == Section::enclosure)
        current_enclosure().disk_size = parse_size(value);
}

void Reader::set_volume_size(const char *value) {
    if (m_section == Section::diskgroup)
        current_diskgroup().volume_size = parse_size(value);
}

void Reader::set_storage_dir(const char *value) {
    if (m_section == Section::diskgroup)
        current_diskgroup().storage_dir = text_value(value);
    else if (m_section == Section::enclosure)
        current_enclosure().storage_dir = text_value(value);
}

}  // namespace

void read_disk_array(FILE *file, DiskGroupTable &diskgroups, EnclosureTable &enclosures,
                     const GlobalSettings &globals) {
    Reader(diskgroups, enclosures, globals).read(file);
}
