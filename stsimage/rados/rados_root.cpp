#include "stsimage/rados/rados_root.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/rados/image_parts.h"
#include "stspi/sts_status.h"

namespace stsimage {

namespace {

bool remove_prefix(std::string_view prefix, std::string &text) {
    if (text.compare(0, prefix.size(), prefix) != 0)
        return false;
    text.erase(0, prefix.size());
    return true;
}

// Calls operation(name) for every object of the root.
template <class Operation>
int for_each_object(Pool &pool, Operation operation) {
    return pool.ask([&](auto &io) {
        try {
            const auto end = io.nobjects_end();
            for (auto object = io.nobjects_begin(); object != end; ++object) {
                if (process_ends())
                    return -ENOTCONN;
                operation(object->get_oid());
            }
            return 0;
        } catch (const std::system_error &failure) {
            return -std::abs(failure.code().value());
        }
    });
}

// What there is of a shard's pages, in one call of operation(page) each.
template <class Operation>
int for_each_page(const NameTable &table, unsigned shard, Operation operation) {
    NameTable::Page page;
    std::string after;
    do {
        if (const int result = table.read_page(shard, after, page); result < 0)
            return result;
        after = page.last_key;
        if (!operation(page))
            return 0;
    } while (page.more);
    return 0;
}

Leftover describe_garbage(const Garbage &garbage, const std::string &lsu, Pool &pool) {
    Leftover leftover{LeftoverKind::deleted, lsu, "", pool.name() + ": " + part_object(garbage.id, 0)};
    if (garbage.size == unknown_size)
        leftover.kind = LeftoverKind::draft;
    else
        leftover.stored_bytes = garbage.size;
    return leftover;
}

}  // namespace

int32_t RadosRoot::open(std::string_view location, std::unique_ptr<StoreRoot> &out_root) {
    std::shared_ptr<Pool> pool;
    if (const int32_t status = Pool::connect(location, pool); status != 0)
        return status;
    out_root = std::make_unique<RadosRoot>(std::move(pool));
    return 0;
}

int32_t RadosRoot::list_lsus(std::vector<std::string> &out_lsus) {
    out_lsus.clear();
    const int result = for_each_object(*pool, [&out_lsus](std::string object) {
        if (remove_prefix("lsu/", object))
            out_lsus.push_back(std::move(object));
    });
    if (result < 0)
        return fail_system(errno_of(result), "cannot list the LSUs in %s", QuotedText(pool->name()).c_str());
    std::sort(out_lsus.begin(), out_lsus.end());
    return 0;
}

int32_t RadosRoot::find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) {
    NameTable table(pool, lsu);
    bool there = false;
    int result = table.ask_whether_there(there);
    if (result == 0 && !there)
        return fail(STS_E_NOT_FOUND, "there is no LSU %s", QuotedText(table.path()).c_str());
    const bool removes = disposal == Disposal::remove;
    bool wanted = true;
    for (unsigned shard = 0; result >= 0 && wanted && shard < NameTable::shards; ++shard)
        result = for_each_page(table, shard, [&](const NameTable::Page &page) {
            for (const Garbage &garbage : page.garbage) {
                Leftover leftover = describe_garbage(garbage, lsu, *pool);
                const int asked = ask_whether_read(*pool, garbage.id, leftover.in_use);
                leftover.in_use = leftover.in_use || (asked < 0 && asked != -ENOENT);
                leftover.removed = removes && !leftover.in_use && table.clear(shard, garbage) == 0;
                wanted = wanted && listener(leftover);
            }
            for (const auto &[name, claim] : page.claims) {
                const Garbage parts{claim.id, unknown_size};
                Leftover leftover = describe_garbage(parts, lsu, *pool);
                leftover.name = name;
                leftover.in_use = table.ask_whether_lives(claim, leftover.in_use) < 0 || leftover.in_use;
                if (removes && !leftover.in_use) {
                    int result_of_giving_up = 0;
                    const Change given_up = table.give_up(name, claim, result_of_giving_up);
                    if (given_up == Change::refused)
                        continue;  // somebody else has come by it
                    leftover.removed = given_up == Change::done && table.clear(shard, parts) == 0;
                }
                wanted = wanted && listener(leftover);
            }
            return wanted;
        });
    return result < 0
               ? fail_system(errno_of(result), "cannot look through the LSU %s", QuotedText(table.path()).c_str())
               : 0;
}

// Leaves those that no table knows. A note that cannot be read may be of any of them.
int RadosRoot::forget_noted(const std::vector<std::string> &lsus, PartsById &parts) {
    for (const std::string &lsu : lsus) {
        const NameTable table(pool, lsu);
        for (unsigned shard = 0; shard < NameTable::shards; ++shard) {
            bool is_understood = true;
            const int result = for_each_page(table, shard, [&](const NameTable::Page &page) {
                for (const std::string &id : page.ids)
                    parts.erase(id);
                return is_understood = page.is_understood;
            });
            if (result < 0 || !is_understood)
                return result < 0 ? result : -EBADMSG;
        }
    }
    return 0;
}

// A note is there before the parts, so parts are listed first, and notes are looked for afterwards. It may move meanwhile, from
// a draft's to an image's, past the place where the table is being read: one that was not found is looked for once more, in
// the tables that there are by then. It can move once more only by the deletion of that image.
int RadosRoot::find_parts_without_note(PartsById &out_parts) {
    out_parts.clear();
    for (int look = 0; look < 2; ++look) {
        std::vector<std::string> lsus;
        PartsById parts;
        const int listed = for_each_object(*pool, [&](std::string object) {
            if (remove_prefix("lsu/", object)) {
                lsus.push_back(std::move(object));
            } else if (std::string id = id_of_part(object); !id.empty() && (look == 0 || out_parts.count(id) != 0)) {
                std::set<std::string> &known = parts[std::move(id)];
                if (look != 0)  // the first look sees the parts of every image
                    known.insert(std::move(object));
            }
        });
        if (listed < 0)
            return listed;
        out_parts = std::move(parts);
        if (const int result = forget_noted(lsus, out_parts); result < 0 || out_parts.empty())
            return result;
    }
    return 0;
}

int32_t RadosRoot::find_orphans(Disposal disposal, const LeftoverListener &listener) {
    PartsById orphans;
    if (const int result = find_parts_without_note(orphans); result < 0)
        return fail_system(errno_of(result), "cannot look for parts of no image in %s%s",
                           QuotedText(pool->name()).c_str(), note_of(result));
    for (const auto &[id, objects] : orphans) {
        Leftover leftover{LeftoverKind::orphan, "", "", pool->name() + ": " + part_object(id, 0)};
        const int asked = ask_whether_read(*pool, id, leftover.in_use);
        leftover.in_use = leftover.in_use || (asked < 0 && asked != -ENOENT);
        leftover.removed = disposal == Disposal::remove && !leftover.in_use;
        for (const std::string &object : objects) {
            uint64_t size = 0;
            if (pool->ask([&](auto &io) { return io.stat(object, &size, nullptr); }) == 0)
                leftover.stored_bytes += size;
            if (disposal == Disposal::remove && !leftover.in_use) {
                const int removed = pool->ask([&](auto &io) { return io.remove(object); });
                leftover.removed = leftover.removed && (removed == 0 || removed == -ENOENT);
            }
        }
        if (!listener(leftover))
            break;
    }
    return 0;
}

}  // namespace stsimage
