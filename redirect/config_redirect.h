// Sends a plug-in's configuration reads to a directory of the caller's choice.
//
// A plug-in reads "/etc/quillmere/NAME.sim" with fopen. A program that links this file defines fopen itself, which the
// dynamic linker prefers to the C library's for every library the program loads. So the plug-in under the program is the
// very file that ships, and no root is needed to give it a configuration.
#pragma once

#include <string>

// Where paths below /etc/quillmere are looked up from now on. Empty: the real directory. Not thread-safe against
// concurrent fopen calls: set it before the plug-in is used.
void set_config_directory(const std::string &directory);

// The directory in force; "/etc/quillmere" when none was set.
std::string config_directory();

// is_new is asked before fopen opens a path for writing, and made told afterwards when it was new and has been made.
void set_creation_observer(bool (*is_new)(const char *path), void (*made)(const char *path));

// Gives "/etc/quillmere/FILE_NAME" the text as its content when it is opened for reading, whatever directory is in force,
// until the texts are cleared. Not thread-safe against concurrent fopen calls either.
void set_config_text(const std::string &file_name, const std::string &text);
void clear_config_texts();
