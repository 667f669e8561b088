// The settings that frameworks on this machine use, and their ledger.
#pragma once

#include <string>

// The file, or when that is empty $STSPI_FILTER, or else /etc/quillmere/filter.conf.
std::string settings_in_use(const std::string &file);

// The ledger of a settings file: $STSPI_FILTER_LEDGER, or what the file says, or else the file's own path and ".ledger".
// path may be a ledger itself.
std::string ledger_in_use(const std::string &path);
