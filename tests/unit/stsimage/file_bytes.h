// Meddling with the bytes of a file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

std::string file_bytes(const std::filesystem::path &path, uint64_t offset, size_t length);
void put_file_bytes(const std::filesystem::path &path, uint64_t offset, const std::string &bytes);

// Turns one bit over.
void flip_bit(const std::filesystem::path &path, uint64_t offset, int bit);

// The offsets of the 4 KiB pages of a file that are no holes.
std::vector<uint64_t> data_pages(const std::filesystem::path &path);
