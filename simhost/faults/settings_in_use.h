// The settings that frameworks on this machine use, and their ledgers.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "filter/ledger/ledger.h"
#include "filter/rules/settings.h"

// The file, or when that is empty $STSPI_FILTER, or else /etc/quillmere/filter.conf.
std::string settings_in_use(const std::string &file);

// Where the filter of one section counts.
struct SectionLedger {
    size_t number = 0;  // of the section, from 0
    std::string path;
    std::vector<filter::Rule> rules;  // what it is to count; none where only the ledger is known
};

// One for each section, at least one. The first section's: $STSPI_FILTER_LEDGER, or what the section says, or else the
// settings file's own path and ".ledger"; a further one's: what it says, or else ".ledger." and its number.
std::vector<SectionLedger> section_ledgers(const filter::Settings &settings, const std::string &settings_path);

// Null for one of a further section that no filter has begun yet. Throws std::runtime_error, which names the path and
// the reason.
std::unique_ptr<filter::Ledger> read_ledger(const SectionLedger &section);

// Those of a settings file; path may be a ledger itself, which then is the only one.
std::vector<SectionLedger> ledgers_in_use(const std::string &path);
