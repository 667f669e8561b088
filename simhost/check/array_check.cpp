#include "simhost/check/array_check.h"

#include <fmt/format.h>

#include "simhost/check/line_check.h"
#include "simhost/check/pool_check.h"
#include "simhost/check/repeated_key.h"
#include "base/nearest_word.h"

namespace {

const std::vector<std::string> &array_keys() {
    static const std::vector<std::string> keys = {"DISKGROUP",   "ENCLOSURE",      "HOSTS",       "DISKS",
                                                  "VOLUMES",     "DISK_SIZE",      "VOLUME_SIZE", "MOUNT_PATH",
                                                  "STORAGE_DIR", "MOUNT_BEHAVIOR", "UDID_TOKEN"};
    return keys;
}

const std::vector<std::string> &failing_mount_behaviors() {
    static const std::vector<std::string> words = {"INVALID_FILESYS",           "ALREADY_MOUNTED",
                                                   "MOUNT_MODE_MISMATCH",       "MAX_READ_MOUNTS_EXCEEDED",
                                                   "MAX_WRITE_MOUNTS_EXCEEDED", "MOUNT_POINT_USED"};
    return words;
}

bool contains(const std::vector<std::string> &words, const std::string &word) {
    for (const std::string &each : words)
        if (each == word)
            return true;
    return false;
}

// Walks the lines as the plug-in's reader does, line by line and section by section.
class ArrayCheck {
public:
    explicit ArrayCheck(Findings &findings) : m_findings(findings) {}

    void read(const ReadLine &line);
    Outline take() { return std::move(m_outline); }

private:
    enum class Section { none, diskgroup, enclosure };

    void read_headless(const ReadLine &line);
    void open_section(const ReadLine &line, const std::string &key, size_t value_begin);
    void read_attribute(const ReadLine &line, const std::string &key, size_t value_begin);
    void read_section_attribute(const ReadLine &line, const std::string &key, size_t value_begin);
    void read_volumes(const ReadLine &line, size_t value_begin);
    void read_mount_behavior(const Value &value);
    void read_unknown(const ReadLine &line, const std::string &key);
    std::vector<PoolOutline> &sections() {
        return m_section == Section::diskgroup ? m_outline.diskgroups : m_outline.pools;
    }
    std::string invalid_line(const ReadLine &line) const {
        return fmt::format("the plug-in prints \"Invalid line: {}\"", line.reader_line);
    }

    Findings &m_findings;
    Outline m_outline;
    Section m_section = Section::none;
    bool m_lost_header = false;  // a header in front of the first section is reported as an unknown key
    SetKeys m_global_keys;
};

void ArrayCheck::read(const ReadLine &line) {
    const size_t equals = line.text.find('=');
    const std::string key = line.text.substr(0, equals);
    if (equals == std::string::npos)
        read_headless(line);
    else if (key == "DISKGROUP" || key == "ENCLOSURE")
        open_section(line, key, equals + 1);
    else if (equals != 0)
        read_attribute(line, key, equals + 1);
    else if (line.begin == 0)
        m_findings.error(Rule::empty_key, line.place(0, 1),
                         "no key stands in front of the '=': the line is passed over");
}

void ArrayCheck::read_headless(const ReadLine &line) {
    const std::string &text = line.text;
    if (text == "DISKGROUP" || text == "ENCLOSURE") {
        m_findings.error(Rule::headless_section, line.place(),
                         fmt::format("this line opens a section with the name {}", quoted(text)),
                         fmt::format("write {} = NAME;", text));
        open_section(line, text, 0);
        return;
    }
    // Of a later piece of an over-long line, and of a byte-order mark, that finding tells already.
    if (text.empty() || line.begin > 0 || line.goes_on || (has_byte_order_mark(line) && text.size() == 3))
        return;
    if (looks_like_comment(text)) {
        m_findings.warning(Rule::comment, line.place(),
                           "there are no comments: this line is passed over because it has no '='");
        return;
    }
    m_findings.error(Rule::no_equals, line.place(), "a line without '=' is passed over", "write KEY = VALUE;");
}

void ArrayCheck::open_section(const ReadLine &line, const std::string &key, size_t value_begin) {
    const bool is_diskgroup = key == "DISKGROUP";
    m_section = is_diskgroup ? Section::diskgroup : Section::enclosure;
    PoolOutline section;
    if (value_begin == 0)
        section.name = {key, line.place()};
    else
        section.name =
            check_name(Value(line, value_begin, ValueKind::name), is_diskgroup ? "disk group" : "pool", m_findings);
    sections().push_back(std::move(section));
}

void ArrayCheck::read_attribute(const ReadLine &line, const std::string &key, size_t value_begin) {
    if (key == "MOUNT_PATH") {
        const Value value(line, value_begin, ValueKind::full_text);
        set_key(m_global_keys, key, value, line.place(), m_findings);
        const std::string text = check_text(value, m_findings);
        if (text.find(';') != std::string::npos)
            m_findings.warning(
                Rule::mount_path_semicolon, value.place(0, text.size()),
                fmt::format("MOUNT_PATH keeps its ';' and is read as {}; nothing uses it", quoted(text)));
    } else if (key == "MOUNT_BEHAVIOR") {
        const Value value(line, value_begin, ValueKind::text);
        set_key(m_global_keys, key, value, line.place(), m_findings);
        read_mount_behavior(value);
    } else if (key == "UDID_TOKEN") {
        const Value value(line, value_begin, ValueKind::text);
        set_key(m_global_keys, key, value, line.place(), m_findings);
        m_outline.udid_token = check_text(value, m_findings);
        if (m_outline.udid_token.empty())
            m_findings.warning(Rule::empty_value, value.place(), "no token: volumes are known by their plain names");
    } else if (!contains(array_keys(), key)) {
        read_unknown(line, key);
    } else {
        read_section_attribute(line, key, value_begin);
    }
}

void ArrayCheck::read_section_attribute(const ReadLine &line, const std::string &key, size_t value_begin) {
    const Place key_place = line.place(0, key.size());
    if (m_section == Section::none) {
        const bool is_printed = key == "VOLUMES";
        if (is_printed)
            m_outline.invalid_lines.push_back(line.reader_line);
        if (m_lost_header)
            return;
        m_findings.error(Rule::key_outside_section, key_place,
                         fmt::format("{} stands before the first section and has no effect{}", key,
                                     is_printed ? "; " + invalid_line(line) : ""));
        return;
    }
    if (key == "VOLUMES")
        return read_volumes(line, value_begin);
    PoolOutline &section = sections().back();
    if (key == "DISKS") {
        for (const ListedName &disk :
             check_directory_names(Value(line, value_begin, ValueKind::list), "disk", m_findings))
            section.disks.push_back(disk);
    } else if (key == "HOSTS") {
        const Value value(line, value_begin, ValueKind::list);
        set_key(section.keys, key, value, line.place(), m_findings);
        section.hosts = check_names(value, "host", m_findings);
        section.has_hosts = true;
    } else if (key == "STORAGE_DIR") {
        const Value value(line, value_begin, ValueKind::text);
        set_key(section.keys, key, value, line.place(), m_findings);
        section.storage_dir = check_text(value, m_findings);
        if (section.storage_dir.empty())
            m_findings.warning(Rule::empty_value, value.place(),
                               fmt::format("no directory: /tmp/{} is used", section.name.name));
        else if (section.storage_dir[0] != '/')
            m_findings.warning(Rule::relative_path, value.place(),
                               "this directory depends on where the process that loads the plug-in runs",
                               "begin the path with '/'");
    } else if (key == "VOLUME_SIZE" && m_section == Section::enclosure) {
        m_findings.error(Rule::volume_size_in_enclosure, line.place(),
                         "VOLUME_SIZE has no effect in an enclosure, whose volumes have the size of its disks",
                         "use DISK_SIZE");
    } else {
        const Value value(line, value_begin, ValueKind::size);
        set_key(section.keys, key, value, line.place(), m_findings);
        const uint64_t size = check_size(value, m_findings);
        if (key == "DISK_SIZE")
            section.disk_size = size;
    }
}

void ArrayCheck::read_volumes(const ReadLine &line, size_t value_begin) {
    const bool has_diskgroup = !m_outline.diskgroups.empty();
    if (m_section == Section::enclosure) {
        m_findings.error(Rule::volumes_in_enclosure, line.place(),
                         has_diskgroup
                             ? fmt::format("VOLUMES goes to the disk group opened last, {}, not to this enclosure",
                                           quoted(m_outline.diskgroups.back().name.name))
                             : fmt::format("VOLUMES has no effect in an enclosure; {}", invalid_line(line)),
                         "an enclosure's disks are its volumes: take the line away");
        if (!has_diskgroup)
            m_outline.invalid_lines.push_back(line.reader_line);
    }
    if (!has_diskgroup)
        return;
    for (const ListedName &volume :
         check_directory_names(Value(line, value_begin, ValueKind::list), "volume", m_findings))
        m_outline.diskgroups.back().volumes.push_back(volume);
}

void ArrayCheck::read_mount_behavior(const Value &value) {
    const std::string word = m_outline.mount_behavior = check_text(value, m_findings);
    const bool is_cut_success = value.text() == "SUCCESS";  // without a ';', as is reported there
    if (word == "SUCCESS" || is_cut_success)
        return;
    if (contains(failing_mount_behaviors(), word)) {
        m_findings.warning(Rule::mount_fails, value.place(), fmt::format("with {} every mount fails", word));
        return;
    }
    std::vector<std::string> words = failing_mount_behaviors();
    words.push_back("SUCCESS");
    const std::string nearest = nearest_word(value.said(), words);
    m_findings.error(Rule::unknown_mount_behavior, value.place(),
                     fmt::format("unknown mount behaviour {}: every mount fails", quoted(word)),
                     nearest.empty() || nearest == word ? "" : fmt::format("did you mean {}?", nearest));
}

void ArrayCheck::read_unknown(const ReadLine &line, const std::string &key) {
    m_outline.invalid_lines.push_back(line.reader_line);
    if (has_byte_order_mark(line))
        m_lost_header = true;
    if (line.begin > 0 || has_byte_order_mark(line))
        return;
    if (looks_like_comment(line.text)) {
        m_findings.warning(Rule::comment, line.place(),
                           fmt::format("there are no comments: {} for this line", invalid_line(line)));
        return;
    }
    const std::string nearest = nearest_word(key, array_keys());
    m_lost_header = m_lost_header || nearest == "ENCLOSURE" || nearest == "DISKGROUP";
    std::string help;
    if (!nearest.empty())
        help = fmt::format("did you mean {}?", nearest);
    else if (key == "STORAGE_SERVER")
        help = "STORAGE_SERVER belongs into the file of a Copan array";
    m_findings.error(Rule::unknown_key, line.place(0, key.size()),
                     fmt::format("unknown key {}: the line is dropped; {}", quoted(key), invalid_line(line)), help);
}

bool has_key(const SourceText &source, const std::string &key) {
    for (const ReadLine &line : source.read_lines())
        if (line.text.compare(0, key.size() + 1, key + "=") == 0)
            return true;
    return false;
}

}  // namespace

Outline check_array(const SourceText &source, Findings &findings) {
    Findings found;
    check_lines(source, found);
    ArrayCheck check(found);
    for (const ReadLine &line : source.read_lines())
        check.read(line);
    Outline outline = check.take();
    outline.grammar = Grammar::array;
    check_pools(outline, found);
    // All that is then wrong with the file is its name.
    if (outline.pools.empty() && outline.diskgroups.empty() && has_key(source, "STORAGE_SERVER")) {
        findings.error(Rule::wrong_grammar, {}, "this is the file of a Copan array, but is to serve a disk array",
                       "give it a name of its own, such as copan.sim, or check it with --as copan");
        return outline;
    }
    findings = std::move(found);
    return outline;
}
