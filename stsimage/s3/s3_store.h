// The store that is a bucket of a service that speaks S3.
#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "stsimage/s3/name_table.h"
#include "stsimage/store.h"

namespace stsimage::s3 {

class S3Store : public Store {
public:
    static int32_t open_lsu(std::string_view location, std::string_view lsu, WhenMissing when_missing,
                            std::unique_ptr<Store> &out_store);

    explicit S3Store(NameTable names) : table(std::move(names)) {}

    int32_t begin(std::string_view name, std::unique_ptr<Draft> &out_draft) override;
    int32_t open(std::string_view name, std::unique_ptr<StoredImage> &out_image) override;
    int32_t remove(std::string_view name) override;
    int32_t list(std::unique_ptr<NameList> &out_names) override;

private:
    NameTable table;
};

}  // namespace stsimage::s3
