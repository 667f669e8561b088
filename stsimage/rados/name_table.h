// The names of an LSU's images, and who is writing which.
//
// They lie in the key-value maps of 32 objects, a name in the one that its hash picks. Each change is one operation on one
// such object, which happens as a whole or not at all, and only if what it builds on is still so:
//
//     i:NAME  the image of that name: its number and its size as stored
//     w:NAME  the draft of that name: its number and the process that writes it
//     g:ID    parts that belong to no name any more and may be removed once nobody reads them: their size, or "?"
//
// So no clock and no lock decides who may publish. A process that seemed dead and is not finds its claim gone.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stsimage/rados/pool.h"

namespace stsimage {

struct ImageEntry {
    std::string id;
    uint64_t size = 0;  // of what is stored: beyond the image's own, see the format
};

struct Claim {
    std::string id;
    ProcessNumber writer = 0;
};

// Parts without a name.
struct Garbage {
    std::string id;
    uint64_t size = 0;
};

enum class Change { done, refused, unknown, failed };

// What to add to a message of why a name cannot be found or changed; most often nothing.
const char *note_of(int result);

class NameTable {
public:
    static constexpr unsigned shards = 32;

    NameTable(std::shared_ptr<Pool> pool, std::string lsu);

    // For messages: the LSU, and an image in it.
    std::string path() const { return names_pool->name() + ": " + lsu; }
    std::string path_of(std::string_view name) const { return path().append("/").append(name); }

    Pool &pool() const { return *names_pool; }

    // Whether the LSU is there.
    int ask_whether_there(bool &out_there);

    // Makes it, for good, and those above it in its text, as directories would be.
    int make();

    // What there is under a name; nothing is no failure. -EBADMSG: something that is no record.
    int find(std::string_view name, std::optional<ImageEntry> &out_image, std::optional<Claim> &out_claim);

    // Claims a name for a draft, instead of a dead writer's claim if there is one, which becomes garbage.
    // Refused: somebody else was quicker, or the dead one was not dead.
    Change claim(std::string_view name, const Claim &claim, const std::optional<Claim> &dead, int &out_result);

    // Gives the name to a draft that has the claim, instead of the image that bears it, which becomes garbage.
    Change publish(std::string_view name, const Claim &claim, const ImageEntry &image,
                   const std::optional<ImageEntry> &replaced, int &out_result);

    // Ends a claim; the parts become garbage.
    Change give_up(std::string_view name, const Claim &claim, int &out_result);

    // Takes the name from an image, which becomes garbage.
    Change remove(std::string_view name, const ImageEntry &image, int &out_result);

    // Whether parts are garbage of the shard of this name.
    int find_garbage(std::string_view name, const std::string &id, std::optional<Garbage> &out_garbage);

    // Removes the parts and forgets them, unless somebody reads them: -EBUSY. The shard is the one that has noted them.
    int clear(unsigned shard, const Garbage &garbage);
    unsigned shard_of(std::string_view name) const;

    struct Page {
        std::vector<std::string> names;
        std::vector<std::pair<std::string, Claim>> claims;
        std::vector<Garbage> garbage;
        std::vector<std::string> ids;  // of all of these
        bool is_understood = true;     // no entry is damaged, or of another version
        std::string last_key;          // to go on from
        bool more = false;
    };

    // A page of a shard, from behind a key on.
    int read_page(unsigned shard, const std::string &after, Page &out_page) const;

    // Whether the writer of a draft lives, and knows of it. Gives 0 or what librados gave.
    int ask_whether_lives(const Claim &claim, bool &out_lives) const;

private:
    using Values = std::map<std::string, librados::bufferlist>;

    std::string object(unsigned shard) const;
    Change change(std::string_view name, const std::map<std::string, std::string> &expected,
                  const std::map<std::string, std::string> &set, const std::vector<std::string> &removed,
                  int &out_result);

    std::shared_ptr<Pool> names_pool;
    std::string lsu;
};

}  // namespace stsimage
