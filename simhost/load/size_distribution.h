// How large images are.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simhost/load/draw.h"

class SizeDistribution {
public:
    // "1M": always that. "4K..16M": between, every doubling as likely as any other. "64K*9,16M*1": any of these, by weight;
    // each part may be a range. Throws std::invalid_argument, which says what is wrong. No size is 0 or above 1T.
    explicit SizeDistribution(const std::string &text);

    uint64_t draw(Draw &from) const;
    const std::string &text() const { return m_text; }

private:
    struct Part {
        uint64_t least;
        uint64_t most;
        double weight;
    };
    std::string m_text;
    std::vector<Part> m_parts;
    double m_weights = 0;
};
