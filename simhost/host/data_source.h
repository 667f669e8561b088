// The data of an image to be: a file or standard input.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

class DataSource {
public:
    // "-" is standard input. Throws UsageError when the file cannot be opened or is a directory.
    explicit DataSource(const std::string &name);
    ~DataSource();
    DataSource(const DataSource &) = delete;
    DataSource &operator=(const DataSource &) = delete;

    // For people: the file's name, or "standard input".
    const std::string &name() const { return m_name; }
    // Known for a regular file.
    std::optional<uint64_t> size() const { return m_size; }
    bool is_terminal() const;

    // Fills the buffer as far as there is data; fewer bytes only at the end. Throws UsageError when reading fails,
    // Interrupted when the user asks to stop.
    size_t read(void *buffer, size_t length);

    // Whether the same bytes can be read again, with read_at.
    bool is_rereadable() const { return m_size.has_value(); }
    size_t read_at(void *buffer, size_t length, uint64_t offset);

private:
    std::string m_name;
    int m_descriptor;
    std::optional<uint64_t> m_size;
};
