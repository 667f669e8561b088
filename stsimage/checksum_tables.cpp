#include "stsimage/checksum_tables.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "base/invariant.h"
#include "stsimage/call_patience.h"
#include "stsimage/index_checksum.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr uint64_t entries_at_once = 4096;

// How much of a table has to be written: the rest is zero, and zero in the file already. So a small image is a small file.
size_t size_in_use(const ChecksumTable &table) {
    constexpr size_t step = block_size / sizeof(uint64_t);
    const auto last = std::find_if(table.rbegin(), table.rend(), [](uint64_t checksum) { return checksum != 0; });
    const auto used = static_cast<size_t>(table.rend() - last);
    return (used + step - 1) / step * block_size;
}

}  // namespace

ChecksumTables::ChecksumTables(StoredImage &stored, Draft *written, uint64_t image_seed)
    : file(stored), draft(written), seed(image_seed) {}

int32_t ChecksumTables::load_index(uint64_t place, uint64_t entries, uint64_t groups, uint64_t checksum) {
    std::vector<IndexEntry> part(std::min(entries, entries_at_once));
    IndexChecksum sum(seed);
    uint64_t lowest_group = 0;  // that the next entry may have
    const uint64_t end = place + entries * sizeof(IndexEntry);
    for (uint64_t at = place; at < end;) {
        const size_t bytes = std::min<uint64_t>(end - at, part.size() * sizeof(IndexEntry));
        const size_t count = bytes / sizeof(IndexEntry);
        const ssize_t got = file.read(part.data(), bytes, at);
        if (got < 0)
            return fail_system(errno, "cannot read the index of %s at offset %ju", QuotedText(file.path()).c_str(),
                               uintmax_t{at});
        if (static_cast<size_t>(got) < bytes)
            return fail(STSIMG_E_TRUNCATED, "%s ends within its index at offset %ju", QuotedText(file.path()).c_str(),
                        uintmax_t{at + static_cast<uint64_t>(got)});
        sum.add(part.data(), count);
        for (size_t entry = 0; entry < count; ++entry, at += sizeof(IndexEntry)) {
            const uint64_t group = part[entry].group;
            if (group < lowest_group || group >= groups)
                return fail(STSIMG_E_DAMAGED, "%s: the index entry at offset %ju is out of order",
                            QuotedText(file.path()).c_str(), uintmax_t{at});
            index.emplace_hint(index.end(), group, part[entry].table_checksum);
            lowest_group = group + 1;
        }
    }
    if (sum.value() != checksum)
        return fail(STSIMG_E_DAMAGED, "%s: the index at offset %ju does not match its checksum",
                    QuotedText(file.path()).c_str(), uintmax_t{place});
    return 0;
}

int32_t ChecksumTables::find(uint64_t group, std::shared_ptr<ChecksumTable> &out_table) {
    std::unique_lock<std::mutex> lock(mutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        const Clock::time_point asked = Clock::now();
        lock.lock();
        if (failure != nullptr && failure->time >= asked && (failure->unanswered || failure->group == group)) {
            failure->text.tell_again();
            return failure->status;
        }
    }
    Kept *kept = nullptr;
    if (const int32_t status = keep(group, false, kept); status != 0) {
        failure.reset(new Failure{status, group, is_call_limited(), Clock::now(), EarlierFailure()});
        return status;
    }
    out_table = kept != nullptr ? kept->table : nullptr;
    return 0;
}

int32_t ChecksumTables::change(uint64_t group, ChecksumTable *&out_table) {
    Kept *kept = nullptr;
    if (const int32_t status = keep(group, true, kept); status != 0)
        return status;
    kept->changed = true;
    out_table = kept->table.get();
    return 0;
}

int32_t ChecksumTables::flush(std::vector<IndexEntry> &out_index) {
    for (auto &[group, kept] : kept_tables)
        if (const int32_t status = write_back(group, kept); status != 0)
            return status;
    out_index.clear();
    out_index.reserve(index.size());
    for (const auto &[group, checksum] : index)
        out_index.push_back({group, checksum});
    return 0;
}

int32_t ChecksumTables::keep(uint64_t group, bool make, Kept *&out_kept) {
    auto found = kept_tables.find(group);
    if (found == kept_tables.end()) {
        const auto known = index.find(group);
        if (known == index.end() && !make)
            return 0;
        auto table = std::make_shared<ChecksumTable>();
        if (known != index.end())
            if (const int32_t status = load(group, known->second, *table); status != 0)
                return status;
        if (const int32_t status = make_room(); status != 0)
            return status;
        found = kept_tables.emplace(group, Kept{std::move(table)}).first;
    }
    found->second.last_use = ++uses;
    out_kept = &found->second;
    return 0;
}

int32_t ChecksumTables::load(uint64_t group, uint64_t checksum, ChecksumTable &table) const {
    const uint64_t place = table_place(group);
    const ssize_t got = file.read(table.data(), table_size, place);
    if (got < 0)
        return fail_system(errno, "cannot read %s at offset %ju", QuotedText(file.path()).c_str(), uintmax_t{place});
    if (static_cast<uint64_t>(got) < table_size)
        return fail(STSIMG_E_TRUNCATED, "%s ends within the checksum table at offset %ju",
                    QuotedText(file.path()).c_str(), uintmax_t{place});
    if (checksum_of_table(table, seed, group) != checksum)
        return fail(STSIMG_E_DAMAGED, "%s: the checksum table at offset %ju does not match its own checksum",
                    QuotedText(file.path()).c_str(), uintmax_t{place});
    return 0;
}

int32_t ChecksumTables::make_room() {
    if (kept_tables.size() < most_kept)
        return 0;
    const auto oldest = std::min_element(
        kept_tables.begin(), kept_tables.end(),
        [](const auto &one, const auto &other) { return one.second.last_use < other.second.last_use; });
    if (const int32_t status = write_back(oldest->first, oldest->second); status != 0)
        return status;
    STS_INVARIANT(!oldest->second.changed);
    kept_tables.erase(oldest);
    return 0;
}

int32_t ChecksumTables::write_back(uint64_t group, Kept &kept) {
    if (!kept.changed)
        return 0;
    const uint64_t place = table_place(group);
    index[group] = checksum_of_table(*kept.table, seed, group);
    const size_t used = size_in_use(*kept.table);
    STS_INVARIANT(used <= table_size);
    if (!draft->write(kept.table->data(), used, place))
        return fail_system(errno, "cannot write %s at offset %ju", QuotedText(file.path()).c_str(), uintmax_t{place});
    kept.changed = false;
    return 0;
}

}  // namespace stsimage
