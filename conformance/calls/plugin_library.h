// A plug-in as a loaded shared library: its symbols by name, nothing else.
#pragma once

#include <string>

namespace conformance {

class PluginLibrary {
public:
    // Throws std::runtime_error with the loader's reason. mode as for dlopen.
    PluginLibrary(const std::string &path, int mode);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary &) = delete;
    PluginLibrary &operator=(const PluginLibrary &) = delete;

    // Null when the library itself does not export the name; what it depends on does not count.
    void *symbol(const std::string &name) const;

    // The object that holds an address, "" for none.
    static std::string object_of(const void *address);

    // True while any handle keeps the library in this process.
    static bool is_loaded(const std::string &path);

    void *handle() const { return handle_; }

private:
    std::string file_name_;
    void *handle_;
    void *base_;
};

// Every library next to the suite's program is looked up here: "../lib/stspi-conformance" of the program's directory.
std::string suite_library(const std::string &file_name);

}  // namespace conformance
