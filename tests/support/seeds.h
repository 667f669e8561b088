// The seeds that a test of chance runs with.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// First those that tests/seeds.txt has for the test ("SUITE.NAME"), each of which once found a failure; then the usual one,
// or what STSPI_SEED says in its place. A failing test tells the seed: see SCOPED_TRACE. Throws std::runtime_error when the
// file cannot be read, or a line of it cannot be understood.
inline std::vector<uint32_t> seeds_of(const std::string &test, uint32_t usual, const char *file = SEEDS_FILE) {
    std::vector<uint32_t> seeds;
    std::ifstream lines(file);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty() || line.front() == '#')
            continue;
        std::istringstream words(line);
        std::string name;
        uint32_t seed = 0;
        if (!(words >> name >> seed))
            throw std::runtime_error(std::string(file) + ": not TEST SEED: " + line);
        if (name == test)
            seeds.push_back(seed);
    }
    if (!lines.eof())
        throw std::runtime_error(std::string(file) + ": cannot be read");
    const char *chosen = std::getenv("STSPI_SEED");
    seeds.push_back(chosen == nullptr ? usual : static_cast<uint32_t>(std::strtoul(chosen, nullptr, 10)));
    return seeds;
}
