// A plug-in's shared library, loaded by path.
//
// It stays loaded until the program ends, so that what a plug-in keeps on purpose can still be named by a leak checker.
#pragma once

#include <string>

#include "stspi/stspi.h"

class PluginLibrary {
public:
    // Throws UsageError with the loader's words. image_library, if not empty, is loaded first: the plug-in then finds
    // its "libstsimage.so" already there. filter, if not empty, is loaded in the plug-in's place, and loads the plug-in.
    PluginLibrary(const std::string &path, const std::string &image_library, const std::string &filter);

    // Null when there is no such symbol in the plug-in or in a library that it needs.
    void *symbol(const char *name) const;

    decltype(&stspi_init) init;
    decltype(&stspi_init2) init2;

    // The image library's words for the last failure on this thread; "" from a library that has none.
    std::string image_library_error() const;

    // Whether the image library is the substitute, which has calls of its own.
    bool has_substitute_image_library() const { return m_has_substitute; }

private:
    void *m_library;
    bool m_has_substitute = false;
    const char *(*m_image_library_error)() = nullptr;
};

// The plug-in to use when none is named: of this build tree or installation, otherwise the bare
// name, for the loader's own search.
std::string default_plugin_path();
// The filter that belongs to it, likewise.
std::string default_filter_path();
