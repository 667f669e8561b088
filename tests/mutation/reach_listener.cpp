// Linked to every test program: writes down which mistakes each test comes by, so that a mistake is tried on those alone.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mutation_switch.h"

namespace {

class ReachListener : public testing::EmptyTestEventListener {
public:
    ReachListener(unsigned char *reach, size_t size, FILE *out) : m_reach(reach), m_size(size), m_out(out) {}

    void OnTestStart(const testing::TestInfo &) override { std::memset(m_reach, 0, m_size); }
    void OnTestEnd(const testing::TestInfo &test) override {
        std::fprintf(m_out, "%s.%s", test.test_suite_name(), test.name());
        for (size_t number = 0; number < m_size; ++number)
            if (m_reach[number] != 0)
                std::fprintf(m_out, " %zu", number);
        std::fputc('\n', m_out);
        std::fflush(m_out);
    }

private:
    unsigned char *m_reach;
    size_t m_size;
    FILE *m_out;
};

const bool installed = [] {
    const char *out = std::getenv("STSPI_MUTANT_REACH_LIST");
    struct stat status;
    if (out == nullptr || stat(std::getenv("STSPI_MUTANT_REACH"), &status) != 0)
        return false;
    testing::UnitTest::GetInstance()->listeners().Append(
        new ReachListener(stspi_mutant_reach(), static_cast<size_t>(status.st_size), std::fopen(out, "ae")));
    return true;
}();

}  // namespace
