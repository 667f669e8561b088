// An image that is open for reading.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "stsimage/file_descriptor.h"
#include "stsimage/image.h"
#include "stsimage/image_content.h"
#include "stsimage/lsu_directory.h"

namespace stsimage {

// Opens the file of an image, whatever it holds. STS_E_NOT_FOUND when there is none.
int32_t open_image_file(const LsuDirectory &lsu, std::string_view name, FileDescriptor &out_file);

// Reads and checks the header of an image, and of one whose file another host has just written until this one sees it.
int32_t read_header_of_image(const LsuDirectory &lsu, std::string_view name, ImageHeader &out_header);

class ImageReader : public Image {
public:
    static int32_t open(const LsuDirectory &lsu, std::string_view name, std::shared_ptr<Image> &out_image);

    int32_t read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) override;
    int32_t write(const void *data, uint64_t length, uint64_t offset) override;
    int32_t describe(sts_image_info_t &out_info) override;
    int32_t close() override { return 0; }

private:
    std::string name;
    FileDescriptor file;
    std::unique_ptr<ImageContent> content;
};

// Reads what there is of a range of an image: less at its end, nothing past it.
int32_t read_within_size(ImageContent &content, void *buffer, uint64_t length, uint64_t offset,
                         uint64_t &out_bytes_read);

}  // namespace stsimage
