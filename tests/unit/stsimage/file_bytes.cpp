#include "tests/unit/stsimage/file_bytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

std::string file_bytes(const std::filesystem::path &path, uint64_t offset, size_t length) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    std::string bytes(length, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(length));
    bytes.resize(static_cast<size_t>(file.gcount()));
    return bytes;
}

void put_file_bytes(const std::filesystem::path &path, uint64_t offset, const std::string &bytes) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

uint64_t number_at(const std::string &bytes, size_t offset, size_t width) {
    uint64_t number = 0;
    for (size_t place = offset + width; place-- > offset;)
        number = number << 8 | (place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0);
    return number;
}

void put_number(std::string &bytes, size_t offset, uint64_t value, size_t width) {
    for (size_t place = 0; place < width; ++place, value >>= 8)
        bytes.at(offset + place) = static_cast<char>(value & 0xff);
}

void flip_bit(const std::filesystem::path &path, uint64_t offset, int bit) {
    std::string byte = file_bytes(path, offset, 1);
    byte[0] = static_cast<char>(byte[0] ^ (1 << bit));
    put_file_bytes(path, offset, byte);
}

std::vector<uint64_t> data_pages(const std::filesystem::path &path) {
    std::vector<uint64_t> pages;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    for (off_t end = 0;;) {
        const off_t begin = lseek(file, end, SEEK_DATA);
        if (begin < 0)
            break;
        end = lseek(file, begin, SEEK_HOLE);
        for (off_t page = begin / 4096 * 4096; page < end; page += 4096)
            pages.push_back(static_cast<uint64_t>(page));
    }
    close(file);
    return pages;
}
