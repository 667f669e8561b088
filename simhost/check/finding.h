// What the checker has to say about a place in a file.
#pragma once

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
    comment,
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
    hosts_from_diskgroup,
    key_outside_section,
    line_too_long,
    missing_semicolon,
    mount_fails,
    mount_path_semicolon,
    name_cut,
    name_too_long,
    no_disk_size,
    no_disks,
    no_equals,
    no_hosts,
    no_sections,
    no_storage_dir,
    no_volumes,
    nul_byte,
    path_too_long,
    reading_ends,
    relative_path,
    repeated_key,
    server_not_served,
    size_negative,
    size_not_a_number,
    size_too_large,
    size_zero,
    udid_too_long,
    unknown_key,
    unknown_mount_behavior,
    unknown_unit,
    volume_size_in_enclosure,
    volumes_in_enclosure,
    wrong_grammar
};

struct RuleText {
    const char *id;       // "unknown-key"
    const char *summary;  // one sentence, for every finding of the rule
};

// By Rule, in its order.
const std::vector<RuleText> &rule_texts();
const char *rule_id(Rule rule);

struct Note {
    Place place;
    std::string text;
};

struct Finding {
    Rule rule;
    Severity severity;
    Place place;
    std::string text;
    std::string help;         // what to write instead; may be empty
    std::vector<Note> notes;  // other places that matter
};

const char *severity_word(Severity severity);
size_t count(const std::vector<Finding> &findings, Severity severity);
