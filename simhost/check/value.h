// The values of a file: what the plug-in makes of them, by its own functions, and what a person would find wrong there.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simhost/check/findings.h"
#include "simhost/check/source_text.h"

// The directories, inside those of LSUs, where the image library keeps images that are being written.
inline constexpr char unfinished_images[] = ".stsimg-unfinished";

enum class ValueKind {
    name,       // of a section
    list,       // of names
    size,       // in bytes
    text,       // a path, word or token of a disk array: loses its last character
    full_text,  // MOUNT_PATH: kept as it stands
    path        // of a Copan array: ends at its first ';'
};

// The value of a "KEY=VALUE" line: its text from begin on. Refers to the line.
class Value {
public:
    Value(const ReadLine &line, size_t begin, ValueKind kind);

    ValueKind kind() const { return m_kind; }
    const std::string &text() const { return m_text; }
    bool goes_on() const { return m_line->goes_on; }
    // Up to the first ';', which is what a person takes for the value.
    std::string said() const { return m_text.substr(0, said_size()); }
    size_t said_size() const;
    // Of the bytes of the value from first up to last.
    Place place(size_t first, size_t last) const { return m_line->place(m_begin + first, m_begin + last); }
    // Of what said() is.
    Place place() const;
    // Behind the last byte.
    Place place_behind() const { return m_line->place_behind(); }
    bool blank_before(size_t index) const { return m_line->blank_before(m_begin + index); }

private:
    const ReadLine *m_line;
    size_t m_begin;
    ValueKind m_kind;
    std::string m_text;
};

struct ListedName {
    std::string name;  // as the plug-in keeps it
    Place place;
};

// Each of the following returns what the plug-in makes of the value, and reports what is wrong with it.
ListedName check_name(const Value &value, const char *what, Findings &findings);
// what: "disk", "host", "volume".
std::vector<ListedName> check_names(const Value &value, const char *what, Findings &findings);
// The same for names that directories are made of. Those of sections are judged one by one.
std::vector<ListedName> check_directory_names(const Value &value, const char *what, Findings &findings);
void check_directory_name(const ListedName &name, const char *what, Findings &findings);

struct CheckedSize {
    uint64_t bytes = 0;
    bool is_as_written = false;  // the number of bytes that a person would take it for
};
CheckedSize check_size(const Value &value, Findings &findings);

// For text, full_text and path.
std::string check_text(const Value &value, Findings &findings);
