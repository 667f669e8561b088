#include "simhost/check/finding.h"

#include <algorithm>

const std::vector<RuleText> &rule_texts() {
    static const std::vector<RuleText> texts = {
        {"after-semicolon", "Something stands behind the ';' that ends a value."},
        {"blank-in-value", "White space inside a name or a path is dropped."},
        {"byte-order-mark", "A byte-order mark makes the first key unknown."},
        {"capacity-overflow", "The capacity of a pool does not fit 64 bits."},
        {"carriage-returns", "The lines end with carriage returns alone."},
        {"comment", "The format has no comments."},
        {"count-as-name", "A number stands where names are expected."},
        {"directory-name", "A name has a meaning of its own for directories."},
        {"diskgroup-dropped", "A disk array keeps its enclosures only."},
        {"duplicate-disk", "Two disks have the same name."},
        {"duplicate-host", "A host is listed twice."},
        {"duplicate-pool", "Two pools have the same name."},
        {"duplicate-server", "Two sections are the same server's."},
        {"duplicate-volume", "Two volumes of a server have the same name."},
        {"empty-item", "Empty items of a list vanish."},
        {"empty-key", "A line has '=' but no key."},
        {"empty-name", "A name is empty."},
        {"empty-value", "A value is empty."},
        {"headless-section", "A section is opened without '=' and a name."},
        {"hidden-character", "A text holds a character that cannot be seen."},
        {"hosts-from-diskgroup", "An enclosure takes the hosts of a disk group."},
        {"key-outside-section", "A key stands before the section that it needs."},
        {"line-too-long", "A line of more than 1023 bytes is read as several."},
        {"missing-parent", "The directory above a storage directory is not there."},
        {"missing-semicolon", "A value does not end with ';'."},
        {"mount-fails", "The mount behaviour makes every mount fail."},
        {"mount-path-semicolon", "MOUNT_PATH keeps its ';'."},
        {"name-cut", "A name ends at a byte that no name may hold."},
        {"name-taken", "Something that is no directory stands where one is to be made."},
        {"name-too-long", "A name is cut to 31 bytes."},
        {"no-disk-size", "The disks of a pool have no size."},
        {"no-disks", "A pool has no disks."},
        {"no-equals", "A line without '=' is passed over."},
        {"no-hosts", "No host may use a pool."},
        {"no-permission", "A directory cannot be made or used."},
        {"no-sections", "The file has no section that serves anything."},
        {"no-storage-dir", "A section has no storage directory."},
        {"no-volumes", "A server has no volumes."},
        {"not-as-expected", "A host sees other pools than was demanded."},
        {"not-expanded", "Nothing in a path is expanded or translated."},
        {"nul-byte", "A line is read up to its first NUL byte only."},
        {"other-format", "The file is written in another format."},
        {"path-too-long", "The directory of a volume has more bytes than a path may have."},
        {"quoted-value", "Quotes belong to the value."},
        {"range-as-name", "A range is one name."},
        {"reading-ends", "A line without '=' ends the reading of a Copan file."},
        {"relative-path", "A storage directory depends on where the host process runs."},
        {"repeated-key", "A later line replaces an earlier one."},
        {"server-not-served", "The file does not serve a server that it was asked about."},
        {"shared-directory", "Volumes of two servers have the same directory."},
        {"size-negative", "A size is negative."},
        {"size-not-a-number", "A size is not a whole number."},
        {"size-too-large", "A size does not fit its number of bits."},
        {"size-zero", "A size is 0."},
        {"udid-slash", "A unique device identifier holds a '/'."},
        {"udid-too-long", "A unique device identifier is longer than 255 bytes."},
        {"unknown-key", "A key is unknown."},
        {"unknown-mount-behavior", "A mount behaviour is unknown, so every mount fails."},
        {"unknown-unit", "The unit of a size is unknown."},
        {"utf-16", "The file is written in UTF-16."},
        {"volume-size-in-enclosure", "VOLUME_SIZE has no effect in an enclosure."},
        {"volumes-in-enclosure", "VOLUMES does not belong to an enclosure."},
        {"word-as-host", "A word that means all hosts elsewhere is a name here."},
        {"wrong-grammar", "The file is written for the other kind of server."},
    };
    return texts;
}

const char *rule_id(Rule rule) { return rule_texts()[static_cast<size_t>(rule)].id; }

std::optional<Rule> rule_of(const std::string &id) {
    const std::vector<RuleText> &texts = rule_texts();
    for (size_t i = 0; i < texts.size(); ++i)
        if (id == texts[i].id)
            return static_cast<Rule>(i);
    return std::nullopt;
}

const char *severity_word(Severity severity) { return severity == Severity::error ? "error" : "warning"; }

size_t count(const std::vector<Finding> &findings, Severity severity) {
    return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                             [=](const Finding &finding) { return finding.severity == severity; }));
}
