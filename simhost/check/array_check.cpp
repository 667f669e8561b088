#include "simhost/check/array_check.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <optional>

#include "base/nearest_word.h"
#include "simhost/check/key_suggestion.h"
#include "simhost/check/line_check.h"
#include "simhost/check/list_check.h"
#include "simhost/check/pool_check.h"
#include "simhost/check/repeated_key.h"
#include "simhost/check/text_check.h"

namespace {

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
    // Judges what only the last line of a key decides.
    void finish();
    bool has_copan_sections() const { return m_has_copan_sections; }
    Outline take() { return std::move(m_outline); }

private:
    enum class Section { none, diskgroup, enclosure };

    void read_headless(const ReadLine &line);
    void open_section(const ReadLine &line, const std::string &key, size_t value_begin);
    void read_attribute(const ReadLine &line, const std::string &key, size_t value_begin);
    void read_section_attribute(const ReadLine &line, const std::string &key, size_t value_begin);
    void read_volumes(const ReadLine &line, size_t value_begin);
    void set_global(const std::string &key, const ReadLine &line, const Value &value, std::optional<ReadLine> &last);
    void check_mount_behavior(const Value &value);
    void check_udid_token(const Value &value);
    void read_unknown(const ReadLine &line, const std::string &key);
    // Reports a line that is no header, but meant as one: what stands below it then belongs elsewhere.
    void lose_header(Rule rule, const Place &place, const std::string &text, const std::string &help,
                     std::vector<Edit> edits);
    void set_section_key(const ReadLine &line, const std::string &key, const Value &value);
    KeyContext context() const;
    std::vector<PoolOutline> &sections() {
        return m_section == Section::diskgroup ? m_outline.diskgroups : m_outline.pools;
    }
    std::string invalid_line(const ReadLine &line) const {
        return fmt::format("the plug-in prints \"Invalid line: {}\"", line.reader_line);
    }

    Findings &m_findings;
    Outline m_outline;
    Section m_section = Section::none;
    bool m_lost_header = false;  // what was meant as the last header is reported as something else
    bool m_has_copan_sections = false;
    SetKeys m_global_keys;
    std::optional<ReadLine> m_mount_behavior;  // the last line of it
    std::optional<ReadLine> m_udid_token;
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
    else if (line.begin == 0 && looks_like_comment(line))
        m_findings.warning(Rule::comment, line.place(),
                           "there are no comments: this line is passed over because no key stands in front of its '='");
    else if (line.begin == 0)
        m_findings.error(Rule::empty_key, line.place(0, 1),
                         "no key stands in front of the '=': the line is passed over");
}

void ArrayCheck::read_headless(const ReadLine &line) {
    const std::string &text = line.text;
    if (text == "DISKGROUP" || text == "ENCLOSURE") {
        m_findings.error(Rule::headless_section, line.place(),
                         fmt::format("this line opens a section with the name {}", in_apostrophes(text)),
                         fmt::format("write {} = NAME;", text));
        open_section(line, text, 0);
        return;
    }
    // Of a later piece of an over-long line, and of a byte-order mark, that finding tells already.
    if (text.empty() || line.begin > 0 || (line.goes_on && !is_passed_over(line)) ||
        (has_byte_order_mark(line) && text.size() == 3))
        return;
    if (looks_like_comment(line)) {
        m_findings.warning(Rule::comment, line.place(),
                           "there are no comments: this line is passed over because it has no '='");
        return;
    }
    for (const std::string header : {"ENCLOSURE", "DISKGROUP"}) {
        if (text.compare(0, header.size(), header) != 0 || text.size() == header.size() + 1)
            continue;
        const size_t name_begin = header.size() + (text[header.size()] == ':' ? 1 : 0);
        const std::string name = text.substr(name_begin, text.find(';') - name_begin);
        lose_header(Rule::no_equals, line.place(), "a line without '=' is passed over",
                    help_to_write(fmt::format("ENCLOSURE = {};", name)), {});
        return;
    }
    m_findings.error(Rule::no_equals, line.place(), "a line without '=' is passed over", "write KEY = VALUE;");
}

void ArrayCheck::lose_header(Rule rule, const Place &place, const std::string &text, const std::string &help,
                             std::vector<Edit> edits) {
    m_lost_header = true;
    m_outline.has_lost_header = true;
    const std::string where =
        m_section == Section::none
            ? "the lines below it have no effect"
            : fmt::format("the lines below it go to {} {}", m_section == Section::enclosure ? "pool" : "disk group",
                          in_apostrophes(sections().back().name.name));
    m_findings.error(rule, place, fmt::format("{}; {}", text, where), help).edits = std::move(edits);
}

KeyContext ArrayCheck::context() const {
    if (m_section == Section::diskgroup)
        return KeyContext::array_diskgroup;
    return m_section == Section::enclosure ? KeyContext::array_enclosure : KeyContext::array_file;
}

void ArrayCheck::open_section(const ReadLine &line, const std::string &key, size_t value_begin) {
    const bool is_diskgroup = key == "DISKGROUP";
    m_section = is_diskgroup ? Section::diskgroup : Section::enclosure;
    m_lost_header = false;
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
        check_characters(value, m_findings);
        if (text.find(';') != std::string::npos)
            m_findings.warning(
                Rule::mount_path_semicolon, value.place(0, text.size()),
                fmt::format("MOUNT_PATH keeps its ';' and is read as {}; nothing uses it", in_apostrophes(text)));
    } else if (key == "MOUNT_BEHAVIOR") {
        set_global(key, line, Value(line, value_begin, ValueKind::text), m_mount_behavior);
    } else if (key == "UDID_TOKEN") {
        set_global(key, line, Value(line, value_begin, ValueKind::text), m_udid_token);
    } else if (!contains(known_keys(context()), key)) {
        read_unknown(line, key);
    } else {
        read_section_attribute(line, key, value_begin);
    }
}

// What an earlier line says does not count, so only the last one is judged.
void ArrayCheck::set_global(const std::string &key, const ReadLine &line, const Value &value,
                            std::optional<ReadLine> &last) {
    set_key(m_global_keys, key, value, line.place(), m_findings);
    last = line;
}

void ArrayCheck::finish() {
    if (m_mount_behavior)
        check_mount_behavior(Value(*m_mount_behavior, m_mount_behavior->text.find('=') + 1, ValueKind::text));
    if (m_udid_token)
        check_udid_token(Value(*m_udid_token, m_udid_token->text.find('=') + 1, ValueKind::text));
    for (const auto &sections : {&m_outline.diskgroups, &m_outline.pools}) {
        for (const PoolOutline &section : *sections) {
            check_meaning(section.disks, "disk", m_findings);
            check_meaning(section.volumes, "volume", m_findings);
            check_meaning(section.hosts, "host", m_findings);
        }
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
        set_section_key(line, key, value);
        section.hosts = check_names(value, "host", m_findings);
        section.has_hosts = true;
    } else if (key == "STORAGE_DIR") {
        const Value value(line, value_begin, ValueKind::text);
        set_section_key(line, key, value);
        section.storage_dir = check_text(value, m_findings);
        check_characters(value, m_findings);
        if (section.storage_dir.empty())
            m_findings.warning(Rule::empty_value, value.place(),
                               fmt::format("no directory: /tmp/{} is used", section.name.name));
        check_storage_dir(value, section.storage_dir, false, m_findings);
    } else if (key == "VOLUME_SIZE" && m_section == Section::enclosure) {
        m_findings.error(Rule::volume_size_in_enclosure, line.place(),
                         "VOLUME_SIZE has no effect in an enclosure, whose volumes have the size of its disks",
                         "use DISK_SIZE");
    } else {
        const Value value(line, value_begin, ValueKind::size);
        set_section_key(line, key, value);
        const CheckedSize size = check_size(value, m_findings);
        if (key == "DISK_SIZE") {
            section.disk_size = size.bytes;
            section.disk_size_is_as_written = size.is_as_written;
        }
    }
}

// Behind a header that is not understood a second value is no mistake of its own.
void ArrayCheck::set_section_key(const ReadLine &line, const std::string &key, const Value &value) {
    Findings unneeded;
    set_key(sections().back().keys, key, value, line.place(), m_lost_header ? unneeded : m_findings);
}

void ArrayCheck::read_volumes(const ReadLine &line, size_t value_begin) {
    const bool has_diskgroup = !m_outline.diskgroups.empty();
    if (m_section == Section::enclosure) {
        m_findings.error(Rule::volumes_in_enclosure, line.place(),
                         has_diskgroup
                             ? fmt::format("VOLUMES goes to the disk group opened last, {}, not to this enclosure",
                                           in_apostrophes(m_outline.diskgroups.back().name.name))
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

void ArrayCheck::check_udid_token(const Value &value) {
    m_outline.udid_token = check_text(value, m_findings);
    check_characters(value, m_findings);
    if (m_outline.udid_token.empty())
        m_findings.warning(Rule::empty_value, value.place(), "no token: volumes are known by their plain names");
    const size_t slash = m_outline.udid_token.find('/');
    if (slash != std::string::npos)
        m_findings.error(Rule::udid_slash, value.place(slash, slash + 1),
                         "a '/' in the token is one in every identifier: mounts by identifier fail",
                         "use another character");
}

void ArrayCheck::check_mount_behavior(const Value &value) {
    const std::string word = m_outline.mount_behavior = check_text(value, m_findings);
    const bool is_cut_success = value.text() == "SUCCESS";  // without a ';', as is reported there
    if (word == "SUCCESS" || is_cut_success)
        return;
    if (contains(failing_mount_behaviors(), word)) {
        m_findings.warning(Rule::mount_fails, value.place(), fmt::format("with {} every mount fails", word));
        return;
    }
    std::vector<std::string> words = {"SUCCESS"};
    words.insert(words.end(), failing_mount_behaviors().begin(), failing_mount_behaviors().end());
    const std::string nearest = nearest_word(value.said(), words);
    Finding &finding =
        m_findings.error(Rule::unknown_mount_behavior, value.place(),
                         fmt::format("unknown mount behaviour {}: every mount fails", in_apostrophes(word)),
                         nearest.empty()   ? fmt::format("the words are {}", fmt::join(words, ", "))
                         : nearest == word ? ""
                                           : fmt::format("did you mean {}?", nearest));
    if (!nearest.empty() && nearest == in_upper_case(value.said()))
        finding.edits = {{value.place(), nearest}};
}

void ArrayCheck::read_unknown(const ReadLine &line, const std::string &key) {
    m_outline.invalid_lines.push_back(line.reader_line);
    if (has_byte_order_mark(line))
        m_lost_header = true;
    if (line.begin > 0 || has_byte_order_mark(line))
        return;
    const Place place = line.place(0, key.size());
    m_has_copan_sections = m_has_copan_sections || key == "STORAGE_SERVER";
    if (looks_like_comment(line)) {
        m_findings.warning(Rule::comment, line.place(),
                           fmt::format("there are no comments: {} for this line", invalid_line(line)));
        return;
    }
    const std::string visible = visible_key(key);
    if (visible != key && contains(known_keys(context()), visible)) {
        const std::string text = fmt::format(
            "the key holds a character that cannot be seen, which makes it unknown; {}", invalid_line(line));
        const std::vector<Edit> edits = {{place, visible}};
        if (visible == "ENCLOSURE" || visible == "DISKGROUP")
            lose_header(Rule::hidden_character, place, text, "type the key anew", edits);
        else
            m_findings.error(Rule::hidden_character, place, text, "type the key anew").edits = edits;
        return;
    }
    const std::string text =
        fmt::format("unknown key {}: the line is dropped; {}", in_apostrophes(key), invalid_line(line));
    const std::string suggested = suggested_key(key, context());
    if (suggested.empty() && key == "STORAGE_SERVER") {
        m_findings.error(Rule::unknown_key, place, text, "STORAGE_SERVER belongs into the file of a Copan array");
        return;
    }
    const std::string help = suggested.empty() ? keys_help(context()) : fmt::format("did you mean {}?", suggested);
    std::vector<Edit> edits;
    if (suggested == in_upper_case(key))
        edits = {{place, suggested}};
    if (suggested == "ENCLOSURE")
        lose_header(Rule::unknown_key, place, text, help, edits);
    else
        m_findings.error(Rule::unknown_key, place, text, help).edits = edits;
}

}  // namespace

Outline check_array(const SourceText &source, Findings &findings) {
    Findings found;
    LineCheck lines(found);
    ArrayCheck check(found);
    source.for_each_line([&](const ReadLine &line) {
        lines.read(line);
        check.read(line);
    });
    check.finish();
    const bool is_copan = check.has_copan_sections();
    Outline outline = check.take();
    outline.grammar = Grammar::array;
    check_pools(outline, found);
    // All that is then wrong with the file is its name.
    if (outline.pools.empty() && outline.diskgroups.empty() && is_copan) {
        findings.error(Rule::wrong_grammar, {}, "this is the file of a Copan array, but is to serve a disk array",
                       "give it a name of its own, such as copan.sim, or check it with --as copan");
        return outline;
    }
    findings = std::move(found);
    return outline;
}
