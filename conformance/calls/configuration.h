// Configuration files of a test: below the test's own directory, or in the real one with --real-config.
#pragma once

#include <string>
#include <vector>

namespace conformance {

// Where this process writes configuration files; also sends the plug-in there unless it is the real directory.
// journal: a file that receives the path of each configuration file before it is made.
void use_configuration_directory(const std::string &directory, int journal);

// As before the first file was written.
void forget_written_configuration();

// Writes NAME.sim.
void write_config(const std::string &name, const std::string &text);
void remove_config(const std::string &name);
std::string config_path(const std::string &name);

// The test's working directory, absolute.
std::string work_directory();
void set_work_directory(const std::string &directory);

// An array of two enclosures: "enc1" (disks d1 to d4 of 100 bytes, hosts h1 and h2) and "enc2" (disks e1 and e2 of 2 GiB,
// host h1), each with its storage directory below the working directory.
std::string disk_array_config();

// A Copan array "arr1" with vol1, vol2 and vol1 again, and its storage directory "cop" below the working directory.
std::string copan_config();

// Writes both as Kelvarpool.sim and copan.sim.
void write_example_configs();

}  // namespace conformance
