#include "stsimage/image_format.h"

#ifdef __x86_64__
#include <immintrin.h>
#include <xxh_x86dispatch.h>  // XXH3 with the vector instructions that the processor has
#else
#include <xxhash.h>
#endif

namespace stsimage {

namespace {

// XXH3 leaves the upper parts of the vector registers in use, for which the next ordinary instruction on a register waits:
// without this, small random reads took a quarter longer.
#ifdef __x86_64__
__attribute__((target("avx"))) void give_up_wide_registers() { _mm256_zeroupper(); }
void settle_registers() {
    if (__builtin_cpu_supports("avx"))
        give_up_wide_registers();
}
#else
void settle_registers() {}
#endif

}  // namespace

uint64_t checksum_of_block(const void *data, uint64_t seed, uint64_t block) {
    const uint64_t sum = XXH3_64bits_withSeed(data, block_size, seed + block);
    settle_registers();
    return sum != 0 ? sum : 1;
}

uint64_t checksum_of_table(const ChecksumTable &table, uint64_t seed, uint64_t group) {
    return XXH3_64bits_withSeed(table.data(), table_size, ~seed - group);
}

uint64_t checksum_of_header(const ImageHeader &header) { return XXH3_64bits(&header, offsetof(ImageHeader, checksum)); }

}  // namespace stsimage
