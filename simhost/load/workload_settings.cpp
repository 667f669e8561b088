#include "simhost/load/workload_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "base/nearest_word.h"
#include "filter/rules/quantity.h"
#include "filter/rules/status.h"
#include "simhost/host/image_transfer.h"
#include "simhost/report/quantities.h"

namespace {

constexpr unsigned most_streams = 1024;
constexpr unsigned most_images = 1000000;

[[noreturn]] void refuse(const std::string &text) { throw std::invalid_argument(text); }

uint64_t whole_number(const std::string &text, uint64_t least, uint64_t most) {
    uint64_t number = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < least || number > most)
        refuse(fmt::format("'{}' is not a whole number from {} to {}", text, least, most));
    return number;
}

unsigned small_number(const std::string &text, unsigned least, unsigned most) {
    return static_cast<unsigned>(whole_number(text, least, most));
}

double seconds(const std::string &text) {
    const auto nanoseconds = filter::parse_duration(text);
    if (!nanoseconds)
        refuse(fmt::format("'{}' is no time; write 500ms, 30s, 5m, 2h", text));
    return static_cast<double>(*nanoseconds) / 1e9;
}

std::string seconds_text(double value) { return filter::duration_text(static_cast<uint64_t>(value * 1e9)); }

double operations_a_second(const std::string &text) {
    size_t used = 0;
    double rate = -1;
    try {
        rate = std::stod(text, &used);
    } catch (const std::exception &) {
        used = 0;
    }
    if (text.empty() || used != text.size() || !(rate >= 0) || rate > 1e9)
        refuse(fmt::format("'{}' is no number of operations a second", text));
    return rate;
}

void set_expected(Workload &workload, const std::string &text) {
    workload.expected.clear();
    workload.deaths_expected = false;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        const std::string word = text.substr(begin, end - begin);
        begin = end + 1;
        const auto status = filter::parse_status(word);
        if (word == "death")
            workload.deaths_expected = true;
        else if (status)
            workload.expected.insert(*status);
        else
            refuse(fmt::format("'{}' is no status{}", word, [&word] {
                const std::string nearest = nearest_word(word, filter::status_names());
                return nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest);
            }()));
    }
}

std::string expected_text(const Workload &workload) {
    std::string text = workload.deaths_expected ? "death" : "";
    for (const int32_t status : workload.expected)
        text += fmt::format("{}{}", text.empty() ? "" : ",", status);
    return text;
}

std::vector<WorkloadSetting> make_settings() {
    return {
        {"processes", "N", "Processes, each with its own plug-in",
         [](Workload &w, const std::string &t) { w.processes = small_number(t, 1, 64); },
         [](const Workload &w) { return std::to_string(w.processes); }},
        {"streams", "N", "Streams of each process, one thread and one server handle each",
         [](Workload &w, const std::string &t) { w.streams = small_number(t, 1, most_streams); },
         [](const Workload &w) { return std::to_string(w.streams); }},
        {"images", "N", "Images that each stream keeps at most",
         [](Workload &w, const std::string &t) { w.images = small_number(t, 1, most_images); },
         [](const Workload &w) { return std::to_string(w.images); }},
        {"duration", "TIME", "How long to go on; 0: until operations or bytes are reached",
         [](Workload &w, const std::string &t) { w.duration_seconds = seconds(t); },
         [](const Workload &w) { return seconds_text(w.duration_seconds); }},
        {"operations", "N", "Operations of each stream; 0: no limit",
         [](Workload &w, const std::string &t) { w.operations = whole_number(t, 0, UINT64_MAX); },
         [](const Workload &w) { return std::to_string(w.operations); }},
        {"bytes", "SIZE", "Bytes that all streams together move; 0: no limit",
         [](Workload &w, const std::string &t) { w.bytes = parse_byte_count(t); },
         [](const Workload &w) { return filter::size_text(w.bytes); }},
        {"mix", "OP=WEIGHT,...", "Operations and how often each comes",
         [](Workload &w, const std::string &t) { w.mix = parse_mix(t); },
         [](const Workload &w) { return mix_text(w.mix); }},
        {"sizes", "SIZES", "Sizes of images: 1M, 4K..16M, or 64K*9,16M*1",
         [](Workload &w, const std::string &t) { w.sizes = SizeDistribution(t); },
         [](const Workload &w) { return w.sizes.text(); }},
        {"chunk", "SIZE", "Bytes of one read or write call",
         [](Workload &w, const std::string &t) {
             w.chunk_bytes = parse_byte_count(t);
             if (w.chunk_bytes == 0 || w.chunk_bytes > largest_chunk_bytes)
                 refuse(fmt::format("'{}' is not from 1 to 1G", t));
         },
         [](const Workload &w) { return filter::size_text(w.chunk_bytes); }},
        {"rate", "N", "Operations a second of all streams together, at intended times; 0: as fast as it goes",
         [](Workload &w, const std::string &t) { w.rate = operations_a_second(t); },
         [](const Workload &w) { return fmt::format("{}", w.rate); }},
        {"compressible", "PERCENT", "Share of the data that is zeros",
         [](Workload &w, const std::string &t) { w.compressible_percent = small_number(t, 0, 100); },
         [](const Workload &w) { return std::to_string(w.compressible_percent); }},
        {"seed", "N", "The same seed gives each stream the same operations",
         [](Workload &w, const std::string &t) { w.seed = whole_number(t, 0, UINT64_MAX); },
         [](const Workload &w) { return std::to_string(w.seed); }},
        {"kill-every", "TIME", "Kill a process with signal 9 that often; 0: never",
         [](Workload &w, const std::string &t) { w.kill_every_seconds = seconds(t); },
         [](const Workload &w) { return seconds_text(w.kill_every_seconds); }},
        {"hang", "TIME", "A call that takes longer hangs",
         [](Workload &w, const std::string &t) {
             w.hang_seconds = seconds(t);
             if (w.hang_seconds <= 0)
                 refuse("a call needs some time");
         },
         [](const Workload &w) { return seconds_text(w.hang_seconds); }},
        {"expect", "STATUS,...", "Refusals to count, not to complain of; \"death\": processes may die, too",
         set_expected, expected_text},
    };
}

}  // namespace

const std::vector<WorkloadSetting> &workload_settings() {
    static const std::vector<WorkloadSetting> settings = make_settings();
    return settings;
}

const WorkloadSetting *workload_setting(const std::string &name) {
    const auto &settings = workload_settings();
    const auto found = std::find_if(settings.begin(), settings.end(),
                                    [&name](const WorkloadSetting &setting) { return setting.name == name; });
    return found == settings.end() ? nullptr : &*found;
}

OperationMix parse_mix(const std::string &text) {
    std::vector<std::string> names;
    names.reserve(operation_count);
    for (size_t i = 0; i < operation_count; ++i)
        names.emplace_back(operation_name(static_cast<Operation>(i)));
    OperationMix mix = {};
    bool any = false;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        const std::string part = text.substr(begin, end - begin);
        begin = end + 1;
        const size_t equals = part.find('=');
        const std::string name = part.substr(0, equals);
        const auto found = std::find(names.begin(), names.end(), name);
        if (found == names.end()) {
            const std::string nearest = nearest_word(name, names);
            refuse(fmt::format("'{}' is no operation{}", name,
                               nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest)));
        }
        const unsigned weight = equals == std::string::npos ? 1 : small_number(part.substr(equals + 1), 0, 1000000);
        mix[static_cast<size_t>(found - names.begin())] = weight;
        any = any || weight > 0;
    }
    if (!any)
        refuse("no operation has a weight");
    return mix;
}

std::string mix_text(const OperationMix &mix) {
    std::string text;
    for (size_t i = 0; i < operation_count; ++i)
        if (mix[i] > 0)
            text += fmt::format("{}{}={}", text.empty() ? "" : ",", operation_name(static_cast<Operation>(i)), mix[i]);
    return text;
}

void apply_profile(Workload &workload, const std::string &name) {
    std::vector<std::string> names;
    for (const Profile &profile : load_profiles()) {
        names.emplace_back(profile.name);
        if (profile.name != name)
            continue;
        for (const auto &[setting, value] : profile.settings)
            workload_setting(setting)->set(workload, value);
        return;
    }
    const std::string nearest = nearest_word(name, names);
    refuse(
        fmt::format("'{}' is no profile{}", name, nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest)));
}
