// What the checker has to say about a place in a file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simhost/check/source_text.h"

enum class Severity {
    warning,  // allowed, but likely not what was meant
    error     // the file does not mean what it says, or something in it is lost
};

// Each has a page section of its own in docs/check.md. In the order of their names.
enum class Rule {
    after_semicolon,
    blank_in_value,
    byte_order_mark,
    capacity_overflow,
    carriage_returns,
    comment,
    count_as_name,
    directory_name,
    diskgroup_dropped,
    duplicate_disk,
    duplicate_host,
    duplicate_pool,
    duplicate_server,
    duplicate_volume,
    empty_item,
    empty_key,
    empty_name,
    empty_value,
    headless_section,
    hidden_character,
    hosts_from_diskgroup,
    key_outside_section,
    line_too_long,
    missing_parent,
    missing_semicolon,
    mount_fails,
    mount_path_semicolon,
    name_cut,
    name_taken,
    name_too_long,
    no_disk_size,
    no_disks,
    no_equals,
    no_hosts,
    no_permission,
    no_sections,
    no_storage_dir,
    no_volumes,
    not_as_expected,
    not_expanded,
    nul_byte,
    other_format,
    path_too_long,
    quoted_value,
    range_as_name,
    reading_ends,
    relative_path,
    repeated_key,
    server_not_served,
    shared_directory,
    size_negative,
    size_not_a_number,
    size_too_large,
    size_zero,
    udid_slash,
    udid_too_long,
    unknown_key,
    unknown_mount_behavior,
    unknown_unit,
    utf_16,
    volume_size_in_enclosure,
    volumes_in_enclosure,
    word_as_host,
    wrong_grammar
};

struct RuleText {
    const char *id;       // "unknown-key"
    const char *summary;  // one sentence, for every finding of the rule
};

// By Rule, in its order.
const std::vector<RuleText> &rule_texts();
const char *rule_id(Rule rule);
// Whether there is a rule of that name, and which.
std::optional<Rule> rule_of(const std::string &id);

struct Note {
    Place place;
    std::string text;
};

// A change of one line that mends what a finding is about.
struct Edit {
    Place place;       // what goes; nothing when its length is 0
    std::string text;  // what comes in its place
};

struct Finding {
    Rule rule;
    Severity severity;
    Place place;
    std::string text;
    std::string help;         // what to write instead; may be empty
    std::vector<Note> notes;  // other places that matter
    std::vector<Edit> edits;  // when there is one safe mend
};

const char *severity_word(Severity severity);
size_t count(const std::vector<Finding> &findings, Severity severity);
