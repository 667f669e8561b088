// What the model needs of the machine: its name, and what the file system answers. The calls that would change it go to a
// place of the model's own, so that what a plug-in did can be held against it.
#pragma once

#include <string>

namespace conformance::model {

class Machine {
public:
    virtual ~Machine() = default;

    // The name of a disk array: the machine's, with a domain behind it.
    virtual std::string array_name() = 0;

    // The plug-in's tables.
    virtual const void *first_table() = 0;
    virtual const void *second_table() = 0;

    // Each gives 0 or the system's error number.
    virtual int make_directory(const std::string &path) = 0;
    virtual int make_link(const std::string &target, const std::string &path) = 0;
    virtual int remove_link(const std::string &path) = 0;
    virtual int look_at(const std::string &path) = 0;
    virtual int ask_sizes(const std::string &path) = 0;

    // False for a directory that must not be made on this machine, by whomever.
    virtual bool may_make(const std::string &path) = 0;
};

}  // namespace conformance::model
