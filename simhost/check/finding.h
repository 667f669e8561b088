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

// Every finding by its name, with one sentence that holds wherever it is made. The id that people and programs see has '-' for
// '_'. Each has a section of its own in docs/check.md. In the order of the names.
// clang-format off
#define FINDINGS(FINDING)                                                                    \
    FINDING(after_semicolon, "Something stands behind the ';' that ends a value.")           \
    FINDING(blank_in_value, "White space inside a name or a path is dropped.")               \
    FINDING(byte_order_mark, "A byte-order mark makes the first key unknown.")               \
    FINDING(capacity_overflow, "The capacity of a pool does not fit 64 bits.")               \
    FINDING(carriage_returns, "The lines end with carriage returns alone.")                  \
    FINDING(comment, "The format has no comments.")                                          \
    FINDING(count_as_name, "A number stands where names are expected.")                      \
    FINDING(directory_name, "A name has a meaning of its own for directories.")              \
    FINDING(diskgroup_dropped, "A disk array keeps its enclosures only.")                    \
    FINDING(duplicate_disk, "Two disks have the same name.")                                 \
    FINDING(duplicate_host, "A host is listed twice.")                                       \
    FINDING(duplicate_pool, "Two pools have the same name.")                                 \
    FINDING(duplicate_server, "Two sections are the same server's.")                         \
    FINDING(duplicate_volume, "Two volumes of a server have the same name.")                 \
    FINDING(empty_item, "Empty items of a list vanish.")                                     \
    FINDING(empty_key, "A line has '=' but no key.")                                         \
    FINDING(empty_name, "A name is empty.")                                                  \
    FINDING(empty_value, "A value is empty.")                                                \
    FINDING(headless_section, "A section is opened without '=' and a name.")                 \
    FINDING(hidden_character, "A text holds a character that cannot be seen.")               \
    FINDING(hosts_from_diskgroup, "An enclosure takes the hosts of a disk group.")           \
    FINDING(key_outside_section, "A key stands before the section that it needs.")           \
    FINDING(line_too_long, "A line of more than 1023 bytes is read as several.")             \
    FINDING(missing_parent, "The directory above a storage directory is not there.")         \
    FINDING(missing_semicolon, "A value does not end with ';'.")                             \
    FINDING(mount_fails, "The mount behaviour makes every mount fail.")                      \
    FINDING(mount_path_semicolon, "MOUNT_PATH keeps its ';'.")                               \
    FINDING(name_cut, "A name ends at a byte that no name may hold.")                        \
    FINDING(name_taken, "Something that is no directory stands where one is to be made.")    \
    FINDING(name_too_long, "A name is cut to 31 bytes.")                                     \
    FINDING(no_disk_size, "The disks of a pool have no size.")                               \
    FINDING(no_disks, "A pool has no disks.")                                                \
    FINDING(no_equals, "A line without '=' is passed over.")                                 \
    FINDING(no_hosts, "No host may use a pool.")                                             \
    FINDING(no_permission, "A directory cannot be made or used.")                            \
    FINDING(no_sections, "The file has no section that serves anything.")                    \
    FINDING(no_storage_dir, "A section has no storage directory.")                           \
    FINDING(no_volumes, "A server has no volumes.")                                          \
    FINDING(not_as_expected, "A host sees other pools than was demanded.")                   \
    FINDING(not_expanded, "Nothing in a path is expanded or translated.")                    \
    FINDING(nul_byte, "A line is read up to its first NUL byte only.")                       \
    FINDING(other_format, "The file is written in another format.")                          \
    FINDING(path_too_long, "The directory of a volume has more bytes than a path may have.") \
    FINDING(quoted_value, "Quotes belong to the value.")                                     \
    FINDING(range_as_name, "A range is one name.")                                           \
    FINDING(reading_ends, "A line without '=' ends the reading of a Copan file.")            \
    FINDING(relative_path, "A storage directory depends on where the host process runs.")    \
    FINDING(repeated_key, "A later line replaces an earlier one.")                           \
    FINDING(server_not_served, "The file does not serve a server that it was asked about.")  \
    FINDING(shared_directory, "Volumes of two servers have the same directory.")             \
    FINDING(size_negative, "A size is negative.")                                            \
    FINDING(size_not_a_number, "A size is not a whole number.")                              \
    FINDING(size_too_large, "A size does not fit its number of bits.")                       \
    FINDING(size_zero, "A size is 0.")                                                       \
    FINDING(udid_slash, "A unique device identifier holds a '/'.")                           \
    FINDING(udid_too_long, "A unique device identifier is longer than 255 bytes.")           \
    FINDING(unknown_key, "A key is unknown.")                                                \
    FINDING(unknown_mount_behavior, "A mount behaviour is unknown, so every mount fails.")   \
    FINDING(unknown_unit, "The unit of a size is unknown.")                                  \
    FINDING(utf_16, "The file is written in UTF-16.")                                        \
    FINDING(volume_size_in_enclosure, "VOLUME_SIZE has no effect in an enclosure.")          \
    FINDING(volumes_in_enclosure, "VOLUMES does not belong to an enclosure.")                \
    FINDING(word_as_host, "A word that means all hosts elsewhere is a name here.")           \
    FINDING(wrong_grammar, "The file is written for the other kind of server.")
// clang-format on

enum class Rule {
#define FINDING(name, summary) name,
    FINDINGS(FINDING)
#undef FINDING
};

struct RuleText {
    std::string id;       // "unknown-key"
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
