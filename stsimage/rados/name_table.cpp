#include "stsimage/rados/name_table.h"

#include <rados/librados.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <set>
#include <utility>

#include "stsimage/rados/image_parts.h"
#include "stsimage/random_id.h"

namespace stsimage {

namespace {

constexpr uint64_t entries_at_once = 1000;

std::string image_key(std::string_view name) { return std::string("i:").append(name); }
std::string claim_key(std::string_view name) { return std::string("w:").append(name); }
std::string garbage_key(const std::string &id) { return "g:" + id; }

std::string text_of(const ImageEntry &image) { return image.id + ' ' + std::to_string(image.size); }
std::string text_of(const Claim &claim) { return claim.id + ' ' + std::to_string(claim.writer); }
std::string text_of(const std::optional<ImageEntry> &image) { return image ? text_of(*image) : ""; }

librados::bufferlist buffer_of(const std::string &text) {
    librados::bufferlist buffer;
    buffer.append(text);
    return buffer;
}

// "ID NUMBER"; false for anything else, and for what is written in another way than here: no comparison would find it again.
bool parse(const std::string &text, std::string &out_id, uint64_t &out_number) {
    constexpr size_t id_length = 32;
    out_id = text.substr(0, id_length);
    if (!is_random_id(out_id) || text.compare(id_length, 1, " ") != 0)
        return false;
    const std::string number = text.substr(id_length + 1);
    out_number = std::strtoull(number.c_str(), nullptr, 10);
    return number == std::to_string(out_number);
}

uint64_t size_of_garbage(const std::string &text) {
    return text == "?" ? unknown_size : std::strtoull(text.c_str(), nullptr, 10);
}

std::string text_after(std::string_view prefix, const std::string &key) { return key.substr(prefix.size()); }

bool begins_with(const std::string &key, std::string_view prefix) { return key.compare(0, prefix.size(), prefix) == 0; }

}  // namespace

const char *note_of(int result) { return result == -EBADMSG ? ": the record of the name is damaged" : ""; }

NameTable::NameTable(std::shared_ptr<Pool> table_pool, std::string table_lsu)
    : names_pool(std::move(table_pool)), lsu(std::move(table_lsu)) {}

// FNV-1a: every version and every processor must find a name in the same object.
unsigned NameTable::shard_of(std::string_view name) const {
    uint32_t hash = 2166136261u;
    for (const char character : name)
        hash = (hash ^ static_cast<unsigned char>(character)) * 16777619u;
    return hash % shards;
}

std::string NameTable::object(unsigned shard) const {
    char number[8];
    std::snprintf(number, sizeof number, ":%02x", shard);
    return "names/" + lsu + number;
}

int NameTable::ask_whether_there(bool &out_there) {
    out_there = pool().knows_lsu(lsu);
    if (out_there)
        return 0;
    const int result = pool().ask([&](auto &io) { return io.stat("lsu/" + lsu, nullptr, nullptr); });
    if (result == -ENOENT)
        return 0;
    if (result == 0) {
        pool().note_lsu(lsu);
        out_there = true;
    }
    return result;
}

int NameTable::make() {
    for (size_t end = 0; end != lsu.npos;) {
        end = lsu.find('/', end + 1);
        const std::string above = lsu.substr(0, end);
        if (const int result = pool().ask([&](auto &io) { return io.create("lsu/" + above, false); }); result < 0)
            return result;
        pool().note_lsu(above);
    }
    return 0;
}

int NameTable::find(std::string_view name, std::optional<ImageEntry> &out_image, std::optional<Claim> &out_claim) {
    out_image.reset();
    out_claim.reset();
    Values found;
    const int result = pool().ask([&](auto &io) {
        return io.omap_get_vals_by_keys(object(shard_of(name)), {image_key(name), claim_key(name)}, &found);
    });
    if (result < 0)
        return result == -ENOENT ? 0 : result;
    for (auto &[key, value] : found) {
        const std::string text = value.to_str();
        ImageEntry image;
        Claim claim;
        if (begins_with(key, "i:") && parse(text, image.id, image.size))
            out_image = image;
        else if (begins_with(key, "w:") && parse(text, claim.id, claim.writer))
            out_claim = claim;
        else
            return -EBADMSG;
    }
    return 0;
}

Change NameTable::change(std::string_view name, const std::map<std::string, std::string> &expected,
                         const std::map<std::string, std::string> &set, const std::vector<std::string> &removed,
                         int &out_result) {
    librados::ObjectWriteOperation operation;
    operation.create(false);
    std::map<std::string, std::pair<librados::bufferlist, int>> comparisons;
    for (const auto &[key, text] : expected)
        comparisons[key] = {buffer_of(text), LIBRADOS_CMPXATTR_OP_EQ};  // nothing there is equal to nothing
    operation.omap_cmp(comparisons, nullptr);
    Values values;
    for (const auto &[key, text] : set)
        values[key] = buffer_of(text);
    if (!values.empty())
        operation.omap_set(values);
    if (!removed.empty())
        operation.omap_rm_keys(std::set<std::string>(removed.begin(), removed.end()));
    out_result = pool().ask([&](auto &io) { return io.operate(object(shard_of(name)), &operation); });
    if (out_result == 0)
        return Change::done;
    if (out_result == -ECANCELED)
        return Change::refused;
    // Whatever came from the cluster itself was not done. What came from waiting for it may have been.
    return out_result == -ETIMEDOUT || out_result == -ESHUTDOWN ? Change::unknown : Change::failed;
}

Change NameTable::claim(std::string_view name, const Claim &claim, const std::optional<Claim> &dead, int &out_result) {
    std::map<std::string, std::string> set{{claim_key(name), text_of(claim)}};
    if (dead)
        set[garbage_key(dead->id)] = "?";
    return change(name, {{claim_key(name), dead ? text_of(*dead) : ""}}, set, {}, out_result);
}

Change NameTable::publish(std::string_view name, const Claim &claim, const ImageEntry &image,
                          const std::optional<ImageEntry> &replaced, int &out_result) {
    std::map<std::string, std::string> set{{image_key(name), text_of(image)}};
    if (replaced)
        set[garbage_key(replaced->id)] = std::to_string(replaced->size);
    return change(name, {{claim_key(name), text_of(claim)}, {image_key(name), text_of(replaced)}}, set,
                  {claim_key(name)}, out_result);
}

Change NameTable::give_up(std::string_view name, const Claim &claim, int &out_result) {
    return change(name, {{claim_key(name), text_of(claim)}}, {{garbage_key(claim.id), "?"}}, {claim_key(name)},
                  out_result);
}

Change NameTable::remove(std::string_view name, const ImageEntry &image, int &out_result) {
    return change(name, {{image_key(name), text_of(image)}}, {{garbage_key(image.id), std::to_string(image.size)}},
                  {image_key(name)}, out_result);
}

int NameTable::find_garbage(std::string_view name, const std::string &id, std::optional<Garbage> &out_garbage) {
    out_garbage.reset();
    Values found;
    const int result = pool().ask(
        [&](auto &io) { return io.omap_get_vals_by_keys(object(shard_of(name)), {garbage_key(id)}, &found); });
    if (result == 0 && !found.empty())
        out_garbage = Garbage{id, size_of_garbage(found.begin()->second.to_str())};
    return result == -ENOENT ? 0 : result;
}

int NameTable::clear(unsigned shard, const Garbage &garbage) {
    bool read = false;
    int result = ask_whether_read(pool(), garbage.id, read);
    if (read)
        return -EBUSY;
    if (result == 0 || result == -ENOENT)
        result = remove_parts(pool(), garbage.id, garbage.size);
    if (result < 0)
        return result;
    return pool().ask([&](auto &io) { return io.omap_rm_keys(object(shard), {garbage_key(garbage.id)}); });
}

int NameTable::read_page(unsigned shard, const std::string &after, Page &out_page) const {
    Values found;
    bool more = false;
    out_page = Page();
    librados::ObjectReadOperation look;
    int found_result = 0;
    look.omap_get_vals2(after, entries_at_once, &found, &more, &found_result);
    const int result = pool().ask([&](auto &io) { return io.operate(object(shard), &look, nullptr); });
    if (result < 0)
        return result == -ENOENT ? 0 : result;
    for (const auto &[key, value] : found) {
        const std::string text = value.to_str();
        ImageEntry image;
        Claim claim;
        if (begins_with(key, "i:")) {
            out_page.names.push_back(text_after("i:", key));
            out_page.is_understood = parse(text, image.id, image.size) && out_page.is_understood;
            out_page.ids.push_back(image.id);
        } else if (begins_with(key, "g:")) {
            out_page.garbage.push_back({text_after("g:", key), size_of_garbage(text)});
            out_page.ids.push_back(out_page.garbage.back().id);
        } else if (begins_with(key, "w:") && parse(text, claim.id, claim.writer)) {
            out_page.claims.emplace_back(text_after("w:", key), claim);
            out_page.ids.push_back(claim.id);
        } else {
            out_page.is_understood = false;
        }
        out_page.last_key = key;
    }
    out_page.more = more && !found.empty();
    return 0;
}

// A claim of this process's own whose draft it has no more is left from one that could not be given up.
int NameTable::ask_whether_lives(const Claim &claim, bool &out_lives) const {
    if (claim.writer != pool().own_number())
        return pool().ask_whether_lives(claim.writer, out_lives);
    out_lives = pool().has_draft(claim.id);
    return 0;
}

}  // namespace stsimage
