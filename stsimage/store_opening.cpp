#include "stsimage/store_opening.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "stsimage/directory_store.h"
#include "stsimage/engine_loading.h"
#include "stsimage/last_error.h"
#include "stsimage/lsu_text.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

// What begins the setting of a root that lies in an engine. Directories begin with '/'.
constexpr std::string_view engine_roots[] = {"rados:"};

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

int32_t open_in_engine(std::string_view root, std::string_view prefix, std::string_view text, WhenMissing when_missing,
                       std::unique_ptr<Store> &out_store) {
    std::string lsu;
    if (const int32_t status = normalize_lsu_text(text, lsu); status != 0)
        return status;
    const Engine *engine = nullptr;
    if (const int32_t status = find_engine(std::string(prefix.substr(0, prefix.find(':'))), engine); status != 0)
        return status;
    return engine->open_lsu(root.substr(prefix.size()), lsu, when_missing, out_store);
}

}  // namespace

int32_t open_store(const char *lsu_text, WhenMissing when_missing, std::unique_ptr<Store> &out_store) {
    const std::string_view text(lsu_text, strnlen(lsu_text, longest_lsu_text + 1));
    if (const int32_t status = check_lsu_text(text); status != 0)
        return status;
    const char *const setting = std::getenv("STSIMAGE_ROOT");
    const std::string_view root = setting != nullptr ? setting : "";
    const std::string_view prefix = engine_prefix_of(root);
    bool in_engine = !prefix.empty();
    if (in_engine && text.front() == '/')
        if (const int32_t status = ask_whether_absolute_is_mapped(in_engine); status != 0)
            return status;
    return in_engine ? open_in_engine(root, prefix, text, when_missing, out_store)
                     : DirectoryStore::open_lsu(text, when_missing, out_store);
}

}  // namespace stsimage
