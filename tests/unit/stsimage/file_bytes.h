// Meddling with the bytes of a file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

std::string file_bytes(const std::filesystem::path &path, uint64_t offset, size_t length);
void put_file_bytes(const std::filesystem::path &path, uint64_t offset, const std::string &bytes);

// A number among the bytes of an image file, least significant byte first. Reading gives 0 beyond their end.
uint64_t number_at(const std::string &bytes, size_t offset, size_t width = 8);
void put_number(std::string &bytes, size_t offset, uint64_t value, size_t width = 8);

// Turns one bit over.
void flip_bit(const std::filesystem::path &path, uint64_t offset, int bit);

// The offsets of the 4 KiB pages of a file that are no holes.
std::vector<uint64_t> data_pages(const std::filesystem::path &path);
