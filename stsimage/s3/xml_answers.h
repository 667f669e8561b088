// What the service says in XML. It may say anything: what is not understood is told as such, never guessed.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace stsimage::s3 {

// Empty when a body is no error.
struct ServiceError {
    std::string code;
    std::string message;
};

ServiceError read_error(const std::string &body);

struct ListedObject {
    std::string key;
    uint64_t size = 0;
    std::time_t modified = 0;
};

struct ListPage {
    std::vector<ListedObject> objects;
    std::vector<std::string> prefixes;  // that stand for all keys below them, where a delimiter was asked for
    std::string continuation;           // empty on the last page
};

// A page of a list. False for anything else.
bool read_list(const std::string &body, ListPage &out_page);

}  // namespace stsimage::s3
