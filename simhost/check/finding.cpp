#include "simhost/check/finding.h"

#include <algorithm>

const std::vector<RuleText> &rule_texts() {
    static const std::vector<RuleText> texts = {
        {"after-semicolon", "Something stands behind the ';' that ends a value."},
        {"blank-in-value", "White space inside a name or a path is dropped."},
        {"byte-order-mark", "A byte-order mark makes the first key unknown."},
        {"capacity-overflow", "The capacity of a pool does not fit 64 bits."},
        {"comment", "The format has no comments."},
        {"directory-name", "The name of a disk or a volume is a directory of its own."},
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
        {"hosts-from-diskgroup", "An enclosure takes the hosts of a disk group."},
        {"key-outside-section", "A key stands before the section that it needs."},
        {"line-too-long", "A line of more than 1023 bytes is read as several."},
        {"missing-semicolon", "A value does not end with ';'."},
        {"mount-fails", "The mount behaviour makes every mount fail."},
        {"mount-path-semicolon", "MOUNT_PATH keeps its ';'."},
        {"name-cut", "A name ends at a byte that no name may hold."},
        {"name-too-long", "A name is cut to 31 bytes."},
        {"no-disk-size", "The disks of a pool have no size."},
        {"no-disks", "A pool has no disks."},
        {"no-equals", "A line without '=' is passed over."},
        {"no-hosts", "No host may use a pool."},
        {"no-sections", "The file has no section that serves anything."},
        {"no-storage-dir", "A section has no storage directory."},
        {"no-volumes", "A server has no volumes."},
        {"nul-byte", "A line is read up to its first NUL byte only."},
        {"path-too-long", "The directory of a volume is longer than 1023 bytes."},
        {"reading-ends", "A line without '=' ends the reading of a Copan file."},
        {"relative-path", "A storage directory depends on where the host process runs."},
        {"repeated-key", "A later line replaces an earlier one."},
        {"server-not-served", "The file does not serve a server that it was asked about."},
        {"size-negative", "A size is negative."},
        {"size-not-a-number", "A size is not a whole number."},
        {"size-too-large", "A size does not fit its number of bits."},
        {"size-zero", "A size is 0."},
        {"udid-too-long", "A unique device identifier is longer than 1023 bytes."},
        {"unknown-key", "A key is unknown."},
        {"unknown-mount-behavior", "A mount behaviour is unknown, so every mount fails."},
        {"unknown-unit", "The unit of a size is unknown."},
        {"volume-size-in-enclosure", "VOLUME_SIZE has no effect in an enclosure."},
        {"volumes-in-enclosure", "VOLUMES does not belong to an enclosure."},
        {"wrong-grammar", "The file is written for the other kind of server."},
    };
    return texts;
}

const char *rule_id(Rule rule) { return rule_texts()[static_cast<size_t>(rule)].id; }

const char *severity_word(Severity severity) { return severity == Severity::error ? "error" : "warning"; }

size_t count(const std::vector<Finding> &findings, Severity severity) {
    return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                             [=](const Finding &finding) { return finding.severity == severity; }));
}
