// Names that a command line may hold: servers, hosts, pools, LSUs, volumes and images, as the configuration directory has
// them.
#pragma once

#include <map>
#include <string>
#include <vector>

// What a command line holds so far.
struct GivenWords {
    std::string command;                        // "image put"
    std::map<std::string, std::string> values;  // of options, by long name: "--server"
    std::vector<std::string> words;             // positional arguments
};

// The values that an option ("--pool") or a positional argument ("IMAGE") can take; word is what is typed of it. Empty when
// none are known, and when something goes wrong.
std::vector<std::string> values_for(const GivenWords &given, const std::string &name, const std::string &word);
