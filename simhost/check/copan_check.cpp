#include "simhost/check/copan_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "simhost/check/line_check.h"
#include "simhost/check/repeated_key.h"
#include "base/nearest_word.h"

namespace {

constexpr size_t largest_path = 1023;

const std::vector<std::string> &copan_keys() {
    static const std::vector<std::string> keys = {"STORAGE_SERVER", "VOLUMES", "STORAGE_DIR"};
    return keys;
}

bool is_array_section(const std::string &key) { return key == "ENCLOSURE" || key == "DISKGROUP"; }

class CopanCheck {
public:
    explicit CopanCheck(Findings &findings) : m_findings(findings) {}

    void read(const ReadLine &line, bool is_last);
    bool has_array_sections() const { return m_has_array_sections; }
    Outline take() { return std::move(m_outline); }

private:
    void read_without_equals(const ReadLine &line, bool is_last);
    void read_unknown(const ReadLine &line, const std::string &key);
    void read_attribute(const ReadLine &line, const std::string &key, size_t value_begin);

    Findings &m_findings;
    Outline m_outline;
    bool m_has_array_sections = false;
    bool m_lost_header = false;  // a header in front of the first section is reported as an unknown key
};

void CopanCheck::read(const ReadLine &line, bool is_last) {
    if (line.text.empty())
        return;
    const size_t equals = line.text.find('=');
    if (equals == std::string::npos)
        return read_without_equals(line, is_last);
    const std::string key = line.text.substr(0, equals);
    if (key == "STORAGE_SERVER") {
        ServerOutline server;
        server.name = check_name(Value(line, equals + 1, ValueKind::name), "server", m_findings);
        server.is_read = !m_outline.reading_ends;
        m_outline.servers.push_back(std::move(server));
    } else if (key == "VOLUMES" || key == "STORAGE_DIR") {
        read_attribute(line, key, equals + 1);
    } else {
        read_unknown(line, key);
    }
}

// Reading goes on here where the plug-in's ends, so that one run shows every problem.
void CopanCheck::read_without_equals(const ReadLine &line, bool is_last) {
    const bool is_comment = looks_like_comment(line.text);
    const char *effect = m_outline.reading_ends ? "this one would, but for the one above"
                         : is_last ? "nothing follows here, but even a server without a section can be opened then"
                                   : "the plug-in sees nothing of what follows";
    m_findings.error(Rule::reading_ends, line.place(),
                     fmt::format("{} '=' ends the reading: {}",
                                 is_comment ? "there are no comments, and a line without" : "a line without", effect),
                     is_comment ? "take the line away" : "write KEY = VALUE; or take the line away");
    m_outline.reading_ends = true;
}

void CopanCheck::read_unknown(const ReadLine &line, const std::string &key) {
    m_has_array_sections = m_has_array_sections || is_array_section(key);
    if (has_byte_order_mark(line))
        m_lost_header = true;
    if (line.begin > 0 || has_byte_order_mark(line))
        return;
    if (key.empty()) {
        m_findings.error(Rule::empty_key, line.place(0, 1), "no key stands in front of the '=': the line is dropped");
    } else if (looks_like_comment(line.text)) {
        m_findings.warning(Rule::comment, line.place(),
                           "there are no comments: this line is dropped as an unknown key, and without a '=' it would "
                           "end the reading");
    } else {
        const std::string nearest = nearest_word(key, copan_keys());
        m_lost_header = m_lost_header || nearest == "STORAGE_SERVER";
        m_findings.error(Rule::unknown_key, line.place(0, key.size()),
                         fmt::format("unknown key {}: the line is dropped without a word", quoted(key)),
                         nearest.empty() ? "a Copan file has STORAGE_SERVER, VOLUMES and STORAGE_DIR"
                                         : fmt::format("did you mean {}?", nearest));
    }
}

void CopanCheck::read_attribute(const ReadLine &line, const std::string &key, size_t value_begin) {
    if (m_outline.servers.empty()) {
        if (m_lost_header)
            return;
        m_findings.error(Rule::key_outside_section, line.place(0, key.size()),
                         fmt::format("{} stands before the first STORAGE_SERVER and has no effect", key));
        return;
    }
    ServerOutline &server = m_outline.servers.back();
    // Behind the end of the reading a section may go on that the plug-in saw the beginning of.
    const bool is_read = !m_outline.reading_ends;
    if (key == "VOLUMES") {
        const auto volumes = check_directory_names(Value(line, value_begin, ValueKind::list), "volume", m_findings);
        server.keys[key] = {line.place(), ""};
        if (is_read || !server.is_read)
            server.volumes.insert(server.volumes.end(), volumes.begin(), volumes.end());
        return;
    }
    const Value value(line, value_begin, ValueKind::path);
    set_key(server.keys, key, value, line.place(), m_findings);
    const std::string path = check_text(value, m_findings);
    if (is_read || !server.is_read)
        server.storage_dir = path;
    if (path.empty())
        m_findings.error(Rule::empty_value, value.place(),
                         "no directory: images and properties of this server's volumes fail");
    else if (path[0] != '/')
        m_findings.warning(Rule::relative_path, value.place(),
                           "this directory depends on where the process that loads the plug-in runs",
                           "begin the path with '/'");
}

// All sections of one server.
struct Server {
    const ServerOutline *first = nullptr;
    std::vector<const ServerOutline *> sections;
};

void check_sections(const Server &server, Findings &findings) {
    SetKeys storage_dir;
    for (const ServerOutline *section : server.sections) {
        if (section != server.first) {
            const Note first{server.first->name.place, "first section here"};
            if (section->name.name == server.first->name.name)
                findings.warning(
                    Rule::duplicate_server, section->name.place,
                    fmt::format("server {} has a section already: both add up", quoted(section->name.name)), "",
                    {first});
            else
                findings.error(Rule::duplicate_server, section->name.place,
                               fmt::format("{} and {} are the same server: names are compared without their domain",
                                           quoted(section->name.name), quoted(server.first->name.name)),
                               "", {first});
        }
        const auto own = section->keys.find("STORAGE_DIR");
        if (own == section->keys.end())
            continue;
        const auto earlier = storage_dir.find("STORAGE_DIR");
        if (earlier != storage_dir.end() && earlier->second.text != own->second.text)
            findings.error(Rule::repeated_key, own->second.place,
                           "this STORAGE_DIR replaces that of the server's other section", "",
                           {{earlier->second.place, "the earlier one is here"}});
        storage_dir["STORAGE_DIR"] = own->second;
    }
}

void check_volumes(const Server &server, Findings &findings) {
    std::unordered_map<std::string, Place> seen;
    size_t longest = 0;
    std::string storage_dir;
    bool has_storage_dir = false;
    bool has_volumes = false;
    for (const ServerOutline *section : server.sections) {
        has_volumes = has_volumes || section->keys.count("VOLUMES") != 0;
        if (section->keys.count("STORAGE_DIR") != 0) {
            has_storage_dir = true;
            storage_dir = section->storage_dir.value_or("");
        }
        for (const ListedName &volume : section->volumes) {
            longest = std::max(longest, volume.name.size());
            if (volume.name.empty())
                continue;
            const auto [first, is_new] = seen.emplace(volume.name, volume.place);
            if (!is_new)
                findings.error(Rule::duplicate_volume, volume.place,
                               fmt::format("volume {} is listed twice and has one directory", quoted(volume.name)), "",
                               {{first->second, "first listed here"}});
        }
    }
    const ListedName &name = server.first->name;
    if (!has_volumes)
        findings.warning(Rule::no_volumes, name.place, fmt::format("server {} has no VOLUMES", quoted(name.name)));
    if (!has_storage_dir)
        findings.error(
            Rule::no_storage_dir, name.place,
            fmt::format("server {} has no STORAGE_DIR: images and properties of its volumes fail", quoted(name.name)));
    else if (storage_dir.size() + 1 + longest > largest_path)
        findings.error(Rule::path_too_long, name.place,
                       fmt::format("a volume's directory has up to {} bytes; {} fit", storage_dir.size() + 1 + longest,
                                   largest_path));
}

void check_servers(const Outline &outline, Findings &findings) {
    if (outline.servers.empty())
        findings.error(Rule::no_sections, {}, "there is no STORAGE_SERVER section: no server can be opened");
    std::unordered_map<std::string, size_t> indices;
    std::vector<Server> servers;
    for (const ServerOutline &section : outline.servers) {
        const auto [known, is_new] = indices.emplace(short_server_name(section.name.name), servers.size());
        if (is_new)
            servers.push_back({&section, {}});
        servers[known->second].sections.push_back(&section);
    }
    for (const Server &server : servers) {
        check_sections(server, findings);
        check_volumes(server, findings);
    }
}

}  // namespace

Outline check_copan(const SourceText &source, Findings &findings) {
    Findings found;
    check_lines(source, found);
    CopanCheck check(found);
    const std::vector<ReadLine> &lines = source.read_lines();
    const auto last =
        std::find_if(lines.rbegin(), lines.rend(), [](const ReadLine &line) { return !line.text.empty(); });
    for (const ReadLine &line : lines)
        check.read(line, last != lines.rend() && &line == &*last);
    const bool is_array = check.has_array_sections();
    Outline outline = check.take();
    outline.grammar = Grammar::copan;
    check_servers(outline, found);
    // All that is then wrong with the file is its name.
    if (outline.servers.empty() && is_array) {
        findings.error(Rule::wrong_grammar, {}, "this is the file of a disk array, but is to serve a Copan array",
                       "only Kelvarpool.sim serves disk arrays: give it that name, or check it with --as array");
        return outline;
    }
    findings = std::move(found);
    return outline;
}
