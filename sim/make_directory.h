// Directories that the simulators make.
#pragma once

// Makes one directory, for its owner alone. Returns 0, also when something of that name is there already, or errno.
int make_directory(const char *path);
