// Where the data of an image goes: a file or standard output.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <string>

class DataSink {
public:
    // "-" is standard output, given as own_output. A file appears under its name only when finish is called. Throws
    // UsageError when it is there already and must not be replaced, or when it cannot be made.
    DataSink(const std::string &name, bool replace, FILE *own_output);
    // Drops what was not finished.
    ~DataSink();
    DataSink(const DataSink &) = delete;
    DataSink &operator=(const DataSink &) = delete;

    // For people: the file's name, or "standard output".
    const std::string &name() const { return m_name; }
    bool is_standard_output() const { return m_standard_output; }

    // Throws BadAnswer when writing fails, Interrupted when the user asks to stop.
    void write(const char *data, size_t length);
    // Flushes a file and gives it its name. Throws BadAnswer when that fails.
    void finish();

private:
    void start_write_back(off_t written);

    std::string m_name;
    bool m_standard_output;
    std::string m_temporary;  // empty when the data goes to its place at once
    int m_descriptor = -1;
    off_t m_end = 0;
    off_t m_waiting = 0;  // bytes before the end that the system was not yet asked to bring to the disk
};
