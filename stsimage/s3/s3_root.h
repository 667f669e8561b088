// All that lies under one root in a bucket.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "stsimage/s3/image_root.h"
#include "stsimage/s3/loose_parts.h"
#include "stsimage/store_root.h"

namespace stsimage::s3 {

class S3Root : public StoreRoot {
public:
    static int32_t open(std::string_view location, std::unique_ptr<StoreRoot> &out_root);

    explicit S3Root(std::shared_ptr<ImageRoot> image_root) : root(std::move(image_root)) {}

    int32_t list_lsus(std::vector<std::string> &out_lsus) override;
    int32_t find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) override;
    int32_t find_orphans(Disposal disposal, const LeftoverListener &listener) override;

private:
    Answer find_lsus(std::vector<std::string> &out_lsus);
    bool look_at(const LooseParts &parts, Disposal disposal, Leftover &out_leftover);
    Answer find_ids_without_note(std::set<std::string> &out_ids);
    Answer forget_named(const std::string &lsu, std::set<std::string> &ids);

    std::shared_ptr<ImageRoot> root;
    std::map<std::string, std::string> lsu_of_id;  // as notes have said: all of them are listed for each LSU
};

}  // namespace stsimage::s3
