#include "stsimage/root_check.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "stsimage/image_reader.h"
#include "stsimage/last_error.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/store_opening.h"
#include "stspi/sts_status.h"

namespace stsimage {

namespace {

constexpr uint64_t bytes_at_once = uint64_t{1} << 20;

int32_t kind_of(const Leftover &leftover) {
    switch (leftover.kind) {
        case LeftoverKind::draft:
            return STSIMG_FOUND_DRAFT;
        case LeftoverKind::deleted:
            return STSIMG_FOUND_DELETED;
        case LeftoverKind::orphan:
            break;
    }
    return STSIMG_FOUND_ORPHAN;
}

class RootCheck {
public:
    RootCheck(uint32_t flags, stsimg_finding_function finding_function, void *finding_context)
        : disposal((flags & STSIMG_CHECK_REMOVE) != 0 ? Disposal::remove : Disposal::keep),
          verifies((flags & STSIMG_CHECK_VERIFY) != 0),
          function(finding_function),
          context(finding_context) {}

    int32_t check_all(StoreRoot &root);
    int32_t check_lsu(StoreRoot &root, const std::string &lsu);

    // What the function has given, when that was not 0: the check is at its end then.
    int32_t ended = 0;

private:
    bool tell(const sts_image_finding_t &finding) {
        ended = function(&finding, context);
        return ended == 0;
    }
    bool tell_leftover(const Leftover &leftover);
    bool tell_status(int32_t kind, const std::string &lsu, const char *name, uint64_t size, int32_t status);
    int32_t verify_images(const std::string &lsu);
    int32_t verify(Store &store, std::string_view name, uint64_t &out_size);

    const Disposal disposal;
    const bool verifies;
    const stsimg_finding_function function;
    void *const context;
    std::unique_ptr<char[]> buffer;
};

bool RootCheck::tell_leftover(const Leftover &leftover) {
    sts_image_finding_t finding{leftover.lsu.c_str(), leftover.name.c_str(), leftover.path.c_str(), "", 0, 0, 0, 0, 0};
    finding.size_bytes = leftover.stored_bytes;
    finding.kind = kind_of(leftover);
    finding.in_use = leftover.in_use ? 1 : 0;
    finding.removed = leftover.removed ? 1 : 0;
    return tell(finding);
}

bool RootCheck::tell_status(int32_t kind, const std::string &lsu, const char *name, uint64_t size, int32_t status) {
    const std::string failure = status != 0 ? last_error() : "";
    return tell({lsu.c_str(), name, "", failure.c_str(), size, kind, status, 0, 0});
}

int32_t RootCheck::verify(Store &store, std::string_view name, uint64_t &out_size) {
    std::shared_ptr<Image> image;
    if (const int32_t status = patiently([&] { return ImageReader::open(store, name, image); }); status != 0)
        return status;
    sts_image_info_t info;
    if (const int32_t status = image->describe(info); status != 0)
        return status;
    out_size = info.size_bytes;
    if (buffer == nullptr)
        buffer.reset(new char[bytes_at_once]);
    for (uint64_t place = 0; place < out_size; place += bytes_at_once) {
        uint64_t got = 0;
        if (const int32_t status = image->read(buffer.get(), bytes_at_once, place, got); status != 0)
            return status;
    }
    return 0;
}

int32_t RootCheck::verify_images(const std::string &lsu) {
    std::unique_ptr<Store> store;
    std::unique_ptr<NameList> names;
    const int32_t opened = patiently([&] {
        const int32_t status = open_store(lsu.c_str(), WhenMissing::fail, store);
        return status != 0 ? status : store->list(names);
    });
    if (opened != 0)
        return opened;
    std::string_view listed;
    int32_t status;
    while ((status = names->next(listed)) == 0) {
        const std::string name(listed);
        uint64_t size = 0;
        const int32_t verified = verify(*store, name, size);
        if (verified != STS_E_NOT_FOUND && !tell_status(STSIMG_FOUND_IMAGE, lsu, name.c_str(), size, verified))
            return 0;
    }
    return status == STS_E_NO_MORE_ENTRIES ? 0 : status;
}

int32_t RootCheck::check_lsu(StoreRoot &root, const std::string &lsu) {
    int32_t status =
        root.find_leftovers(lsu, disposal, [this](const Leftover &leftover) { return tell_leftover(leftover); });
    if (status == 0 && ended == 0 && verifies)
        status = verify_images(lsu);
    if (ended == 0)
        tell_status(STSIMG_FOUND_LSU, lsu, "", 0, status);
    return ended;
}

int32_t RootCheck::check_all(StoreRoot &root) {
    std::vector<std::string> lsus;
    if (const int32_t status = patiently([&] { return root.list_lsus(lsus); }); status != 0)
        return status;
    for (const std::string &lsu : lsus)
        if (check_lsu(root, lsu) != 0)
            return ended;
    const int32_t status =
        root.find_orphans(disposal, [this](const Leftover &leftover) { return tell_leftover(leftover); });
    return ended != 0 ? ended : status;
}

}  // namespace

int32_t check_root(const char *lsu, uint32_t flags, stsimg_finding_function tell, void *context) {
    std::unique_ptr<StoreRoot> root;
    std::string text;
    if (const int32_t status = open_root(lsu, root, text); status != 0)
        return status;
    RootCheck check(flags, tell, context);
    return lsu != nullptr ? check.check_lsu(*root, text) : check.check_all(*root);
}

}  // namespace stsimage
