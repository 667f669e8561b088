// What a call must bring about, as far as the interface says it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace conformance::model {

struct Message {
    int session = 0;
    std::string text;
    int32_t level = 0;

    bool operator==(const Message &other) const {
        return session == other.session && text == other.text && level == other.level;
    }
};

// One argument register of a call into the image library.
struct Word {
    enum Kind : uint8_t { any, number, number32, definition, out, buffer } kind = any;
    uint64_t value = 0;
};

struct LibraryCall {
    std::string function;
    std::array<Word, 6> arguments = {};
    bool names_lsu = false;
    std::string lsu_text = {};
    std::string server_name = {};
};

// What becomes of the place for a handle.
enum class Stored : uint8_t {
    nothing,  // it keeps what it held
    handle,   // it receives a handle
    freed     // it receives something that is no handle any more
};

struct Expected {
    int32_t status = 0;
    Stored stored = Stored::nothing;
    bool any_messages = false;  // the interface does not say which
    std::vector<Message> messages = {};
    std::string output = {};                                 // on standard output
    std::optional<std::string> other_output = std::nullopt;  // as good as output
    std::vector<LibraryCall> library = {};
    std::string record = {};                       // the whole record or text field afterwards
    bool any_record = false;                       // the interface does not say what it holds
    std::string sizes_of = {};                     // the record's sizes are those of this path's file system
    std::optional<uint64_t> count = std::nullopt;  // what the place for a count holds; nothing: what it held
};

}  // namespace conformance::model
