// A list of an LSU's images: the names come straight from the directory, however many there are.
#pragma once

#include <dirent.h>

#include <memory>
#include <mutex>
#include <string>

#include "stsimage/lsu_directory.h"
#include "stspi/stsimg.h"

namespace stsimage {

class ImageList {
public:
    static int32_t open(LsuDirectory lsu, std::shared_ptr<ImageList> &out_list);

    int32_t next(sts_image_definition_t &out_definition);

private:
    struct CloseDirectory {
        void operator()(DIR *directory) const { closedir(directory); }
    };

    std::mutex mutex;
    std::string path;
    std::unique_ptr<DIR, CloseDirectory> stream;
};

}  // namespace stsimage
