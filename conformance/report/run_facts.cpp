#include "conformance/report/run_facts.h"

#include <fmt/format.h>
#include <sys/utsname.h>
#include <xxhash.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace conformance {

RunFacts facts_of(const std::string &plugin) {
    RunFacts facts;
    facts.plugin = plugin;
    facts.suite_version = STSPI_VERSION;

    std::ifstream file(plugin, std::ios::binary);
    std::ostringstream bytes;
    if (!(bytes << file.rdbuf()))
        throw std::runtime_error(fmt::format("cannot read {}", plugin));
    const std::string text = bytes.str();
    const XXH128_hash_t hash = XXH3_128bits(text.data(), text.size());
    facts.plugin_hash = fmt::format("xxh128:{:016x}{:016x}", hash.high64, hash.low64);

    utsname machine{};
    if (uname(&machine) == 0)
        facts.kernel = fmt::format("{} {} {}", machine.sysname, machine.release, machine.machine);
    return facts;
}

}  // namespace conformance
