// The names of the images in a directory, straight from it, however many there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "stsimage/file_descriptor.h"
#include "stsimage/lsu_directory.h"
#include "stsimage/name_list.h"

namespace stsimage {

class DirectoryNames : public NameList {
public:
    static int32_t open(const LsuDirectory &lsu, std::unique_ptr<NameList> &out_names);

    int32_t next(std::string_view &out_name) override;

private:
    int32_t read_names();

    std::string path;
    FileDescriptor directory;
    std::unique_ptr<char[]> names;  // entries as the kernel hands them over
    size_t filled = 0;              // bytes of them
    size_t place = 0;               // of the next entry
};

}  // namespace stsimage
