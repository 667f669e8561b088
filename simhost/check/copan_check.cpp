#include "simhost/check/copan_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "base/nearest_word.h"
#include "simhost/check/key_suggestion.h"
#include "simhost/check/line_check.h"
#include "simhost/check/list_check.h"
#include "simhost/check/repeated_key.h"
#include "simhost/check/shared_directory.h"
#include "simhost/check/text_check.h"

namespace {

constexpr size_t largest_path = 1023;

bool is_array_section(const std::string &key) { return key == "ENCLOSURE" || key == "DISKGROUP"; }

class CopanCheck {
public:
    explicit CopanCheck(Findings &findings) : m_findings(findings) {}

    void read(const ReadLine &line);
    void finish();
    bool has_array_sections() const { return m_has_array_sections; }
    Outline take() { return std::move(m_outline); }

private:
    void read_without_equals(const ReadLine &line);
    void tell_end(const ReadLine &line, const char *effect);
    void read_unknown(const ReadLine &line, const std::string &key);
    void lose_header(Rule rule, const Place &place, const std::string &text, const std::string &help,
                     std::vector<Edit> edits);
    void read_attribute(const ReadLine &line, const std::string &key, size_t value_begin);

    Findings &m_findings;
    Outline m_outline;
    bool m_has_array_sections = false;
    bool m_lost_header = false;  // what was meant as the last header is reported as something else
    // The line that ends the reading, until it is known whether anything follows.
    std::optional<ReadLine> m_end;
    size_t m_line_without_equals = 0;
};

void CopanCheck::read(const ReadLine &line) {
    if (line.text.empty())
        return;
    if (m_end) {
        if (m_end->line != line.line)
            tell_end(*m_end, "the plug-in sees nothing of what follows");
        else if (line.text.find('=') == std::string::npos)
            return;  // the same remark
    }
    const size_t equals = line.text.find('=');
    if (equals == std::string::npos)
        return read_without_equals(line);
    const std::string key = line.text.substr(0, equals);
    if (key == "STORAGE_SERVER") {
        ServerOutline server;
        server.name = check_name(Value(line, equals + 1, ValueKind::name), "server", m_findings);
        server.is_read = !m_outline.reading_ends;
        m_outline.servers.push_back(std::move(server));
        m_lost_header = false;
    } else if (key == "VOLUMES" || key == "STORAGE_DIR") {
        read_attribute(line, key, equals + 1);
    } else {
        read_unknown(line, key);
    }
}

// Reading goes on here where the plug-in's ends, so that one run shows every problem.
void CopanCheck::read_without_equals(const ReadLine &line) {
    if (m_outline.reading_ends && line.line != m_line_without_equals)
        tell_end(line, "this one would, but for the one above");
    else if (!m_outline.reading_ends)
        m_end = line;
    m_outline.reading_ends = true;
    m_line_without_equals = line.line;
}

void CopanCheck::tell_end(const ReadLine &line, const char *effect) {
    const bool is_comment = looks_like_comment(line);
    m_findings.error(Rule::reading_ends, line.place(),
                     fmt::format("{} '=' ends the reading: {}",
                                 is_comment ? "there are no comments, and a line without" : "a line without", effect),
                     is_comment ? "take the line away" : "write KEY = VALUE; or take the line away");
    m_end.reset();
}

void CopanCheck::finish() {
    if (m_end)
        tell_end(*m_end, "nothing follows here, but even a server without a section can be opened then");
    for (const ServerOutline &server : m_outline.servers)
        check_meaning(server.volumes, "volume", m_findings);
}

void CopanCheck::lose_header(Rule rule, const Place &place, const std::string &text, const std::string &help,
                             std::vector<Edit> edits) {
    m_lost_header = true;
    m_outline.has_lost_header = true;
    const std::string where =
        m_outline.servers.empty()
            ? "the lines below it have no effect"
            : fmt::format("the lines below it go to server {}", in_apostrophes(m_outline.servers.back().name.name));
    m_findings.error(rule, place, fmt::format("{}; {}", text, where), help).edits = std::move(edits);
}

void CopanCheck::read_unknown(const ReadLine &line, const std::string &key) {
    m_has_array_sections = m_has_array_sections || is_array_section(key);
    if (has_byte_order_mark(line))
        m_lost_header = true;
    if (line.begin > 0 || has_byte_order_mark(line))
        return;
    if (looks_like_comment(line)) {
        m_findings.warning(Rule::comment, line.place(),
                           "there are no comments: this line is dropped as an unknown key, and without a '=' it would "
                           "end the reading");
        return;
    }
    if (key.empty()) {
        m_findings.error(Rule::empty_key, line.place(0, 1), "no key stands in front of the '=': the line is dropped");
        return;
    }
    const Place place = line.place(0, key.size());
    const std::string visible = visible_key(key);
    const bool is_hidden =
        visible != key && (visible == "STORAGE_SERVER" || visible == "VOLUMES" || visible == "STORAGE_DIR");
    const std::string suggested = is_hidden ? visible : suggested_key(key, KeyContext::copan_file);
    const Rule rule = is_hidden ? Rule::hidden_character : Rule::unknown_key;
    const std::string text =
        is_hidden ? "the key holds a character that cannot be seen: the line is dropped without a word"
                  : fmt::format("unknown key {}: the line is dropped without a word", in_apostrophes(key));
    const std::string help = is_hidden           ? "type the key anew"
                             : suggested.empty() ? keys_help(KeyContext::copan_file)
                                                 : fmt::format("did you mean {}?", suggested);
    std::vector<Edit> edits;
    if (is_hidden || suggested == in_upper_case(key))
        edits = {{place, suggested}};
    if (suggested == "STORAGE_SERVER")
        lose_header(rule, place, text, help, std::move(edits));
    else
        m_findings.error(rule, place, text, help).edits = std::move(edits);
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
        server.keys.set(key, line.place(), "");
        if (is_read || !server.is_read)
            server.volumes.insert(server.volumes.end(), volumes.begin(), volumes.end());
        return;
    }
    const Value value(line, value_begin, ValueKind::path);
    Findings unneeded;  // behind a header that is not understood a second value is no mistake of its own
    set_key(server.keys, key, value, line.place(), m_lost_header ? unneeded : m_findings);
    const std::string path = check_text(value, m_findings);
    check_characters(value, m_findings);
    if (is_read || !server.is_read)
        server.storage_dir = path;
    if (path.empty())
        m_findings.error(Rule::empty_value, value.place(),
                         "no directory: images and properties of this server's volumes fail");
    check_storage_dir(value, path, true, m_findings);
}

// All sections of one server.
struct Server {
    const ServerOutline *first = nullptr;
    std::vector<const ServerOutline *> sections;
};

void check_sections(const Server &server, Findings &findings) {
    const SetKey *earlier = nullptr;
    for (const ServerOutline *section : server.sections) {
        if (section != server.first) {
            const Note first{server.first->name.place, "first section here"};
            if (section->name.name == server.first->name.name)
                findings.warning(
                    Rule::duplicate_server, section->name.place,
                    fmt::format("server {} has a section already: both add up", in_apostrophes(section->name.name)), "",
                    {first});
            else
                findings.error(Rule::duplicate_server, section->name.place,
                               fmt::format("{} and {} are the same server: names are compared without their domain",
                                           in_apostrophes(section->name.name), in_apostrophes(server.first->name.name)),
                               "", {first});
        }
        const SetKey *own = section->keys.find("STORAGE_DIR");
        if (own == nullptr)
            continue;
        if (earlier != nullptr && earlier->text != own->text)
            findings.error(Rule::repeated_key, own->place,
                           "this STORAGE_DIR replaces that of the server's other section", "",
                           {{earlier->place, "the earlier one is here"}});
        earlier = own;
    }
}

void check_volumes(const Server &server, Findings &findings) {
    std::unordered_map<std::string, Place> seen;
    size_t longest = 0;
    std::string storage_dir;
    bool has_storage_dir = false;
    bool has_volumes = false;
    for (const ServerOutline *section : server.sections) {
        has_volumes = has_volumes || section->keys.has("VOLUMES");
        if (section->keys.has("STORAGE_DIR")) {
            has_storage_dir = true;
            storage_dir = section->storage_dir.value_or("");
        }
        for (const ListedName &volume : section->volumes) {
            longest = std::max(longest, volume.name.size());
            if (volume.name.empty())
                continue;
            const auto [first, is_new] = seen.emplace(volume.name, volume.place);
            if (!is_new)
                findings.error(
                    Rule::duplicate_volume, volume.place,
                    fmt::format("volume {} is listed twice and has one directory", in_apostrophes(volume.name)), "",
                    {{first->second, "first listed here"}});
        }
    }
    const ListedName &name = server.first->name;
    if (!has_volumes)
        findings.warning(Rule::no_volumes, name.place,
                         fmt::format("server {} has no VOLUMES", in_apostrophes(name.name)));
    if (!has_storage_dir)
        findings.error(Rule::no_storage_dir, name.place,
                       fmt::format("server {} has no STORAGE_DIR: images and properties of its volumes fail",
                                   in_apostrophes(name.name)));
    else if (storage_dir.size() + 1 + longest > largest_path)
        findings.error(Rule::path_too_long, name.place,
                       fmt::format("a volume's directory has up to {} bytes; {} fit", storage_dir.size() + 1 + longest,
                                   largest_path));
}

void check_servers(const Outline &outline, Findings &findings) {
    if (outline.servers.empty() && !outline.has_lost_header)
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
    check_shared_directories(outline, findings);
}

}  // namespace

Outline check_copan(const SourceText &source, Findings &findings) {
    Findings found;
    LineCheck lines(found);
    CopanCheck check(found);
    source.for_each_line([&](const ReadLine &line) {
        lines.read(line);
        check.read(line);
    });
    check.finish();
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
