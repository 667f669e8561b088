#include "stsimage/store_opening.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "stsimage/directory_root.h"
#include "stsimage/directory_store.h"
#include "stsimage/engine_loading.h"
#include "stsimage/last_error.h"
#include "stsimage/lsu_text.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

// What begins the setting of a root that lies in an engine. Directories begin with '/'.
constexpr std::string_view engine_roots[] = {"rados:", "s3:"};

std::string_view engine_prefix_of(std::string_view root) {
    for (const std::string_view prefix : engine_roots)
        if (root.substr(0, prefix.size()) == prefix)
            return prefix;
    return {};
}

// Whether an LSU text that names a directory leads into the engine instead.
int32_t ask_whether_absolute_is_mapped(bool &out_mapped) {
    const char *const setting = std::getenv("STSIMAGE_ABSOLUTE");
    out_mapped = setting != nullptr && std::strcmp(setting, "store") == 0;
    if (out_mapped || setting == nullptr || *setting == '\0' || std::strcmp(setting, "directory") == 0)
        return 0;
    return fail(STSIMG_E_INVALID_LSU, "STSIMAGE_ABSOLUTE is %s, which is neither \"directory\" nor \"store\"",
                QuotedText(setting).c_str());
}

// Where an LSU text leads.
struct Place {
    const Engine *engine = nullptr;  // null: to a directory
    std::string_view location;       // in the engine
    std::string lsu;
};

int32_t find_engine_of_root(std::string_view root, std::string_view prefix, Place &out_place) {
    out_place.location = root.substr(prefix.size());
    return find_engine(std::string(prefix.substr(0, prefix.find(':'))), out_place.engine);
}

// Null leads to the root.
int32_t find_place(const char *lsu_text, Place &out_place) {
    const char *const setting = std::getenv("STSIMAGE_ROOT");
    const std::string_view root = setting != nullptr ? setting : "";
    const std::string_view prefix = engine_prefix_of(root);
    if (lsu_text == nullptr)
        return prefix.empty() ? 0 : find_engine_of_root(root, prefix, out_place);
    const std::string_view text(lsu_text, strnlen(lsu_text, longest_lsu_text + 1));
    if (const int32_t status = check_lsu_text(text); status != 0)
        return status;
    bool in_engine = !prefix.empty();
    if (in_engine && text.front() == '/')
        if (const int32_t status = ask_whether_absolute_is_mapped(in_engine); status != 0)
            return status;
    if (!in_engine) {
        out_place.lsu = text;
        return 0;
    }
    const int32_t status = normalize_lsu_text(text, out_place.lsu);
    return status != 0 ? status : find_engine_of_root(root, prefix, out_place);
}

}  // namespace

int32_t open_store(const char *lsu_text, WhenMissing when_missing, std::unique_ptr<Store> &out_store) {
    Place place;
    if (const int32_t status = find_place(lsu_text, place); status != 0)
        return status;
    return place.engine != nullptr ? place.engine->open_lsu(place.location, place.lsu, when_missing, out_store)
                                   : DirectoryStore::open_lsu(place.lsu, when_missing, out_store);
}

int32_t open_root(const char *lsu_text, std::unique_ptr<StoreRoot> &out_root, std::string &out_lsu) {
    Place place;
    if (const int32_t status = find_place(lsu_text, place); status != 0)
        return status;
    out_lsu = std::move(place.lsu);
    if (place.engine != nullptr)
        return place.engine->open_root(place.location, out_root);
    out_root = std::make_unique<DirectoryRoot>();
    return 0;
}

}  // namespace stsimage
