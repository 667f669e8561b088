// Reading of the Copan form of a configuration file.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

// How the reading of a Copan file ended.
enum class CopanReading {
    found,      // to the end of the file; a section is the server's
    not_found,  // to the end of the file; none is
    stopped     // at a line without '=', reported on standard output
};

// Collects what the sections of server_name hold.
//   volumes       the volume names are appended, in file order, empty and duplicate names too
//   storage_dir   set by every STORAGE_DIR line
CopanReading read_copan_configuration(FILE *file, const std::string &server_name, std::vector<std::string> &volumes,
                                      std::string &storage_dir);
