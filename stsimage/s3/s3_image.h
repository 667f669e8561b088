// An image in a bucket that is open for reading.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "stsimage/s3/extent_map.h"
#include "stsimage/s3/log_reader.h"
#include "stsimage/s3/name_table.h"
#include "stsimage/stored_image.h"

namespace stsimage::s3 {

class S3Image : public StoredImage {
public:
    S3Image(NameTable table, std::string name);
    ~S3Image() override;

    // Opens the image that bears the name, and keeps its parts from being cleared away as long as this lives.
    int32_t open();

    const std::string &path() const override { return shown_path; }
    bool ask_size(uint64_t &out_size) override {
        out_size = entry.size;
        return true;
    }
    using StoredImage::read;
    ssize_t read(iovec *buffers, int count, uint64_t place) override;

    const ImageEntry &image() const { return entry; }
    const ExtentMap &map() const { return extents; }

    // A part of its log. As read().
    bool read_log(char *target, uint64_t length, uint64_t place) { return log->read(target, length, place); }

private:
    bool read_range(char *target, uint64_t length, uint64_t place);
    int read_map();  // gives an errno value
    void let_go();

    NameTable table;
    const std::string name;
    const std::string shown_path;
    ImageEntry entry;
    ExtentMap extents;
    std::unique_ptr<LogReader> log;
};

}  // namespace stsimage::s3
