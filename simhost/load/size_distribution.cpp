#include "simhost/load/size_distribution.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "simhost/report/quantities.h"

namespace {

constexpr uint64_t largest = uint64_t{1} << 40;

uint64_t image_size(const std::string &text) {
    const uint64_t size = parse_byte_count(text);
    if (size == 0 || size > largest)
        throw std::invalid_argument(fmt::format("'{}': an image has from 1 byte to 1024G", text));
    return size;
}

double weight_of(const std::string &text) {
    unsigned weight = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, weight);
    if (error != std::errc() || rest != end || weight == 0)
        throw std::invalid_argument(fmt::format("'{}' is no weight", text));
    return weight;
}

}  // namespace

SizeDistribution::SizeDistribution(const std::string &text) : m_text(text) {
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        std::string part = text.substr(begin, end - begin);
        begin = end + 1;
        double weight = 1;
        if (const size_t star = part.find('*'); star != std::string::npos) {
            weight = weight_of(part.substr(star + 1));
            part.resize(star);
        }
        const size_t dots = part.find("..");
        const uint64_t least = image_size(part.substr(0, dots));
        const uint64_t most = dots == std::string::npos ? least : image_size(part.substr(dots + 2));
        if (most < least)
            throw std::invalid_argument(fmt::format("'{}' ends before it begins", part));
        m_parts.push_back({least, most, weight});
        m_weights += weight;
    }
}

uint64_t SizeDistribution::draw(Draw &from) const {
    double place = from.unit() * m_weights;
    const double between = from.unit();
    const auto has_place = [&place](const Part &part) { return (place -= part.weight) < 0; };
    auto part = std::find_if(m_parts.begin(), m_parts.end(), has_place);
    if (part == m_parts.end())
        part = m_parts.end() - 1;
    const double ratio = static_cast<double>(part->most) / static_cast<double>(part->least);
    const auto size = static_cast<uint64_t>(static_cast<double>(part->least) * std::pow(ratio, between));
    return std::clamp(size, part->least, part->most);
}
