// What the exported functions carry, and so which selectors and effects have a meaning there. Arguments and fields are
// those of the journal's table of entry points.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "filter/rules/function_number.h"
#include "journal/entry_points.h"

namespace filter {

// What a call tells of itself: a rule may ask for it.
enum Subject : uint32_t {
    subject_server = 1 << 0,
    subject_host = 1 << 1,
    subject_lsu = 1 << 2,
    subject_image = 1 << 3,
    subject_mount_point = 1 << 4,
    subject_extent = 1 << 5,  // offset, length, bytes moved
    subject_session = 1 << 6  // for messages
};

// What can be done to a call beyond what can be done to any.
enum Ability : uint32_t {
    ability_change_written = 1 << 0,  // data on its way in
    ability_change_read = 1 << 1,     // data on its way out
    ability_stale = 1 << 2,           // there is a record, a text or data to keep as it was
    ability_lose = 1 << 3,            // success can be said without the call
    ability_list = 1 << 4,            // gives the entries of a list
    ability_short = 1 << 5,           // takes a length
    ability_count = 1 << 6            // tells how many bytes it moved
};

struct FunctionTraits {
    uint32_t subjects;
    uint32_t abilities;
    // Arguments that the interface fixes; -1: it does not, or a plug-in may hand on more of them.
    int arguments;
};

const FunctionTraits &traits(unsigned function);

inline bool gives_list_entries(unsigned function) { return (traits(function).abilities & ability_list) != 0; }

// A field that the effect "set" can write once the call has succeeded.
struct Field {
    std::string name;
    unsigned argument = 0;  // the pointer that leads to the record
    size_t offset = 0;
    size_t size = 0;
    bool is_text = false;  // or else a number
};
const std::vector<Field> &fields(unsigned function);
const Field *find_field(unsigned function, const std::string &name);

// The memory that a call fills when it succeeds.
struct Result {
    int argument = -1;  // the pointer to it; -1: none
    size_t size = 0;    // 0: as the call's length says
};
Result result_of(unsigned function);

// Numbers of arguments; -1: none.
struct Extent {
    int offset = -1;
    int length = -1;
    int count = -1;  // where the number of bytes moved is told
};
Extent extent_of(unsigned function);

// The argument through which a handle is given; -1: none.
struct OpenedHandle {
    int argument = -1;
    journal::HandleKind kind = journal::HandleKind::none;
};
OpenedHandle opened_handle(unsigned function);

enum class NameSource : uint8_t { handle, session, server, hosts, lsu, image, mount_point };

// An argument that tells a name, or leads to one.
struct NamedArgument {
    NameSource source;
    uint8_t argument;
    uint8_t count_argument;    // of hosts: the number of the argument that tells how many
    journal::HandleKind kind;  // of a handle
    bool ends_handle;
};
// In the order of the arguments. Of several handles only the first is among them: what is done is done to it.
const std::vector<NamedArgument> &named_arguments(unsigned function);

// The number of a function in the journal's table.
journal::EntryPointNumber journal_number(unsigned function);

// The name without "stspi_".
std::string short_name(unsigned function);

}  // namespace filter
