// What a host may do, as values: a call of an entry point with its arguments, or a change that the host makes between calls.
//
// Handles are named by the call that opens them (Call::id), never by value, so a history stays the same wherever it runs.
// Texts may hold "{work}", the history's own directory, and "{own}", a name that no other history uses.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace conformance::model {

enum class Operation : uint8_t {
    init,
    init2,
    claim,
    terminate,
    ioctl,
    open_server,
    create_server,
    open_target_server,
    close_server,
    get_server_prop,
    get_server_prop_byname,
    open_lsu_list,
    open_dynamic_lsu_list,
    list_lsu,
    close_lsu_list,
    get_lsu_prop_byname,
    mount_lsu,
    unmount_lsu,
    create_image,
    open_image,
    delete_image,
    open_image_list,
    get_image_prop_byname,
    close_image,
    close_image_list,
    get_image_prop,
    list_image,
    read_image,
    write_image,
    copy_extent,
    include_in_image,
    not_supported,  // Call::text says which
    load_process,
    set_mask,   // the host changes the mask of Call::session to numbers[0]
    set_config  // the host writes the configuration file Call::name with Call::text, or removes it
};

enum : size_t { OPERATIONS = static_cast<size_t>(Operation::set_config) + 1 };

enum : int { NULL_SESSION = -1, SESSIONS = 3 };

// Where a pointer that must not be followed leads to: the first page is never there.
constexpr uint64_t UNREADABLE = 0x111;

struct Call {
    Operation operation = Operation::claim;
    int id = 0;            // names what the call opens; not 0, and each but once in a history
    bool by_slot = false;  // through the table's slot, not by symbol
    int thread = 0;        // 0: the main thread. Neighbouring calls of other threads run at the same time
    int session = NULL_SESSION;
    int handle = 0;                   // id of the call that opened the server or list; 0 is a null handle
    bool null_record = false;         // no LSU record, or no record to be filled
    bool null_out = false;            // no place for a handle, a text, a count
    std::optional<std::string> name;  // server or LSU; nothing is a null
    std::optional<std::string> text;  // mount point, image, program's argument; nothing is a null
    std::vector<std::string> hosts;
    std::array<uint64_t, 5> numbers = {};  // what else there is, in the order of the arguments
    uint8_t fill = 0xa5;                   // what records hold before the call
    uint64_t ignored = UNREADABLE;         // what arguments hold that mean nothing
    int32_t library_status = 0;            // what the image library answers, the first time
    int32_t library_status_2 = 0;          // and the second time
    uint64_t library_count = 0;            // bytes that it says to have read
    uint64_t library_count_2 = 0;          // and written
};

// "stspi_open_server"; of changes "set the mask", "write the file".
std::string entry_point_name(const Call &call);

}  // namespace conformance::model
